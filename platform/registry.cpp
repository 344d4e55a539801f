#include <kwlib63/platform/registry.h>

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/callermemory.h>
#include <kwlib63/platform/handletable.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/registryhive.h>

namespace kwplat {
namespace {

using KeyId = RegistryHive::KeyId;

constexpr REGSAM kWriteAccess = KEY_SET_VALUE | KEY_CREATE_SUB_KEY;

struct RegKey : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kRegKey;
  RegKey(std::shared_ptr<RegistryHive> hive_, KeyId id_, REGSAM sam_)
      : HandleObject(kKind),
        hive(std::move(hive_)),
        id(id_),
        sam(sam_) {}
  std::shared_ptr<RegistryHive> hive;
  KeyId id;
  REGSAM sam;
};

// A transaction: one connection of its own per hive file it has touched, each
// inside its database transaction until the end.
class Transaction : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::kTransaction;
  Transaction() : HandleObject(kKind) {}
  ~Transaction() override { End(false); }
  void Closed() override { End(false); }

  LONG Hive(const std::string& file, std::shared_ptr<RegistryHive>& hive) {
    std::lock_guard guard(m_lock);
    if (m_ended) return ERROR_TRANSACTION_NOT_ACTIVE;
    std::shared_ptr<RegistryHive>& slot = m_hives[file];
    LONG error = ERROR_SUCCESS;
    if (slot == nullptr) slot = RegistryHive::Transacted(file, error);
    hive = slot;
    return slot != nullptr ? ERROR_SUCCESS : error;
  }

  // The first failure of the hives' commits; every hive still ends.
  LONG End(bool commit) {
    std::lock_guard guard(m_lock);
    if (m_ended) return ERROR_TRANSACTION_NOT_ACTIVE;
    m_ended = true;
    LONG result = ERROR_SUCCESS;
    for (auto& [file, hive] : m_hives) {
      if (hive == nullptr) continue;
      const LONG ended = hive->End(commit && result == ERROR_SUCCESS);
      if (result == ERROR_SUCCESS) result = ended;
    }
    return result;
  }

 private:
  // guards the hives and the end
  std::mutex m_lock;
  std::map<std::string, std::shared_ptr<RegistryHive>> m_hives;
  bool m_ended = false;
};

// The two hives kept, by their index; their files as set by RegSetHiveFile.
enum Hive { kCurrentUser, kLocalMachine, kHiveCount };
std::mutex g_placesLock;  // guards g_places
std::string g_places[kHiveCount];

// A predefined key is named by the low 32 bits of the handle alone, as on 64-bit
// Windows, where code that kept it in 32 bits sign-extends or pads it.
std::uint32_t Low(HKEY key) { return static_cast<std::uint32_t>(reinterpret_cast<ULONG_PTR>(key)); }
bool Predefined(HKEY key) { return Low(key) >= 0x80000000 && Low(key) <= 0x800000FF; }

int HiveIndex(HKEY key) {
  if (Low(key) == Low(HKEY_CURRENT_USER)) return kCurrentUser;
  if (Low(key) == Low(HKEY_LOCAL_MACHINE)) return kLocalMachine;
  return -1;
}

std::string HiveFile(int hive) {
  {
    std::lock_guard guard(g_placesLock);
    if (!g_places[hive].empty()) return g_places[hive];
  }
  const char* name = hive == kCurrentUser ? "HKCU.db" : "HKLM.db";
  if (const char* folder = std::getenv("KWLIB63_REGISTRY_DIR"); folder != nullptr && *folder != '\0') {
    return std::string(folder) + "/" + name;
  }
  if (hive == kCurrentUser) return std::string(g_get_user_config_dir()) + "/kwlib63/" + name;
  return std::string("/var/lib/kwlib63/") + name;
}

// The key a handle stands for: an open key, or the root of a hive with every right.
// The hive is held for the call, so a key closed on another thread meanwhile
// leaves the call a live hive.
struct Place {
  std::shared_ptr<RegistryHive> hive;
  KeyId id = RegistryHive::kRoot;
  REGSAM sam = KEY_ALL_ACCESS;
};

