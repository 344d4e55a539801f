// The table of open objects behind every HANDLE the library makes: a slot and the
// slot's generation, so a closed handle never reaches the object a later open
// puts in the same slot, and a made-up value reaches nothing. Each call holds the
// object it works on, so closing a handle on one thread while another thread is
// inside a call on it leaves that call a live object; the object goes when the
// last of them has left.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>

#include <kwlib63/platform/handle.h>

namespace kwplat {

enum class HandleKind : std::uint32_t {
  kEvent = 0x4B574556,        // "KWEV"
  kFileMapping = 0x4B57464D,  // "KWFM"
  kFind = 0x4B574644,         // "KWFD"
  kRegKey = 0x4B57524B,       // "KWRK"
  kProcess = 0x4B575052,      // "KWPR"
  kPipe = 0x4B575049,         // "KWPI"
  kServiceManager = 0x4B57534D,  // "KWSM"
  kService = 0x4B575356,         // "KWSV"
  kTransaction = 0x4B575458,     // "KWTX"
};

// The base of every object a HANDLE names.
class HandleObject {
 public:
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;
  virtual ~HandleObject() = default;

  HandleKind Kind() const { return m_kind; }
  // Called once, when the handle is closed, while calls already under way may
  // still hold the object: an object a call can block on wakes that call here.
  virtual void Closed() {}

 protected:
  explicit HandleObject(HandleKind kind) : m_kind(kind) {}

 private:
  const HandleKind m_kind;
};

// Enters `object` in the table and gives its handle; null with
// ERROR_NOT_ENOUGH_MEMORY when the object is null or the table is full.
HANDLE OpenHandle(std::shared_ptr<HandleObject> object);

// The object behind `handle` when it is open and of `kind`, else null.
std::shared_ptr<HandleObject> FindHandle(HANDLE handle, HandleKind kind);
// The same, setting ERROR_INVALID_HANDLE when there is none.
std::shared_ptr<HandleObject> CheckedHandle(HANDLE handle, HandleKind kind);

// The typed forms, for an object class that names its kind as T::kKind.
template <class T>
std::shared_ptr<T> FindHandle(HANDLE handle) {
  return std::static_pointer_cast<T>(FindHandle(handle, T::kKind));
}
template <class T>
std::shared_ptr<T> CheckedHandle(HANDLE handle) {
  return std::static_pointer_cast<T>(CheckedHandle(handle, T::kKind));
}

// Takes `handle` out of the table when it is open and of one of `kinds`, and
// tells its object; false, setting nothing, otherwise.
bool ReleaseHandle(HANDLE handle, std::initializer_list<HandleKind> kinds);

}  // namespace kwplat
