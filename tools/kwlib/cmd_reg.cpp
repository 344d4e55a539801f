// kwlib reg: the registry from the command line, with the Windows registry tool's
// operations, switches and output: query, add, delete, and export/import as .reg
// files.
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <optional>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>

#include "command.h"
#include "dispatch.h"
#include "fileio.h"
#include "longwork.h"
#include "regfile.h"
#include "regkeys.h"

namespace {

using kwfw::Utf8ToWide;
using kwfw::WideToUtf8;
using kwlib::Key;
using kwlib::KeyName;
using kwlib::RegFileValue;
using kwlib::UsageError;

constexpr char kNotFound[] = "ERROR: The system was unable to find the specified registry key or value.\n";

// What `kwlib reg --help` prints after the usage lines of the table.
constexpr char kHelp[] =
    "KEY starts with HKCU or HKLM (HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE), as in\n"
    "HKCU\\Software\\Tormel\\App. TYPE is REG_SZ (the default), REG_EXPAND_SZ,\n"
    "REG_MULTI_SZ (strings separated by \\0 or the /s character), REG_DWORD,\n"
    "REG_DWORD_BIG_ENDIAN, REG_QWORD, REG_BINARY (hex digits) or REG_NONE. Without\n"
    "/v or /ve, add writes the key's default value. Each switch may be given once.\n"
    "Changes that would overwrite or delete ask first unless /f (or /y, after the\n"
    "file, for export) is given; without a terminal the answer is no.\n"
    "Export writes the key and all below it as a .reg file (UTF-16LE). Import reads\n"
    "one (5.00 or REGEDIT4), skips with a warning the lines the Windows editor skips,\n"
    "and changes the registry in one transaction: all of the file or none of it.\n"
    "The registry lives in $XDG_CONFIG_HOME/kwlib63 (HKCU) and /var/lib/kwlib63\n"
    "(HKLM); KWLIB63_REGISTRY_DIR moves both.\n";

// The switches of the Windows tool. Each may be given once; an operation takes
// only its own.
struct Switches {
  std::vector<std::string> words;
  std::optional<std::string> value, type, data, separator;
  bool defaultValue = false, allValues = false, recurse = false, force = false, help = false;
  std::size_t overwriteAfter = 0;  // /y: how many words came before it
};

bool IsHelp(std::string a) {
  std::transform(a.begin(), a.end(), a.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return a == "/?" || a == "/h" || a == "-?" || a == "-h" || a == "--help";
}

Switches ParseSwitches(const std::vector<std::string>& args) {
  Switches s;
  const std::string operation = args.empty() ? "" : args[0];
  bool view = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string a = args[i];
    // Asked for where a switch may stand (not as the operand of /v or /d).
    if (IsHelp(a)) {
      s.help = true;
      return s;
    }
    // A word with a second slash is an absolute file name, not a switch.
    if (a.size() < 2 || a[0] != '/' || a.find('/', 1) != std::string::npos) {
      s.words.push_back(a);
      continue;
    }
    std::transform(a.begin(), a.end(), a.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    auto allowed = [&](std::initializer_list<const char*> operations) {
      if (std::none_of(operations.begin(), operations.end(), [&](const char* o) { return operation == o; })) {
        throw UsageError("'" + operation + "' takes no switch " + args[i]);
      }
    };
    auto once = [&](bool given) {
      if (given) throw UsageError("the switch " + a + " is given twice");
    };
    auto operand = [&](std::optional<std::string>& into) {
      once(into.has_value());
      if (i + 1 >= args.size()) throw UsageError(a + " needs a value");
      into = args[++i];
    };
    if (a == "/v") {
      allowed({"query", "add", "delete"});
      operand(s.value);
    } else if (a == "/ve") {
      allowed({"query", "add", "delete"});
      once(s.defaultValue);
      s.defaultValue = true;
    } else if (a == "/va") {
      allowed({"delete"});
      once(s.allValues);
      s.allValues = true;
    } else if (a == "/s" && operation == "add") {
      operand(s.separator);
    } else if (a == "/s") {
      allowed({"query"});
      once(s.recurse);
      s.recurse = true;
    } else if (a == "/t") {
      allowed({"add"});
      operand(s.type);
    } else if (a == "/d") {
      allowed({"add"});
      operand(s.data);
    } else if (a == "/f") {
      allowed({"add", "delete"});
      once(s.force);
      s.force = true;
    } else if (a == "/y") {
      allowed({"export"});
      once(s.force);
      s.force = true;
      s.overwriteAfter = s.words.size();
    } else if (a == "/reg:32" || a == "/reg:64") {
      // One registry serves both views here; the switch is taken, once.
      once(view);
      view = true;
    } else {
      throw UsageError("unknown switch '" + args[i] + "'");
    }
  }
  if (int(s.value.has_value()) + int(s.defaultValue) + int(s.allValues) > 1) {
    throw UsageError("give one of /v NAME, /ve and /va");
  }
  // Export overwrites only when asked after both names, as the Windows tool reads it.
  if (s.force && operation == "export" && s.overwriteAfter < 3) throw UsageError("/y comes after the key and the file");
  return s;
}

// A key on the command line: one closing backslash is allowed, as the Windows
// tool allows it; two are refused (the editor's files may have more).
KeyName ParseKey(const std::string& text) {
  if (text.size() >= 2 && text.compare(text.size() - 2, 2, "\\\\") == 0) {
    throw UsageError("the key name '" + text + "' ends in more than one backslash");
  }
  KeyName name;
  std::string error;
  if (!kwlib::ParseKeyName(Utf8ToWide(text), name, error)) throw UsageError(error);
  return name;
}

struct TypeName {
  DWORD type;
  const char* name;
};
constexpr TypeName kTypes[] = {
    {REG_NONE, "REG_NONE"},           {REG_SZ, "REG_SZ"},
    {REG_EXPAND_SZ, "REG_EXPAND_SZ"}, {REG_BINARY, "REG_BINARY"},
    {REG_DWORD, "REG_DWORD"},         {REG_DWORD, "REG_DWORD_LITTLE_ENDIAN"},
    {5, "REG_DWORD_BIG_ENDIAN"},      {REG_MULTI_SZ, "REG_MULTI_SZ"},
    {REG_QWORD, "REG_QWORD"},
};

const char* NameOf(DWORD type) {
  for (const TypeName& t : kTypes) {
    if (t.type == type) return t.name;
  }
  return "REG_NONE";
}

std::string Hex(unsigned long long number) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", number);
  return text;
}

// The data as the Windows tool shows it.
std::string Shown(const RegFileValue& value) {
  const auto& b = value.bytes;
  if ((value.type == REG_DWORD || value.type == 5) && b.size() == 4) {
    return Hex(kwfw::Load32(b.data()));
  }
  if (value.type == REG_QWORD && b.size() == 8) {
    return Hex(kwfw::Load64(b.data()));
  }
  if (kwlib::IsTextType(value.type)) {
    std::wstring text = kwlib::FromUtf16Le(b.data(), b.size());
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    std::string shown;
    for (wchar_t c : text) shown += c == L'\0' ? std::string("\\0") : WideToUtf8(std::wstring(1, c));
    return shown;
  }
  std::string shown;
  for (BYTE byte : b) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02X", byte);
    shown += hex;
  }
  return shown;
}

