#include <kwlib63/platform/registry.h>

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/handle.h>
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

// The two hives kept, by their index; their files as set by RegSetHiveFile.
enum Hive { kCurrentUser, kLocalMachine, kHiveCount };
std::mutex g_placesLock;
std::string g_places[kHiveCount];

int HiveIndex(HKEY key) {
  if (key == HKEY_CURRENT_USER) return kCurrentUser;
  if (key == HKEY_LOCAL_MACHINE) return kLocalMachine;
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

LONG Resolve(HKEY key, Place& place) {
  if (int hive = HiveIndex(key); hive >= 0) {
    place.hive = RegistryHive::At(HiveFile(hive));
    return ERROR_SUCCESS;
  }
  if (reinterpret_cast<ULONG_PTR>(key) >= 0x80000000 && reinterpret_cast<ULONG_PTR>(key) <= 0x800000FF) {
    return ERROR_INVALID_HANDLE;
  }
  const std::shared_ptr<RegKey> open = FindHandle<RegKey>(key);
  if (open == nullptr) return ERROR_INVALID_HANDLE;
  place.hive = open->hive;
  place.id = open->id;
  place.sam = open->sam;
  return ERROR_SUCCESS;
}

std::string Utf8Name(LPCWSTR name) { return name == nullptr ? std::string() : kwfw::WideToUtf8(name); }

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

// Text values are given and returned as wchar_t units and stored as the UTF-16LE
// units Windows stores. Every unit round-trips, lone surrogates included.
std::string StoredForm(DWORD type, const BYTE* data, DWORD size) {
  if (data == nullptr || size == 0) return std::string();
  if (!IsText(type)) return std::string(reinterpret_cast<const char*>(data), size);
  std::string stored;
  stored.reserve(size / sizeof(wchar_t) * 2);
  auto put = [&stored](char32_t unit) {
    stored.push_back(static_cast<char>(unit & 0xFF));
    stored.push_back(static_cast<char>(unit >> 8));
  };
  for (DWORD at = 0; at + sizeof(wchar_t) <= size; at += sizeof(wchar_t)) {
    char32_t c;
    std::memcpy(&c, data + at, sizeof c);
    if (c > 0x10FFFF) c = 0xFFFD;
    if (c >= 0x10000) {
      put(0xD800 + ((c - 0x10000) >> 10));
      put(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      put(c);
    }
  }
  return stored;
}

std::string CallerForm(DWORD type, std::string stored) {
  if (!IsText(type)) return stored;
  std::string out;
  out.reserve(stored.size() / 2 * sizeof(wchar_t));
  auto unit = [&stored](std::size_t at) {
    return static_cast<char32_t>(static_cast<unsigned char>(stored[at]) |
                                 static_cast<unsigned char>(stored[at + 1]) << 8);
  };
  for (std::size_t at = 0; at + 2 <= stored.size(); at += 2) {
    char32_t c = unit(at);
    if (c >= 0xD800 && c < 0xDC00 && at + 4 <= stored.size() && unit(at + 2) >= 0xDC00 && unit(at + 2) < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (unit(at + 2) - 0xDC00);
      at += 2;
    }
    out.append(reinterpret_cast<const char*>(&c), sizeof c);
  }
  return out;
}

// Hands a value's bytes to a caller's buffer, with Windows' rules for its size.
LONG CopyData(const std::string& bytes, LPBYTE data, LPDWORD size) {
  if (size == nullptr) return data == nullptr ? ERROR_SUCCESS : static_cast<LONG>(ERROR_INVALID_PARAMETER);
  DWORD room = *size;
  *size = static_cast<DWORD>(bytes.size());
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < bytes.size()) return ERROR_MORE_DATA;
  std::memcpy(data, bytes.data(), bytes.size());
  return ERROR_SUCCESS;
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

LONG OpenPath(HKEY key, LPCWSTR subKey, REGSAM sam, PHKEY result, bool create, LPDWORD disposition) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  Place place;
  std::vector<std::string> names;
  if (LONG error = Resolve(key, place); error != ERROR_SUCCESS) return error;
  if (LONG error = SplitPath(subKey, names); error != ERROR_SUCCESS) return error;
  KeyId id = RegistryHive::kRoot;
  bool created = false;
  LONG error = place.hive->FindKey(place.id, names, id);
  if (error == ERROR_FILE_NOT_FOUND && create) {
    if ((place.sam & KEY_CREATE_SUB_KEY) == 0) return ERROR_ACCESS_DENIED;
    error = place.hive->CreateKey(place.id, names, id, created);
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
  return OpenPath(key, subKey, sam, result, false, nullptr);
}

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD /*reserved*/, LPWSTR /*keyClass*/, DWORD /*options*/,
                     REGSAM sam, const SECURITY_ATTRIBUTES* /*security*/, PHKEY result, LPDWORD disposition) {
  return OpenPath(key, subKey, sam, result, true, disposition);
}

LONG RegCloseKey(HKEY key) {
  if (ReleaseHandle(key, {RegKey::kKind}) || HiveIndex(key) >= 0) return ERROR_SUCCESS;
  return ERROR_INVALID_HANDLE;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size) {
  Place place;
  if (LONG error = KeyFor(key, KEY_SET_VALUE, place); error != ERROR_SUCCESS) return error;
  if (data == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
  return place.hive->SetValue(place.id, Utf8Name(name), type, StoredForm(type, data, size));
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data, LPDWORD size) {
  Place place;
  if (LONG error = KeyFor(key, KEY_QUERY_VALUE, place); error != ERROR_SUCCESS) return error;
  DWORD storedType = REG_NONE;
  std::string bytes;
  if (LONG error = place.hive->GetValue(place.id, Utf8Name(name), storedType, bytes); error != ERROR_SUCCESS) {
    return error;
  }
  if (type != nullptr) *type = storedType;
  return CopyData(CallerForm(storedType, std::move(bytes)), data, size);
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
  if (LONG error = CopyName(valueName, name, nameLength); error != ERROR_SUCCESS) return error;
  if (type != nullptr) *type = storedType;
  return CopyData(CallerForm(storedType, std::move(bytes)), data, size);
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
  if (LONG error = SplitPath(subKey, names); error != ERROR_SUCCESS) return error;
  // The key itself cannot be deleted through its own handle without a name.
  if (names.empty()) return ERROR_ACCESS_DENIED;
  std::string last = std::move(names.back());
  names.pop_back();
  KeyId parent = RegistryHive::kRoot;
  if (LONG error = place.hive->FindKey(place.id, names, parent); error != ERROR_SUCCESS) return error;
  return place.hive->DeleteKey(parent, last);
}

LONG RegSetHiveFile(HKEY hive, LPCWSTR file) {
  int index = HiveIndex(hive);
  if (index < 0) return ERROR_INVALID_HANDLE;
  std::lock_guard guard(g_placesLock);
  g_places[index] = file == nullptr ? std::string() : kwfw::WideToUtf8(file);
  return ERROR_SUCCESS;
}

}  // namespace kwplat
