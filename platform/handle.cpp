#include <kwlib63/platform/handle.h>

#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

// Reads the kind of whatever `handle` points at; null, the descriptor values of
// file handles (small integers) and the predefined registry keys are never objects.
HandleObject* AnyObject(HANDLE handle) {
  auto value = reinterpret_cast<std::uintptr_t>(handle);
  if (value < 0x10000 || (value >= 0x80000000 && value <= 0x800000FF) || handle == INVALID_HANDLE_VALUE) return nullptr;
  return static_cast<HandleObject*>(handle);
}

bool IsKnownKind(HandleKind kind) {
  return kind == HandleKind::kEvent || kind == HandleKind::kFileMapping || kind == HandleKind::kProcess ||
         kind == HandleKind::kPipe;
}

}  // namespace

HandleObject* HandleObject::Find(HANDLE handle, HandleKind kind) {
  HandleObject* object = AnyObject(handle);
  return object != nullptr && object->m_kind == kind ? object : nullptr;
}

HandleObject* HandleObject::Checked(HANDLE handle, HandleKind kind) {
  HandleObject* object = Find(handle, kind);
  if (object == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

BOOL CloseHandle(HANDLE handle) {
  HandleObject* object = AnyObject(handle);
  if (object == nullptr || !IsKnownKind(object->Kind())) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  object->Destroy();
  return TRUE;
}

}  // namespace kwplat