void PrintValue(std::ostream& out, const RegFileValue& value) {
  out << "    " << (value.name.empty() ? "(Default)" : WideToUtf8(value.name)) << "    " << NameOf(value.type) << "    "
      << Shown(value) << "\n";
}

// A registry call that failed while a key was read whole: the command ends with it.
struct RegistryFailure {
  LONG code;
};

struct Listing {
  std::vector<RegFileValue> values;
  std::vector<std::wstring> subKeys;
};

// Reads a key whole; a failure of the registry is reported, never passed over.
Listing List(HKEY key) {
  Listing listing;
  LONG error = ERROR_SUCCESS;
  if (!kwlib::ReadValues(key, listing.values, error) || !kwlib::ReadSubKeys(key, listing.subKeys, error)) {
    throw RegistryFailure{error};
  }
  return listing;
}

// query without /v: the key's values, then its sub-keys, as the Windows tool
// prints them: with /s each key below as a block that ends in a blank line.
void QueryKey(std::ostream& out, const KeyName& name, HKEY key, bool recurse, bool top) {
  const Listing listing = List(key);
  if (!top || !listing.values.empty()) {
    out << WideToUtf8(name.Full()) << "\n";
    for (const RegFileValue& value : listing.values) PrintValue(out, value);
    out << "\n";
  }
  for (const std::wstring& sub : listing.subKeys) {
    const KeyName child = name.Child(sub);
    if (!recurse) {
      out << WideToUtf8(child.Full()) << "\n";
      continue;
    }
    Key subKey;
    if (subKey.Open(child, KEY_READ) == ERROR_SUCCESS) QueryKey(out, child, subKey, true, false);
  }
}