// `transaction`, when not null, is the one a hive's keys are opened in; an open
// key keeps the hive it was opened on.
LONG Resolve(HKEY key, Place& place, Transaction* transaction = nullptr) {
  if (int hive = HiveIndex(key); hive >= 0) {
    if (transaction != nullptr) return transaction->Hive(HiveFile(hive), place.hive);
    place.hive = RegistryHive::At(HiveFile(hive));
    return ERROR_SUCCESS;
  }
  if (Predefined(key)) return ERROR_INVALID_HANDLE;
  const std::shared_ptr<RegKey> open = FindHandle<RegKey>(key);
  if (open == nullptr) return ERROR_INVALID_HANDLE;
  place.hive = open->hive;
  place.id = open->id;
  place.sam = open->sam;
  return ERROR_SUCCESS;
}

std::string Utf8Name(LPCWSTR name) { return name == nullptr ? std::string() : kwfw::WideToUtf8(name); }

// Windows' name limits count UTF-16 units: a name that fits here fits there.
constexpr std::size_t kMaxKeyName = 255;
constexpr std::size_t kMaxValueName = 16383;

std::size_t Utf16Length(std::string_view utf8) {
  std::size_t units = 0;
  for (unsigned char c : utf8) units += (c & 0xC0) != 0x80 ? (c >= 0xF0 ? 2 : 1) : 0;
  return units;
}

