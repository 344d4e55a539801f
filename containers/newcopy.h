// Internal to containers/: the Duplicar of a container, a deep copy through its
// pointer constructor that answers null, as Duplicar promises, when memory runs out.
#pragma once

#include <new>

#include <kwlib63/framework/exception.h>

namespace kwcont {

template <typename T>
T* NewCopy(const T* source) {
  try {
    return new T(source);
  } catch (const std::bad_alloc&) {
    return nullptr;
  } catch (CException* e) {
    e->Delete();
    return nullptr;
  }
}

}  // namespace kwcont