// query /v NAME (or /ve): the value in this key, or with /s in every key below.
int QueryValue(std::ostream& out, const KeyName& name, HKEY key, const std::wstring& valueName, bool recurse,
               int& found) {
  const Listing listing = List(key);
  for (const RegFileValue& value : listing.values) {
    if (!kwfw::EqualNoCase(value.name, valueName)) continue;
    out << WideToUtf8(name.Full()) << "\n";
    PrintValue(out, value);
    out << "\n";
    ++found;
  }
  if (recurse) {
    for (const std::wstring& sub : listing.subKeys) {
      Key subKey;
      if (subKey.Open(name.Child(sub), KEY_READ) == ERROR_SUCCESS) QueryValue(out, name.Child(sub), subKey, valueName, true, found);
    }
  }
  return found;
}

// What the operations are given besides their words.
struct RegCall {
  const Switches& s;
  std::ostream& out;
  std::ostream& err;
};

// query KEY
int Query(const std::vector<std::string>& words, const RegCall& call) {
  const KeyName name = ParseKey(words[0]);
  const Switches& s = call.s;
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  Key key;
  if (key.Open(name, KEY_READ) != ERROR_SUCCESS) {
    err << kNotFound;
    return kwlib::kExitFailure;
  }
  out << "\n";
  if (!s.value && !s.defaultValue) {
    QueryKey(out, name, key, s.recurse, true);
    return kwlib::kExitOk;
  }
  const std::wstring valueName = s.value ? Utf8ToWide(*s.value) : L"";
  int found = 0;
  QueryValue(out, name, key, valueName, s.recurse, found);
  if (s.recurse) {
    out << "End of search: " << found << " match(es) found.\n";
    return found > 0 ? kwlib::kExitOk : kwlib::kExitFailure;
  }
  if (found > 0) return kwlib::kExitOk;
  // A key without a default value still answers /ve, as the Windows tool does.
  if (s.defaultValue) {
    out << WideToUtf8(name.Full()) << "\n    (Default)    REG_SZ    (value not set)\n\n";
    return kwlib::kExitOk;
  }
  err << kNotFound;
  return kwlib::kExitFailure;
}

// Asks on the terminal; anything but yes (and the end of input) is no.
bool Confirm(std::ostream& out, const std::string& question) {
  out << question << " (Yes/No)? " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

DWORD TypeFor(const std::string& name) {
  for (const TypeName& t : kTypes) {
    if (kwfw::EqualNoCase(std::string_view(name), t.name)) return t.type;
  }
  throw UsageError("unknown type '" + name + "'");
}

std::vector<BYTE> Little(unsigned long long number, int size) {
  std::vector<BYTE> bytes;
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<BYTE>(number >> (8 * i)));
  return bytes;
}

// REG_MULTI_SZ from /d and /s: each string and its terminator, then one more. A
// closing separator is allowed and a lone one is one empty string; an empty
// string elsewhere is refused, as the Windows tool refuses it.
std::vector<BYTE> StringList(const std::wstring& data, const std::wstring& separator) {
  std::wstring stored;
  if (data == separator) {
    stored = L'\0';
  } else if (!data.empty()) {
    std::wstring rest = data;
    if (rest.size() >= separator.size() && rest.compare(rest.size() - separator.size(), separator.size(), separator) == 0) {
      rest.resize(rest.size() - separator.size());
    }
    for (std::size_t start = 0;;) {
      const std::size_t end = rest.find(separator, start);
      const std::wstring item = rest.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
      if (item.empty()) throw UsageError("REG_MULTI_SZ data cannot hold an empty string");
      stored += item + L'\0';
      if (end == std::wstring::npos) break;
      start = end + separator.size();
    }
  }
  stored += L'\0';
  return kwlib::Utf16LeBytes(stored);
}