LONG SplitPath(LPCWSTR subKey, std::vector<std::string>& names) {
  if (subKey == nullptr) return ERROR_SUCCESS;
  std::wstring_view rest(subKey);
  if (!rest.empty() && rest.front() == L'\\') return ERROR_BAD_PATHNAME;
  // Doubled and closing backslashes separate nothing: a folder built from an
  // empty part (Software\Tormel\\Settings) still names its key.
  while (!rest.empty()) {
    std::size_t end = std::min(rest.find(L'\\'), rest.size());
    if (end > 0) names.push_back(kwfw::WideToUtf8(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return ERROR_SUCCESS;
}

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// Where a caller's text ends: its terminator (for REG_MULTI_SZ the second of the
// first two in a row) at or after `from`, or npos.
std::size_t TextEnd(DWORD type, std::wstring_view text, std::size_t from) {
  for (std::size_t i = from; i < text.size(); ++i) {
    if (text[i] == 0 && (type != REG_MULTI_SZ || i == 0 || text[i - 1] == 0)) return i;
  }
  return std::wstring_view::npos;
}

// The characters of a caller's text value, by Windows' rules for its size (bytes
// of wchar_t here):
// - a size that ends inside a character takes that character whole, as Windows
//   keeps the bytes of a character the size cuts;
// - a text given without its terminator gets one when one follows in the caller's
//   memory, as Windows adds it;
// - a size of two bytes per character (Windows' wchar_t) that would keep only the
//   start of a text Windows stores whole is ERROR_INVALID_PARAMETER, rather than a
//   silently shortened text.
LONG CallerText(DWORD type, const BYTE* data, DWORD size, std::wstring& text) {
  constexpr std::size_t kUnit = sizeof(wchar_t);
  const std::size_t count = (size + kUnit - 1) / kUnit;
  text.assign(count, 0);
  if (!ReadCallerMemory(text.data(), data, size)) return ERROR_NOACCESS;
  // The rest of a cut character, when the caller's memory holds it.
  if (size % kUnit != 0 && !ReadCallerMemory(text.data() + count - 1, data + (count - 1) * kUnit, kUnit)) {
    text.pop_back();
  }
  if (text.empty() || TextEnd(type, text, 0) != std::wstring::npos) return ERROR_SUCCESS;
  // What follows in the caller's memory, a page at a time, up to where the end of
  // a text counted at two bytes a character would be.
  const std::size_t reach = std::max<std::size_t>(size / 2 + 1, text.size() + 1);
  std::wstring after;
  std::size_t end = std::wstring::npos;
  for (std::size_t at = text.size(); at < reach && end == std::wstring::npos;) {
    const BYTE* place = data + at * kUnit;
    const std::size_t inPage = (4096 - reinterpret_cast<std::uintptr_t>(place) % 4096) / kUnit;
    const std::size_t n = std::min(reach - at, std::max<std::size_t>(inPage, 1));
    const std::size_t old = after.size();
    after.resize(old + n);
    if (!ReadCallerMemory(after.data() + old, place, n * kUnit)) {
      after.resize(old);
      break;
    }
    for (std::size_t i = old; i < after.size(); ++i) {
      const wchar_t previous = i > 0 ? after[i - 1] : text.back();
      if (after[i] == 0 && (type != REG_MULTI_SZ || previous == 0)) {
        end = text.size() + i;
        break;
      }
    }
    at += n;
  }
  if (!after.empty() && after[0] == 0 && text.back() != 0) {
    text.push_back(0);
    return ERROR_SUCCESS;
  }
  if (size % 2 == 0 && end != std::wstring::npos && (end == size / 2 || end + 1 == size / 2)) {
    return ERROR_INVALID_PARAMETER;
  }
  return ERROR_SUCCESS;
}

// Text values are given and returned as wchar_t units and stored as the UTF-16LE
// units Windows stores. Every unit round-trips, lone surrogates included.
std::string CallerForm(DWORD type, std::string stored) {
  if (!IsText(type)) return stored;
  const std::wstring text = kwfw::Utf16LeToWide(stored);
  return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

// Hands a value's type and bytes to the caller, with Windows' rules for the size.
// The caller's room is read before anything is written, so that one variable may
// serve as both the type and the size, as it may on Windows.
LONG CopyData(DWORD storedType, const std::string& bytes, LPDWORD type, LPBYTE data, LPDWORD size) {
  if (size == nullptr && data != nullptr) return ERROR_INVALID_PARAMETER;
  const DWORD room = size != nullptr ? *size : 0;
  if (type != nullptr) *type = storedType;
  if (size == nullptr) return ERROR_SUCCESS;
  *size = static_cast<DWORD>(bytes.size());
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < bytes.size()) return ERROR_MORE_DATA;
  return WriteCallerMemory(data, bytes.data(), bytes.size()) ? ERROR_SUCCESS : static_cast<LONG>(ERROR_NOACCESS);
}

// Hands a name to a caller's buffer of `*length` characters with the terminator.
LONG CopyName(const std::string& utf8, LPWSTR name, LPDWORD length) {
  if (name == nullptr || length == nullptr) return ERROR_INVALID_PARAMETER;
  std::wstring wide = kwfw::Utf8ToWide(utf8);
  if (wide.size() >= *length) return ERROR_MORE_DATA;
  std::wmemcpy(name, wide.c_str(), wide.size() + 1);
  *length = static_cast<DWORD>(wide.size());
  return ERROR_SUCCESS;
}

LONG OpenPath(HKEY key, LPCWSTR subKey, REGSAM sam, PHKEY result, bool create, DWORD options, LPDWORD disposition,
              HANDLE transactionHandle = nullptr) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  std::shared_ptr<Transaction> transaction;
  if (transactionHandle != nullptr && (transaction = FindHandle<Transaction>(transactionHandle)) == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  Place place;
  std::vector<std::string> names;
  if (LONG error = Resolve(key, place, transaction.get()); error != ERROR_SUCCESS) return error;
  if (LONG error = SplitPath(subKey, names); error != ERROR_SUCCESS) return error;
  // Only creating refuses a long name, so that a key made before the limit can
  // still be opened and deleted.
  if (create && std::any_of(names.begin(), names.end(), [](const std::string& n) { return Utf16Length(n) > kMaxKeyName; })) {
    return ERROR_INVALID_PARAMETER;
  }
  // A hive opened without a path is given back as it is, not as a new handle
  // (in a transaction it must be one, to carry the transaction).
  if (!create && names.empty() && HiveIndex(key) >= 0 && transaction == nullptr) {
    *result = key;
    return ERROR_SUCCESS;
  }
  KeyId id = RegistryHive::kRoot;
  bool created = false;
  LONG error = place.hive->FindKey(place.id, names, id);
  // The parent's rights are not asked for: Windows creates through a parent opened
  // for any right.
  if (error == ERROR_FILE_NOT_FOUND && create) {
    error = place.hive->CreateKey(place.id, names, (options & REG_OPTION_VOLATILE) != 0, id, created);
  }
  if (error != ERROR_SUCCESS) return error;
  if ((sam & kWriteAccess) != 0 && !place.hive->Writable()) return ERROR_ACCESS_DENIED;
  if (disposition != nullptr) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  *result = static_cast<HKEY>(OpenHandle(std::make_shared<RegKey>(place.hive, id, sam)));
  return *result != nullptr ? ERROR_SUCCESS : static_cast<LONG>(ERROR_NOT_ENOUGH_MEMORY);
}

// The key for an operation that needs `right`.
LONG KeyFor(HKEY key, REGSAM right, Place& place) {
  if (LONG error = Resolve(key, place); error != ERROR_SUCCESS) return error;
  return (place.sam & right) == right ? ERROR_SUCCESS : static_cast<LONG>(ERROR_ACCESS_DENIED);
}

}  // namespace

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD /*options*/, REGSAM sam, PHKEY result) {
  return OpenPath(key, subKey, sam, result, false, 0, nullptr);
}

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD /*reserved*/, LPWSTR /*keyClass*/, DWORD options,
                     REGSAM sam, const SECURITY_ATTRIBUTES* /*security*/, PHKEY result, LPDWORD disposition) {
  return OpenPath(key, subKey, sam, result, true, options, disposition);
}

