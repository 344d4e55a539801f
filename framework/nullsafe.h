// Support for the few members that answer when called through a null object
// pointer, as client code of the original interface does with a status indicator
// or a window. Such members are non-virtual and out of line, are marked
// KW_NULL_TOLERANT so that the sanitizer's null checks do not fire inside them,
// and test `this` with IsNullObject, which the optimiser cannot fold away.
#pragma once

#define KW_NULL_TOLERANT __attribute__((no_sanitize("null", "vptr")))

namespace kwfw {

inline bool IsNullObject(const void* object) {
  // The empty asm hides the pointer's origin, so a test of `this` survives.
  asm("" : "+r"(object));
  return object == nullptr;
}

}  // namespace kwfw
