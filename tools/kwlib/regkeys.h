// kwlib's side of the registry: key names as the Windows tools write them, open
// keys that close themselves, and values read and written as Windows stores them
// (the bytes of a .reg file), so that query, export and import share one form.
#pragma once

#include <string>
#include <vector>

#include <kwlib63/platform/registry.h>

#include "regfile.h"

namespace kwlib {

struct Root {
  const char* shortName;
  const char* fullName;
  HKEY key;
};

struct KeyName {
  const Root* root = nullptr;
  std::wstring path;  // below the root, without a leading or closing backslash
  std::wstring Full() const;
  KeyName Child(const std::wstring& name) const;
};

// "HKCU\Software\..." or "HKEY_CURRENT_USER\Software\..." (the root without regard
// to case; closing backslashes dropped, as the editor drops them). False with
// `error` for an unknown root.
bool ParseKeyName(const std::wstring& text, KeyName& name, std::string& error);

// An open key, closed when it goes. Opened in `transaction` when one is given.
class Key {
 public:
  explicit Key(HANDLE transaction = nullptr) : m_transaction(transaction) {}
  ~Key();
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  LONG Open(const KeyName& name, REGSAM access);
  LONG Create(const KeyName& name);
  operator HKEY() const { return m_key; }

 private:
  HANDLE m_transaction;
  HKEY m_key = nullptr;
};

// Every value of `key` in the registry's order; false with the Win32 code in
// `error` when reading stops before the end.
bool ReadValues(HKEY key, std::vector<RegFileValue>& values, LONG& error);
// Every sub-key name of `key`, in the order the Windows tools list them: by name
// in upper case.
bool ReadSubKeys(HKEY key, std::vector<std::wstring>& names, LONG& error);

// Stores `value` (its bytes as Windows has them) exactly.
LONG WriteValue(HKEY key, const RegFileValue& value);
// Deletes sub-key `name` of `parent` with everything below it.
LONG DeleteTree(HKEY parent, const std::wstring& name);

}  // namespace kwlib
