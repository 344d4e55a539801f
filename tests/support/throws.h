// Tests of members that raise the framework's exceptions, which are thrown as
// pointers and must be released.
#pragma once

namespace kwtest {

// Runs `f`, expecting it to throw an E*; releases the exception.
template <typename E, typename F>
bool Throws(F&& f) {
  try {
    f();
  } catch (E* e) {
    e->Delete();
    return true;
  }
  return false;
}

}  // namespace kwtest
