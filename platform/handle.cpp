#include <kwlib63/platform/handletable.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

// As many handles as one process may hold open at once.
constexpr std::uint32_t kMaxSlots = 1u << 24;

// A handle is the slot's generation in the high half and the slot, times four, in
// the low half: never null, never -1, never a descriptor or a predefined key
// (all below 2^32), and a stale handle differs from the slot's new one.
HANDLE Compose(std::uint32_t slot, std::uint32_t generation) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(generation) << 32 | std::uintptr_t{slot} << 2);
}

struct Slot {
  std::uint32_t generation = 1;
  std::shared_ptr<HandleObject> object;
};

class HandleTable {
 public:
  HANDLE Open(std::shared_ptr<HandleObject> object) {
    std::lock_guard guard(m_lock);
    std::uint32_t slot;
    if (!m_free.empty()) {
      slot = m_free.back();
      m_free.pop_back();
    } else if (m_slots.size() < kMaxSlots) {
      slot = static_cast<std::uint32_t>(m_slots.size());
      m_slots.emplace_back();
    } else {
      return nullptr;
    }
    m_slots[slot].object = std::move(object);
    return Compose(slot, m_slots[slot].generation);
  }

  std::shared_ptr<HandleObject> Find(HANDLE handle, HandleKind kind) {
    std::lock_guard guard(m_lock);
    Slot* entry = At(handle);
    return entry != nullptr && entry->object->Kind() == kind ? entry->object : nullptr;
  }

  std::shared_ptr<HandleObject> Release(HANDLE handle, std::initializer_list<HandleKind> kinds) {
    std::lock_guard guard(m_lock);
    Slot* entry = At(handle);
    if (entry == nullptr || std::find(kinds.begin(), kinds.end(), entry->object->Kind()) == kinds.end()) return nullptr;
    // Generations stay below 2^31, so that no handle has its sign bit set.
    entry->generation = entry->generation == 0x7FFFFFFF ? 1 : entry->generation + 1;
    m_free.push_back(static_cast<std::uint32_t>(entry - m_slots.data()));
    return std::move(entry->object);
  }

 private:
  // The open slot `handle` names, or null.
  Slot* At(HANDLE handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const auto generation = static_cast<std::uint32_t>(value >> 32);
    const auto low = static_cast<std::uint32_t>(value);
    if (generation == 0 || generation > 0x7FFFFFFF || low % 4 != 0 || low / 4 >= m_slots.size()) return nullptr;
    Slot& entry = m_slots[low / 4];
    return entry.generation == generation && entry.object != nullptr ? &entry : nullptr;
  }

  std::mutex m_lock;  // guards m_slots and m_free
  std::vector<Slot> m_slots;
  std::vector<std::uint32_t> m_free;
};

// Never destroyed: handles may still be closed by destructors run at exit.
HandleTable& Table() {
  static auto* table = new HandleTable;
  return *table;
}

}  // namespace

HANDLE OpenHandle(std::shared_ptr<HandleObject> object) {
  HANDLE handle = object != nullptr ? Table().Open(std::move(object)) : nullptr;
  if (handle == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return handle;
}

std::shared_ptr<HandleObject> FindHandle(HANDLE handle, HandleKind kind) { return Table().Find(handle, kind); }

std::shared_ptr<HandleObject> CheckedHandle(HANDLE handle, HandleKind kind) {
  std::shared_ptr<HandleObject> object = FindHandle(handle, kind);
  if (object == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

bool ReleaseHandle(HANDLE handle, std::initializer_list<HandleKind> kinds) {
  std::shared_ptr<HandleObject> object = Table().Release(handle, kinds);
  if (object == nullptr) return false;
  // Outside the table's lock: waking a call may take the object's own locks.
  object->Closed();
  return true;
}

BOOL CloseHandle(HANDLE handle) {
  if (ReleaseHandle(handle, {HandleKind::kEvent, HandleKind::kFileMapping, HandleKind::kProcess, HandleKind::kPipe,
                             HandleKind::kTransaction})) {
    return TRUE;
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

}  // namespace kwplat