// Windows' bytes for data given on the command line, by type.
std::vector<BYTE> DataFor(DWORD type, const Switches& s) {
  const std::string text = s.data.value_or("");
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_NONE:  // the text as a string, not read as hex
      return kwlib::Utf16LeBytes(Utf8ToWide(text) + L'\0');
    case REG_MULTI_SZ: {
      const std::wstring separator = s.separator ? Utf8ToWide(*s.separator) : L"\\0";
      // One character as Windows counts them: one UTF-16 unit.
      if (s.separator && (separator.size() != 1 || static_cast<std::uint32_t>(separator[0]) > 0xFFFF)) {
        throw UsageError("/s takes one character");
      }
      return StringList(Utf8ToWide(text), separator);
    }
    case REG_DWORD:
    case 5:  // stored little-endian, as the Windows tool stores it
      if (!s.data) throw UsageError(std::string(NameOf(type)) + " needs /d DATA");
      return Little(kwlib::ParseNumber(text, 0xFFFFFFFFul, "REG_DWORD data"), 4);
    case REG_QWORD:
      // No data is zero, and -1 all ones, as the Windows tool takes them.
      if (text == "-1") return Little(~0ull, 8);
      return Little(s.data ? kwlib::ParseNumber(text, ~0ul, "REG_QWORD data") : 0, 8);
    default: {
      if (text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        throw UsageError("binary data must be hex digits");
      }
      // An odd count reads as if a 0 led it.
      const std::string digits = text.size() % 2 != 0 ? "0" + text : text;
      std::vector<BYTE> bytes;
      for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
      }
      return bytes;
    }
  }
}

