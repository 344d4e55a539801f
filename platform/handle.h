// Handles. A HANDLE made by this library names an object that starts with its
// kind, so that CloseHandle closes any of them and the typed calls refuse a handle
// of another kind. A file handle is the file's descriptor carried in the pointer,
// so INVALID_HANDLE_VALUE is descriptor -1, as CFile::hFileNull.
#pragma once

#include <cstdint>

#include <kwlib63/framework/wintypes.h>

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

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
};

// The base of every object a HANDLE names. The kind comes first and is the only
// field read through a handle not yet known to be good, so a stray pointer costs
// one four-byte read. Closing the handle destroys the object.
class HandleObject {
 public:
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;

  // The object behind `handle` when it is of `kind`, else null.
  static HandleObject* Find(HANDLE handle, HandleKind kind);
  // The same, setting ERROR_INVALID_HANDLE when there is none.
  static HandleObject* Checked(HANDLE handle, HandleKind kind);
  HandleKind Kind() const { return m_kind; }
  void Destroy() { m_destroy(this); }

 protected:
  using Destroyer = void (*)(HandleObject*);
  HandleObject(HandleKind kind, Destroyer destroy) : m_kind(kind), m_destroy(destroy) {}
  ~HandleObject() { m_kind = HandleKind{}; }

 private:
  HandleKind m_kind;
  Destroyer m_destroy;
};

// Closes a handle made by any of the library's Create calls (pipe ends and
// processes included; not a file handle: files are closed through their CFile).
// FALSE with ERROR_INVALID_HANDLE otherwise.
BOOL CloseHandle(HANDLE handle);

inline HANDLE HandleFromFd(int fd) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(fd)); }
inline int FdFromHandle(HANDLE handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }

}  // namespace kwplat
