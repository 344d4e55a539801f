// kwlib reg: the registry from the command line, with the Windows command's
// operations and switches: query, add, delete, and export/import as .reg files.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/settings/carpetaregistry.h>

#include "command.h"
#include "fileio.h"
#include "regfile.h"

namespace {

using kwfw::Utf8ToWide;
using kwfw::WideToUtf8;

constexpr char kNotFound[] = "ERROR: The system was unable to find the specified registry key or value.\n";

struct Root {
  const char* shortName;
  const char* fullName;
  HKEY key;
};
const Root kRoots[] = {{"HKCU", "HKEY_CURRENT_USER", HKEY_CURRENT_USER}, {"HKLM", "HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE}};

struct KeyName {
  const Root* root;
  std::wstring path;  // below the root, without a leading backslash
  std::wstring Full() const { return Utf8ToWide(root->fullName) + (path.empty() ? L"" : L"\\" + path); }
};

KeyName ParseKey(const std::wstring& text) {
  const std::size_t slash = text.find(L'\\');
  const std::string rootName = WideToUtf8(text.substr(0, slash));
  for (const Root& root : kRoots) {
    if (kwfw::EqualNoCase(std::string_view(rootName), root.shortName) || kwfw::EqualNoCase(std::string_view(rootName), root.fullName)) {
      std::wstring path = slash == std::wstring::npos ? L"" : text.substr(slash + 1);
      while (!path.empty() && path.back() == L'\\') path.pop_back();
      return {&root, path};
    }
  }
  throw kwlib::UsageError("'" + rootName + "' is not a root key this tool knows (HKCU or HKLM)");
}

// The switches of the Windows command: /v NAME, /ve, /va, /s, /t TYPE, /d DATA, /f, /y.
struct Switches {
  std::vector<std::string> words;
  std::optional<std::string> value, type, data;
  bool defaultValue = false, allValues = false, recurse = false, force = false;
};

Switches ParseSwitches(const std::vector<std::string>& args) {
  Switches s;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string a = args[i];
    // A word with a second slash is an absolute file name, not a switch.
    if (a.size() < 2 || a[0] != '/' || a.find('/', 1) != std::string::npos) {
      s.words.push_back(a);
      continue;
    }
    std::transform(a.begin(), a.end(), a.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    auto operand = [&](std::optional<std::string>& into) {
      if (i + 1 >= args.size()) throw kwlib::UsageError(a + " needs a value");
      into = args[++i];
    };
    if (a == "/v") operand(s.value);
    else if (a == "/t") operand(s.type);
    else if (a == "/d") operand(s.data);
    else if (a == "/ve") s.defaultValue = true;
    else if (a == "/va") s.allValues = true;
    else if (a == "/s") s.recurse = true;
    else if (a == "/f" || a == "/y") s.force = true;
    else throw kwlib::UsageError("unknown switch '" + args[i] + "'");
  }
  if (s.value && s.defaultValue) throw kwlib::UsageError("give /v NAME or /ve, not both");
  return s;
}

// An open key, closed when it goes.
class Key {
 public:
  Key() = default;
  ~Key() {
    if (m_key != nullptr) kwplat::RegCloseKey(m_key);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  LONG Open(const KeyName& name, REGSAM access) {
    return kwplat::RegOpenKeyExW(name.root->key, name.path.c_str(), 0, access, &m_key);
  }
  LONG Create(const KeyName& name) {
    return kwplat::RegCreateKeyExW(name.root->key, name.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key,
                                   nullptr);
  }
  operator HKEY() const { return m_key; }

 private:
  HKEY m_key = nullptr;
};

// Values as the calls hand them over (text types in wchar_t units).
struct Value {
  std::wstring name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

std::vector<Value> Values(HKEY key) {
  std::vector<Value> values;
  std::vector<wchar_t> name(16384);
  for (DWORD i = 0;; ++i) {
    Value value;
    DWORD length = static_cast<DWORD>(name.size()), size = 0;
    if (kwplat::RegEnumValueW(key, i, name.data(), &length, nullptr, &value.type, nullptr, &size) != ERROR_SUCCESS) break;
    value.name.assign(name.data(), length);
    value.data.resize(size);
    length = static_cast<DWORD>(name.size());
    if (kwplat::RegEnumValueW(key, i, name.data(), &length, nullptr, &value.type, value.data.data(), &size) !=
        ERROR_SUCCESS) {
      break;
    }
    value.data.resize(size);
    values.push_back(std::move(value));
  }
  return values;
}

std::vector<std::wstring> SubKeys(HKEY key) {
  std::vector<std::wstring> names;
  wchar_t name[256];
  DWORD length = 256;
  for (DWORD i = 0; kwplat::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i, length = 256) {
    names.emplace_back(name, length);
  }
  return names;
}

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

std::wstring Units(const std::vector<BYTE>& data) {
  std::wstring units(data.size() / sizeof(wchar_t), L'\0');
  std::memcpy(units.data(), data.data(), units.size() * sizeof(wchar_t));
  return units;
}

const char* TypeName(DWORD type) {
  switch (type) {
    case REG_SZ: return "REG_SZ";
    case REG_EXPAND_SZ: return "REG_EXPAND_SZ";
    case REG_BINARY: return "REG_BINARY";
    case REG_DWORD: return "REG_DWORD";
    case REG_MULTI_SZ: return "REG_MULTI_SZ";
    case REG_QWORD: return "REG_QWORD";
    default: return "REG_NONE";
  }
}

// The data as the Windows command shows it.
std::string Shown(const Value& value) {
  char hex[24];
  if (value.type == REG_DWORD && value.data.size() == 4) {
    DWORD number;
    std::memcpy(&number, value.data.data(), 4);
    std::snprintf(hex, sizeof hex, "0x%x", number);
    return hex;
  }
  if (value.type == REG_QWORD && value.data.size() == 8) {
    unsigned long long number;
    std::memcpy(&number, value.data.data(), 8);
    std::snprintf(hex, sizeof hex, "0x%llx", number);
    return hex;
  }
  if (IsText(value.type)) {
    std::wstring text = Units(value.data);
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    std::string shown;
    for (wchar_t c : text) shown += c == L'\0' ? std::string("\\0") : WideToUtf8(std::wstring(1, c));
    return shown;
  }
  std::string shown;
  for (BYTE b : value.data) {
    std::snprintf(hex, sizeof hex, "%02X", b);
    shown += hex;
  }
  return shown;
}

void PrintValue(std::ostream& out, const Value& value) {
  out << "    " << (value.name.empty() ? "(Default)" : WideToUtf8(value.name)) << "    " << TypeName(value.type)
      << "    " << Shown(value) << "\n";
}

void Query(std::ostream& out, const KeyName& name, HKEY key, bool recurse) {
  out << "\n" << WideToUtf8(name.Full()) << "\n";
  for (const Value& value : Values(key)) PrintValue(out, value);
  for (const std::wstring& sub : SubKeys(key)) {
    KeyName child{name.root, name.path.empty() ? sub : name.path + L"\\" + sub};
    if (!recurse) {
      out << "\n" << WideToUtf8(child.Full());
      continue;
    }
    Key subKey;
    if (subKey.Open(child, KEY_READ) == ERROR_SUCCESS) Query(out, child, subKey, true);
  }
  if (!recurse) out << "\n";
}

// Asks on the terminal; anything but yes (and the end of input) is no.
bool Confirm(std::ostream& out, const std::string& question) {
  out << question << " (Yes/No)? " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

// Windows' bytes for data given in a command line, by type.
std::vector<BYTE> DataFor(DWORD type, const std::string& text) {
  std::vector<BYTE> data;
  auto put = [&data](const void* bytes, std::size_t size) {
    data.insert(data.end(), static_cast<const BYTE*>(bytes), static_cast<const BYTE*>(bytes) + size);
  };
  if (IsText(type)) {
    std::wstring units = Utf8ToWide(text);
    if (type == REG_MULTI_SZ) {
      // "\0" separates the strings, as in the Windows command.
      for (std::size_t at; (at = units.find(L"\\0")) != std::wstring::npos;) units.replace(at, 2, 1, L'\0');
      units += L'\0';
    }
    units += L'\0';
    put(units.data(), units.size() * sizeof(wchar_t));
  } else if (type == REG_DWORD) {
    const DWORD number = static_cast<DWORD>(kwlib::ParseNumber(text, 0xFFFFFFFFul, "REG_DWORD data"));
    put(&number, 4);
  } else if (type == REG_QWORD) {
    const unsigned long long number = kwlib::ParseNumber(text, ~0ul, "REG_QWORD data");
    put(&number, 8);
  } else {
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      throw kwlib::UsageError("binary data must be pairs of hex digits");
    }
    for (std::size_t i = 0; i < text.size(); i += 2) data.push_back(static_cast<BYTE>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return data;
}

DWORD TypeFor(const std::string& name) {
  for (DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY, REG_NONE}) {
    if (kwfw::EqualNoCase(std::string_view(name), TypeName(type))) return type;
  }
  throw kwlib::UsageError("unknown type '" + name + "'");
}

std::wstring ValueName(const Switches& s) { return s.value ? Utf8ToWide(*s.value) : L""; }

int Add(const KeyName& name, const Switches& s, std::ostream& out, std::ostream& err) {
  const DWORD type = TypeFor(s.type.value_or("REG_SZ"));
  const std::vector<BYTE> data = DataFor(type, s.data.value_or(""));
  Key key;
  if (LONG error = key.Create(name); error != ERROR_SUCCESS) return kwlib::SystemFailure(err, "reg", error);
  if (!s.value && !s.defaultValue) return kwlib::kExitOk;
  const std::wstring valueName = ValueName(s);
  DWORD size = 0;
  if (!s.force && kwplat::RegQueryValueExW(key, valueName.c_str(), nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS &&
      !Confirm(out, "Value " + (valueName.empty() ? std::string("(Default)") : WideToUtf8(valueName)) +
                        " exists, overwrite")) {
    err << "kwlib reg: the value was left as it was (give /f to overwrite it)\n";
    return kwlib::kExitFailure;
  }
  LONG error = kwplat::RegSetValueExW(key, valueName.c_str(), 0, type, data.data(), static_cast<DWORD>(data.size()));
  return error == ERROR_SUCCESS ? kwlib::kExitOk : kwlib::SystemFailure(err, "reg", error);
}

int Delete(const KeyName& name, const Switches& s, std::ostream& out, std::ostream& err) {
  Key key;
  if (key.Open(name, KEY_ALL_ACCESS) != ERROR_SUCCESS) {
    err << kNotFound;
    return kwlib::kExitFailure;
  }
  const bool oneValue = s.value || s.defaultValue;
  const std::string what = oneValue     ? "the registry value " + (s.value ? *s.value : std::string("(Default)"))
                           : s.allValues ? "all values under " + WideToUtf8(name.Full())
                                         : "the registry key " + WideToUtf8(name.Full());
  if (!s.force && !Confirm(out, "Delete " + what)) {
    err << "kwlib reg: nothing was deleted (give /f to delete without asking)\n";
    return kwlib::kExitFailure;
  }
  if (oneValue) {
    LONG error = kwplat::RegDeleteValueW(key, ValueName(s).c_str());
    if (error == ERROR_FILE_NOT_FOUND) {
      err << kNotFound;
      return kwlib::kExitFailure;
    }
    return error == ERROR_SUCCESS ? kwlib::kExitOk : kwlib::SystemFailure(err, "reg", error);
  }
  if (name.path.empty()) throw kwlib::UsageError("a whole root key cannot be deleted");
  TCarpetaRegistry folder(name.path.c_str(), name.root->key);
  const int result = s.allValues ? folder.BorrarValor(TCarpetaRegistry::kTotsElsValors) : folder.BorrarCarpeta(nullptr);
  return result == 0 ? kwlib::kExitOk : kwlib::SystemFailure(err, "reg", kwplat::GetLastError());
}

// Export: the key and everything below it, parents before children.
void Collect(const KeyName& name, HKEY key, std::vector<kwlib::RegFileKey>& keys) {
  kwlib::RegFileKey entry;
  entry.path = name.Full();
  for (const Value& value : Values(key)) {
    kwlib::RegFileValue stored{value.name, false, value.type, {}};
    if (IsText(value.type)) {
      for (char16_t unit : kwfw::WideToUtf16(Units(value.data))) {
        stored.bytes.push_back(static_cast<BYTE>(unit & 0xFF));
        stored.bytes.push_back(static_cast<BYTE>(unit >> 8));
      }
    } else {
      stored.bytes = value.data;
    }
    entry.values.push_back(std::move(stored));
  }
  keys.push_back(std::move(entry));
  for (const std::wstring& sub : SubKeys(key)) {
    KeyName child{name.root, name.path.empty() ? sub : name.path + L"\\" + sub};
    Key subKey;
    if (subKey.Open(child, KEY_READ) == ERROR_SUCCESS) Collect(child, subKey, keys);
  }
}

int Export(const KeyName& name, const std::string& file, const Switches& s, std::ostream& out, std::ostream& err) {
  Key key;
  if (key.Open(name, KEY_READ) != ERROR_SUCCESS) {
    err << kNotFound;
    return kwlib::kExitFailure;
  }
  struct stat info;
  if (!s.force && file != "-" && stat(file.c_str(), &info) == 0 && !Confirm(out, "File " + file + " already exists. Overwrite it")) {
    err << "kwlib reg: " << file << " was left as it was (give /y to overwrite it)\n";
    return kwlib::kExitFailure;
  }
  std::vector<kwlib::RegFileKey> keys;
  Collect(name, key, keys);
  const std::string bytes = kwlib::WriteRegFile(keys);
  std::string error;
  if (!kwlib::WriteAll(file, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), error)) {
    err << "kwlib reg: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

int Import(const std::string& file, std::ostream& err) {
  std::vector<unsigned char> bytes;
  std::vector<kwlib::RegFileKey> keys;
  std::string error;
  if (!kwlib::ReadAll(file, bytes, error) || !kwlib::ParseRegFile(bytes, keys, error)) {
    err << "kwlib reg: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  // Every key name is checked before anything changes.
  std::vector<KeyName> names;
  for (const kwlib::RegFileKey& entry : keys) names.push_back(ParseKey(entry.path));
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i].remove) {
      if (!names[i].path.empty()) TCarpetaRegistry(names[i].path.c_str(), names[i].root->key).BorrarCarpeta(nullptr);
      continue;
    }
    Key key;
    if (LONG code = key.Create(names[i]); code != ERROR_SUCCESS) return kwlib::SystemFailure(err, "reg", code);
    for (const kwlib::RegFileValue& value : keys[i].values) {
      LONG code = ERROR_SUCCESS;
      if (value.remove) {
        kwplat::RegDeleteValueW(key, value.name.c_str());
      } else if (IsText(value.type)) {
        std::u16string units(value.bytes.size() / 2, u'\0');
        for (std::size_t b = 0; b < units.size(); ++b) {
          units[b] = static_cast<char16_t>(value.bytes[2 * b] | value.bytes[2 * b + 1] << 8);
        }
        // Stored exactly as the file has it: the library adds a terminator that
        // follows a text in memory and refuses a size that reads as counted at two
        // bytes a character, so nothing after the text may read as a terminator.
        std::wstring wide = kwfw::Utf16ToWide(units);
        const std::size_t length = wide.size();
        wide.append(length + 1, L'\xFFFF');
        code = kwplat::RegSetValueExW(key, value.name.c_str(), 0, value.type, reinterpret_cast<const BYTE*>(wide.data()),
                                      static_cast<DWORD>(length * sizeof(wchar_t)));
      } else {
        code = kwplat::RegSetValueExW(key, value.name.c_str(), 0, value.type, value.bytes.data(),
                                      static_cast<DWORD>(value.bytes.size()));
      }
      if (code != ERROR_SUCCESS) return kwlib::SystemFailure(err, "reg", code);
    }
  }
  return kwlib::kExitOk;
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const Switches s = ParseSwitches(args);
  if (s.words.empty()) throw kwlib::UsageError("give an operation: query, add, delete, export or import");
  const std::string& operation = s.words[0];
  const auto need = [&](std::size_t n) {
    if (s.words.size() != n) throw kwlib::UsageError("wrong number of arguments for '" + operation + "'");
  };
  if (operation == "import") {
    need(2);
    return Import(s.words[1], err);
  }
  if (s.words.size() < 2) throw kwlib::UsageError("give a key, such as HKCU\\Software\\Tormel");
  const KeyName name = ParseKey(Utf8ToWide(s.words[1]));
  if (operation == "query") {
    need(2);
    Key key;
    if (key.Open(name, KEY_READ) != ERROR_SUCCESS) {
      err << kNotFound;
      return kwlib::kExitFailure;
    }
    if (s.value || s.defaultValue) {
      for (const Value& value : Values(key)) {
        if (CString(value.name.c_str()).CompareNoCase(ValueName(s).c_str()) == 0) {
          out << "\n" << WideToUtf8(name.Full()) << "\n";
          PrintValue(out, value);
          out << "\n";
          return kwlib::kExitOk;
        }
      }
      err << kNotFound;
      return kwlib::kExitFailure;
    }
    Query(out, name, key, s.recurse);
    return kwlib::kExitOk;
  }
  if (operation == "add") {
    need(2);
    return Add(name, s, out, err);
  }
  if (operation == "delete") {
    need(2);
    return Delete(name, s, out, err);
  }
  if (operation == "export") {
    need(3);
    return Export(name, s.words[2], s, out, err);
  }
  throw kwlib::UsageError("unknown operation '" + operation + "'");
}

KWLIB_COMMAND(kReg, "reg", "query and change the registry; export and import .reg files",
              "usage: kwlib reg query KEY [/v NAME | /ve] [/s]\n"
              "       kwlib reg add KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]\n"
              "       kwlib reg delete KEY [/v NAME | /ve | /va] [/f]\n"
              "       kwlib reg export KEY FILE [/y]\n"
              "       kwlib reg import FILE\n"
              "KEY starts with HKCU or HKLM (HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE), as in\n"
              "HKCU\\Software\\Tormel\\App. TYPE is REG_SZ (the default), REG_EXPAND_SZ,\n"
              "REG_MULTI_SZ (strings separated by \\0), REG_DWORD, REG_QWORD, REG_BINARY (hex\n"
              "digits) or REG_NONE. Changes that would overwrite or delete ask first unless\n"
              "/f (or /y for export) is given; without a terminal the answer is no.\n"
              "Export writes the key and all below it as a .reg file (UTF-16LE); import\n"
              "applies one, checking it whole before changing anything.\n"
              "The registry lives in $XDG_CONFIG_HOME/kwlib63 (HKCU) and /var/lib/kwlib63\n"
              "(HKLM); KWLIB63_REGISTRY_DIR moves both.",
              Run);

}  // namespace