// add KEY
int Add(const std::vector<std::string>& words, const RegCall& call) {
  const KeyName name = ParseKey(words[0]);
  const Switches& s = call.s;
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  RegFileValue value;
  value.type = TypeFor(s.type.value_or("REG_SZ"));
  value.bytes = DataFor(value.type, s);
  value.name = s.value ? Utf8ToWide(*s.value) : L"";
  // Without /v the default value is written (an empty REG_SZ when nothing else
  // is given), as the Windows tool writes it.
  if (name.path.empty()) throw UsageError("a value cannot be added to a root key");
  Key key;
  if (LONG error = key.Create(name); error != ERROR_SUCCESS) return kwlib::SystemFailure(err, "reg", error);
  DWORD size = 0;
  if (!s.force && kwplat::RegQueryValueExW(key, value.name.c_str(), nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS &&
      !Confirm(out, "Value " + (value.name.empty() ? std::string("(Default)") : WideToUtf8(value.name)) +
                        " exists, overwrite")) {
    err << "kwlib reg: the value was left as it was (give /f to overwrite it)\n";
    return kwlib::kExitFailure;
  }
  const LONG error = kwlib::WriteValue(key, value);
  return error == ERROR_SUCCESS ? kwlib::kExitOk : kwlib::SystemFailure(err, "reg", error);
}

// delete KEY
int Delete(const std::vector<std::string>& words, const RegCall& call) {
  const KeyName name = ParseKey(words[0]);
  const Switches& s = call.s;
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  const bool oneValue = s.value || s.defaultValue;
  if (!oneValue && !s.allValues && name.path.empty()) throw UsageError("a whole root key cannot be deleted");
  Key key;
  if (key.Open(name, KEY_ALL_ACCESS) != ERROR_SUCCESS) {
    err << kNotFound;
    return kwlib::kExitFailure;
  }
  const std::string what = oneValue     ? "the registry value " + (s.value ? *s.value : std::string("(Default)"))
                           : s.allValues ? "all values under " + WideToUtf8(name.Full())
                                         : "the registry key " + WideToUtf8(name.Full());
  if (!s.force && !Confirm(out, "Delete " + what)) {
    err << "kwlib reg: nothing was deleted (give /f to delete without asking)\n";
    return kwlib::kExitFailure;
  }
  LONG error = ERROR_SUCCESS;
  if (oneValue) {
    error = kwplat::RegDeleteValueW(key, s.value ? Utf8ToWide(*s.value).c_str() : L"");
    if (error == ERROR_FILE_NOT_FOUND) {
      err << kNotFound;
      return kwlib::kExitFailure;
    }
  } else if (s.allValues) {
    for (const RegFileValue& value : List(key).values) {
      if ((error = kwplat::RegDeleteValueW(key, value.name.c_str())) != ERROR_SUCCESS) break;
    }
  } else {
    const std::size_t last = name.path.rfind(L'\\');
    Key parent;
    const KeyName parentName{name.root, last == std::wstring::npos ? L"" : name.path.substr(0, last)};
    error = parent.Open(parentName, KEY_ALL_ACCESS);
    if (error == ERROR_SUCCESS) error = kwlib::DeleteTree(parent, name.path.substr(last + 1));
  }
  return error == ERROR_SUCCESS ? kwlib::kExitOk : kwlib::SystemFailure(err, "reg", error);
}

// Export: the key and everything below it, parents before children.
void Collect(const KeyName& name, HKEY key, std::vector<kwlib::RegFileKey>& keys) {
  if (TIndicadorEstat* ie = kwlib::Progress()) {
    ie->SetMissatge(name.Full().c_str());
    ie->MostrarEstat(0.0);
  }
  Listing listing = List(key);
  keys.push_back({name.Full(), false, std::move(listing.values), 0});
  for (const std::wstring& sub : listing.subKeys) {
    Key subKey;
    if (LONG error = subKey.Open(name.Child(sub), KEY_READ); error != ERROR_SUCCESS) {
      throw RegistryFailure{error};
    }
    Collect(name.Child(sub), subKey, keys);
  }
}

// export KEY FILE
int Export(const std::vector<std::string>& words, const RegCall& call) {
  const KeyName name = ParseKey(words[0]);
  const std::string& file = words[1];
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  Key key;
  if (key.Open(name, KEY_READ) != ERROR_SUCCESS) {
    err << kNotFound;
    return kwlib::kExitFailure;
  }
  struct stat info;
  if (!call.s.force && file != "-" && stat(file.c_str(), &info) == 0 && !Confirm(out, "File " + file + " already exists. Overwrite it")) {
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

// Applies one key of a .reg file inside the import's transaction. A name the
// registry refuses (ERROR_INVALID_PARAMETER: too long) costs its key or value
// only, with a warning, as a line the editor cannot apply; any other failure
// ends the import.
LONG ApplyKey(HANDLE transaction, const KeyName& name, const kwlib::RegFileKey& entry, const std::string& prefix,
              std::ostream& err) {
  // "[HKEY_CURRENT_USER\\Name]" names no key the registry can open or make.
  if (!name.path.empty() && name.path.front() == L'\\') {
    err << prefix << "line " << entry.line << ": an empty key name in the path; the key is skipped\n";
    return ERROR_SUCCESS;
  }
  if (entry.remove) {
    if (name.path.empty()) {
      err << prefix << "line " << entry.line << ": a root key cannot be deleted; the line is skipped\n";
      return ERROR_SUCCESS;
    }
    const std::size_t last = name.path.rfind(L'\\');
    Key parent(transaction);
    LONG error = parent.Open({name.root, last == std::wstring::npos ? L"" : name.path.substr(0, last)}, KEY_ALL_ACCESS);
    if (error == ERROR_SUCCESS) error = kwlib::DeleteTree(parent, name.path.substr(last + 1));
    // Deleting a key that is not there changes nothing and is no failure.
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
  }
  Key key(transaction);
  if (LONG error = key.Create(name); error != ERROR_SUCCESS) {
    if (error != ERROR_INVALID_PARAMETER) return error;
    err << prefix << "line " << entry.line << ": a key name is longer than 255 characters; the key is skipped\n";
    return ERROR_SUCCESS;
  }
  for (const RegFileValue& value : entry.values) {
    const LONG error = value.remove ? kwplat::RegDeleteValueW(key, value.name.c_str()) : kwlib::WriteValue(key, value);
    if (error == ERROR_INVALID_PARAMETER) {
      err << prefix << "line " << value.line << ": a value name is longer than 16383 characters; the value is skipped\n";
    } else if (error != ERROR_SUCCESS && !(value.remove && error == ERROR_FILE_NOT_FOUND)) {
      return error;
    }
  }
  return ERROR_SUCCESS;
}

// import FILE
int Import(const std::vector<std::string>& words, const RegCall& call) {
  const std::string& file = words[0];
  std::ostream& err = call.err;
  std::vector<unsigned char> bytes;
  kwlib::RegFileContents contents;
  std::string error;
  if (!kwlib::ReadAll(file, bytes, error) || !kwlib::ParseRegFile(bytes, contents, error)) {
    err << "kwlib reg: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  for (const std::string& warning : contents.warnings) err << "kwlib reg: " << file << ": " << warning << "\n";
  // The whole file is one transaction: a write that fails leaves the registry as
  // it was before the file.
  HANDLE transaction = kwplat::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
  if (transaction == INVALID_HANDLE_VALUE) return kwlib::SystemFailure(err, "reg", kwplat::GetLastError());
  LONG failure = ERROR_SUCCESS;
  std::string what = "reg: " + file;
  std::size_t applied = 0;
  for (const kwlib::RegFileKey& entry : contents.keys) {
    if (TIndicadorEstat* ie = kwlib::Progress()) {
      ie->MostrarEstat(static_cast<double>(applied++) / static_cast<double>(contents.keys.size()));
    }
    const std::string prefix = "kwlib reg: " + file + ": ";
    KeyName name;
    std::string why;
    // A root this registry does not have costs the key and its values, as a
    // root the editor does not know does.
    if (!kwlib::ParseKeyName(entry.path, name, why)) {
      err << prefix << "line " << entry.line << ": " << why << "; the key is skipped\n";
      continue;
    }
    if ((failure = ApplyKey(transaction, name, entry, prefix, err)) != ERROR_SUCCESS) {
      what = "reg: " + file + ": line " + std::to_string(entry.line);
      break;
    }
  }
  if (failure == ERROR_SUCCESS && !kwplat::CommitTransaction(transaction)) failure = kwplat::GetLastError();
  kwplat::CloseHandle(transaction);
  if (failure != ERROR_SUCCESS) {
    kwlib::SystemFailure(err, what, failure);
    err << "kwlib reg: " << file << ": nothing was imported\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

const kwlib::SubCommand<RegCall> kTable[] = {
    {{"query", 1, 1, "kwlib reg query KEY [/v NAME | /ve] [/s]"}, &Query},
    {{"add", 1, 1, "kwlib reg add KEY [/v NAME | /ve] [/t TYPE] [/s SEPARATOR] [/d DATA] [/f]"}, &Add},
    {{"delete", 1, 1, "kwlib reg delete KEY [/v NAME | /ve | /va] [/f]"}, &Delete},
    {{"export", 2, 2, "kwlib reg export KEY FILE [/y]"}, &Export},
    {{"import", 1, 1, "kwlib reg import FILE"}, &Import},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

KWLIB_COMMAND(kReg, "reg", "query and change the registry; export and import .reg files", kwlib::SyntaxOf(kTable), kHelp,
              Run, true);

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const Switches s = [&] {
    try {
      return ParseSwitches(args);
    } catch (const UsageError&) {
      // The switches are checked against the operation, the first word: when that
      // is no operation, that is the error to tell.
      if (!args.empty()) kwlib::Named(kReg.syntax, args[0]);
      throw;
    }
  }();
  if (s.help) {
    out << kwlib::HelpText(kReg);
    return kwlib::kExitOk;
  }
  try {
    return kwlib::Dispatch(kTable, s.words, RegCall{s, out, err});
  } catch (const RegistryFailure& failure) {
    return kwlib::SystemFailure(err, "reg", static_cast<unsigned long>(failure.code));
  }
}

}  // namespace
