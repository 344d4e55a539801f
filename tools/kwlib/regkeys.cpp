#include "regkeys.h"

#include <algorithm>
#include <cstring>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>

namespace kwlib {
namespace {

const Root kRoots[] = {{"HKCU", "HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                       {"HKLM", "HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE}};

// Calls `call(buffer, room)` with a buffer of `room` characters, growing it while
// the answer is ERROR_MORE_DATA, so that no name is too long to be read.
template <class Call>
LONG WithRoom(std::vector<wchar_t>& buffer, Call call) {
  for (;;) {
    DWORD room = static_cast<DWORD>(buffer.size());
    const LONG error = call(buffer.data(), room);
    if (error != ERROR_MORE_DATA || buffer.size() >= (1u << 20)) return error;
    buffer.resize(buffer.size() * 4);
  }
}

}  // namespace

std::wstring KeyName::Full() const {
  return kwfw::Utf8ToWide(root->fullName) + (path.empty() ? L"" : L"\\" + path);
}

KeyName KeyName::Child(const std::wstring& name) const { return {root, path.empty() ? name : path + L"\\" + name}; }

bool ParseKeyName(const std::wstring& text, KeyName& name, std::string& error) {
  const std::size_t slash = text.find(L'\\');
  const std::string rootName = kwfw::WideToUtf8(text.substr(0, slash));
  for (const Root& root : kRoots) {
    if (!kwfw::EqualNoCase(std::string_view(rootName), root.shortName) &&
        !kwfw::EqualNoCase(std::string_view(rootName), root.fullName)) {
      continue;
    }
    std::wstring path = slash == std::wstring::npos ? L"" : text.substr(slash + 1);
    while (!path.empty() && path.back() == L'\\') path.pop_back();
    name = {&root, path};
    return true;
  }
  error = "'" + rootName + "' is not a root key this tool knows (HKCU or HKLM)";
  return false;
}

Key::~Key() {
  if (m_key != nullptr) kwplat::RegCloseKey(m_key);
}

LONG Key::Open(const KeyName& name, REGSAM access) {
  if (m_transaction != nullptr) {
    return kwplat::RegOpenKeyTransactedW(name.root->key, name.path.c_str(), 0, access, &m_key, m_transaction, nullptr);
  }
  return kwplat::RegOpenKeyExW(name.root->key, name.path.c_str(), 0, access, &m_key);
}

LONG Key::Create(const KeyName& name) {
  if (m_transaction != nullptr) {
    return kwplat::RegCreateKeyTransactedW(name.root->key, name.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                           &m_key, nullptr, m_transaction, nullptr);
  }
  return kwplat::RegCreateKeyExW(name.root->key, name.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key,
                                 nullptr);
}

bool ReadValues(HKEY key, std::vector<RegFileValue>& values, LONG& error) {
  std::vector<wchar_t> name(256);
  std::vector<BYTE> data(256);
  for (DWORD i = 0;; ++i) {
    RegFileValue value;
    DWORD size = 0;
    // The name first (with the data's size), then the data in a buffer that fits.
    error = WithRoom(name, [&](wchar_t* buffer, DWORD& room) {
      return kwplat::RegEnumValueW(key, i, buffer, &room, nullptr, &value.type, nullptr, &size);
    });
    DWORD length = 0;
    while (error == ERROR_SUCCESS) {
      data.resize(std::max<std::size_t>(size, 1));
      length = static_cast<DWORD>(name.size());
      size = static_cast<DWORD>(data.size());
      error = kwplat::RegEnumValueW(key, i, name.data(), &length, nullptr, &value.type, data.data(), &size);
      if (error != ERROR_MORE_DATA) break;
      error = ERROR_SUCCESS;  // the value grew meanwhile: again, with its new size
    }
    if (error == ERROR_NO_MORE_ITEMS) {
      error = ERROR_SUCCESS;
      return true;
    }
    if (error != ERROR_SUCCESS) return false;
    value.name.assign(name.data(), length);
    if (IsTextType(value.type)) {
      std::wstring units(size / sizeof(wchar_t), L'\0');
      std::memcpy(units.data(), data.data(), units.size() * sizeof(wchar_t));
      value.bytes = Utf16LeBytes(units);
    } else {
      value.bytes.assign(data.begin(), data.begin() + size);
    }
    values.push_back(std::move(value));
  }
}

bool ReadSubKeys(HKEY key, std::vector<std::wstring>& names, LONG& error) {
  std::vector<wchar_t> buffer(256);
  for (DWORD i = 0;; ++i) {
    DWORD length = 0;
    error = WithRoom(buffer, [&](wchar_t* name, DWORD& room) {
      length = room;
      return kwplat::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
    });
    if (error == ERROR_NO_MORE_ITEMS) break;
    if (error != ERROR_SUCCESS) return false;
    names.emplace_back(buffer.data(), length);
  }
  error = ERROR_SUCCESS;
  // Windows lists sub-keys by their upper-case names: "A_" after "AB", where an
  // order of lower-case names would put it first.
  std::vector<std::pair<CString, std::wstring>> keyed;
  for (std::wstring& name : names) keyed.emplace_back(CString(name.c_str()).MakeUpper(), std::move(name));
  std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
    return std::wcscmp(static_cast<const wchar_t*>(a.first), static_cast<const wchar_t*>(b.first)) < 0;
  });
  names.clear();
  for (auto& entry : keyed) names.push_back(std::move(entry.second));
  return true;
}

LONG WriteValue(HKEY key, const RegFileValue& value) {
  if (!IsTextType(value.type)) {
    return kwplat::RegSetValueExW(key, value.name.c_str(), 0, value.type, value.bytes.data(),
                                  static_cast<DWORD>(value.bytes.size()));
  }
  // The library reads a text up to its terminator, and takes one that follows the
  // given size in memory; what follows here is no terminator, so a text stored
  // without one stays without.
  std::wstring wide = FromUtf16Le(value.bytes.data(), value.bytes.size());
  const std::size_t length = wide.size();
  wide.append(length + 1, L'\xFFFF');
  return kwplat::RegSetValueExW(key, value.name.c_str(), 0, value.type, reinterpret_cast<const BYTE*>(wide.data()),
                                static_cast<DWORD>(length * sizeof(wchar_t)));
}

LONG DeleteTree(HKEY parent, const std::wstring& name) {
  HKEY key = nullptr;
  if (LONG error = kwplat::RegOpenKeyExW(parent, name.c_str(), 0, KEY_ALL_ACCESS, &key); error != ERROR_SUCCESS) {
    return error;
  }
  std::vector<std::wstring> children;
  LONG error = ERROR_SUCCESS;
  if (ReadSubKeys(key, children, error)) {
    for (const std::wstring& child : children) {
      if ((error = DeleteTree(key, child)) != ERROR_SUCCESS) break;
    }
  }
  kwplat::RegCloseKey(key);
  return error == ERROR_SUCCESS ? kwplat::RegDeleteKeyW(parent, name.c_str()) : error;
}

}  // namespace kwlib