LONG RegCloseKey(HKEY key) {
  if (ReleaseHandle(key, {RegKey::kKind}) || HiveIndex(key) >= 0) return ERROR_SUCCESS;
  return ERROR_INVALID_HANDLE;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size) {
  Place place;
  if (LONG error = KeyFor(key, KEY_SET_VALUE, place); error != ERROR_SUCCESS) return error;
  const std::string valueName = Utf8Name(name);
  if (Utf16Length(valueName) > kMaxValueName) return ERROR_INVALID_PARAMETER;
  // The caller's bytes are copied first: a buffer that cannot be read is refused
  // as Windows refuses it, whatever the type.
  std::string stored;
  if (IsText(type)) {
    std::wstring text;
    if (LONG error = CallerText(type, data, size, text); error != ERROR_SUCCESS) return error;
    stored = kwfw::WideToUtf16Le(text);
  } else {
    stored.resize(size);
    if (!ReadCallerMemory(stored.data(), data, size)) return ERROR_NOACCESS;
  }
  return place.hive->SetValue(place.id, valueName, type, stored);
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data, LPDWORD size) {
  Place place;
  if (LONG error = KeyFor(key, KEY_QUERY_VALUE, place); error != ERROR_SUCCESS) return error;
  DWORD storedType = REG_NONE;
  std::string bytes;
  if (LONG error = place.hive->GetValue(place.id, Utf8Name(name), storedType, bytes); error != ERROR_SUCCESS) {
    // A size asked for alone is cleared when there is no value.
    if (error == ERROR_FILE_NOT_FOUND && data == nullptr && size != nullptr) *size = 0;
    return error;
  }
  return CopyData(storedType, CallerForm(storedType, std::move(bytes)), type, data, size);
}

LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD /*reserved*/, LPDWORD type,
                   LPBYTE data, LPDWORD size) {
  Place place;
  if (LONG error = KeyFor(key, KEY_QUERY_VALUE, place); error != ERROR_SUCCESS) return error;
  std::string valueName, bytes;
  DWORD storedType = REG_NONE;
  if (LONG error = place.hive->ValueAt(place.id, index, valueName, storedType, bytes); error != ERROR_SUCCESS) {
    return error;
  }
  // A name that does not fit still tells the type and the data's size.
  const LONG named = CopyName(valueName, name, nameLength);
  if (named != ERROR_SUCCESS && named != ERROR_MORE_DATA) return named;
  const LONG copied = CopyData(storedType, CallerForm(storedType, std::move(bytes)), type, named == ERROR_SUCCESS ? data : nullptr, size);
  return named == ERROR_SUCCESS ? copied : named;
}

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD /*reserved*/, LPWSTR keyClass,
                   LPDWORD classLength, FILETIME* lastWrite) {
  Place place;
  if (LONG error = KeyFor(key, KEY_ENUMERATE_SUB_KEYS, place); error != ERROR_SUCCESS) return error;
  std::string keyName;
  if (LONG error = place.hive->SubKeyAt(place.id, index, keyName); error != ERROR_SUCCESS) return error;
  if (LONG error = CopyName(keyName, name, nameLength); error != ERROR_SUCCESS) return error;
  if (keyClass != nullptr && classLength != nullptr && *classLength > 0) *keyClass = L'\0';
  if (classLength != nullptr) *classLength = 0;
  if (lastWrite != nullptr) *lastWrite = FILETIME{};
  return ERROR_SUCCESS;
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
  Place place;
  if (LONG error = KeyFor(key, KEY_SET_VALUE, place); error != ERROR_SUCCESS) return error;
  return place.hive->DeleteValue(place.id, Utf8Name(name));
}

LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
  Place place;
  std::vector<std::string> names;
  if (LONG error = Resolve(key, place); error != ERROR_SUCCESS) return error;
  if (subKey == nullptr) return ERROR_INVALID_PARAMETER;
  if (LONG error = SplitPath(subKey, names); error != ERROR_SUCCESS) return error;
  // An empty path deletes the key itself.
  if (names.empty()) return place.hive->DeleteKey(place.id, {});
  std::string last = std::move(names.back());
  names.pop_back();
  KeyId parent = RegistryHive::kRoot;
  if (LONG error = place.hive->FindKey(place.id, names, parent); error != ERROR_SUCCESS) return error;
  return place.hive->DeleteKey(parent, last);
}

HANDLE CreateTransaction(LPSECURITY_ATTRIBUTES /*attributes*/, LPGUID /*unitOfWork*/, DWORD /*options*/,
                         DWORD /*isolationLevel*/, DWORD /*isolationFlags*/, DWORD /*timeout*/,
                         LPWSTR /*description*/) {
  HANDLE handle = OpenHandle(std::make_shared<Transaction>());
  if (handle == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  return handle;
}

namespace {

BOOL EndTransaction(HANDLE handle, bool commit) {
  const std::shared_ptr<Transaction> transaction = FindHandle<Transaction>(handle);
  const LONG result = transaction == nullptr ? ERROR_INVALID_HANDLE : transaction->End(commit);
  if (result != ERROR_SUCCESS) SetLastError(result);
  return result == ERROR_SUCCESS;
}

}  // namespace

BOOL CommitTransaction(HANDLE transaction) { return EndTransaction(transaction, true); }

BOOL RollbackTransaction(HANDLE transaction) { return EndTransaction(transaction, false); }

LONG RegCreateKeyTransactedW(HKEY key, LPCWSTR subKey, DWORD /*reserved*/, LPWSTR /*keyClass*/, DWORD options,
                             REGSAM sam, const SECURITY_ATTRIBUTES* /*security*/, PHKEY result, LPDWORD disposition,
                             HANDLE transaction, PVOID /*extended*/) {
  if (transaction == nullptr || transaction == INVALID_HANDLE_VALUE) return ERROR_INVALID_HANDLE;
  return OpenPath(key, subKey, sam, result, true, options, disposition, transaction);
}

LONG RegOpenKeyTransactedW(HKEY key, LPCWSTR subKey, DWORD /*options*/, REGSAM sam, PHKEY result, HANDLE transaction,
                           PVOID /*extended*/) {
  if (transaction == nullptr || transaction == INVALID_HANDLE_VALUE) return ERROR_INVALID_HANDLE;
  return OpenPath(key, subKey, sam, result, false, 0, nullptr, transaction);
}

LONG RegSetHiveFile(HKEY hive, LPCWSTR file) {
  int index = HiveIndex(hive);
  if (index < 0) return ERROR_INVALID_HANDLE;
  std::lock_guard guard(g_placesLock);
  g_places[index] = file == nullptr ? std::string() : kwfw::WideToUtf8(file);
  return ERROR_SUCCESS;
}

}  // namespace kwplat
