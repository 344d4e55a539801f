// kwlib ini: reads and writes INI files through the library's profile functions.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <iostream>
#include <map>
#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/profile.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/fitxersettingsxml.h>

#include "command.h"
#include "fileio.h"

namespace {

using kwfw::Utf8ToWide;
using kwfw::WideToUtf8;

constexpr DWORD kBuffer = 1 << 20;

std::vector<std::string> List(const wchar_t* section, const std::wstring& file) {
  std::vector<wchar_t> buffer(kBuffer, 0);
  const DWORD n = section != nullptr
                      ? kwplat::GetPrivateProfileStringW(section, nullptr, L"", buffer.data(), kBuffer, file.c_str())
                      : kwplat::GetPrivateProfileSectionNamesW(buffer.data(), kBuffer, file.c_str());
  std::vector<std::string> items;
  for (DWORD i = 0; i < n; i += static_cast<DWORD>(std::wcslen(buffer.data() + i)) + 1) {
    items.push_back(WideToUtf8(buffer.data() + i));
  }
  return items;
}

// True, with `error` set, when `path` is a folder.
bool IsFolder(const std::string& path, std::string& error) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return false;
  error = std::strerror(EISDIR);
  return true;
}

// The profile functions' choice: UTF-16LE when the file starts with its mark,
// Windows-1252 otherwise (a new file included).
bool IsUtf16File(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char mark[2] = {};
  return file.read(mark, 2) && mark[0] == '\xFF' && mark[1] == '\xFE';
}

bool InWindows1252(const std::wstring& text) {
  if (text.empty()) return true;
  BOOL lost = FALSE;
  std::string bytes(text.size(), '\0');
  kwplat::WideCharToMultiByte(1252, WC_NO_BEST_FIT_CHARS, text.data(), static_cast<int>(text.size()), bytes.data(),
                              static_cast<int>(bytes.size()), nullptr, &lost);
  return !lost;
}

int Failed(std::ostream& err, const std::string& what) {
  return kwlib::SystemFailure(err, "ini: " + what, kwplat::GetLastError());
}

void PrintList(std::ostream& out, const std::vector<std::string>& items, bool json) {
  if (json) {
    Json::Value list(Json::arrayValue);
    for (const std::string& item : items) list.append(item);
    out << kwlib::JsonText(list) << "\n";
  } else {
    for (const std::string& item : items) out << item << "\n";
  }
}

// The XML settings form, through CFitxerSettingsXML.
int RunXml(const std::vector<std::string>& words, bool json, std::ostream& out, std::ostream& err) {
  const std::string& action = words[0];
  // The settings class reads a file that is no settings document as empty: said
  // here, rather than as a missing key.
  if ((action == "get" || action == "sections" || action == "keys") &&
      kwplat::XMLNode::ParseFile(Utf8ToWide(words[1]).c_str(), L"Sections").IsEmpty()) {
    err << "kwlib ini: " << words[1] << ": not an XML settings file (well-formed XML with a root Sections)\n";
    return kwlib::kExitFailure;
  }
  CFitxerSettingsXML xml(Utf8ToWide(words[1]).c_str());
  const auto w = [&](std::size_t i) { return Utf8ToWide(words[i]); };
  if (action == "get") {
    const CString missing(L"\x1F");  // no value holds this character alone
    const CString value = xml.GetString(w(2).c_str(), w(3).c_str(), missing);
    if (value == missing) {
      err << "kwlib ini: " << words[1] << ": no key '" << words[3] << "' in section '" << words[2] << "'\n";
      return kwlib::kExitFailure;
    }
    out << (json ? kwlib::JsonText(Json::Value(WideToUtf8(value.GetString())))
                 : WideToUtf8(value.GetString()))
        << "\n";
    return kwlib::kExitOk;
  }
  if (action == "set") {
    if (!xml.SetString(w(2).c_str(), w(3).c_str(), w(4).c_str())) return Failed(err, words[1]);
    return kwlib::kExitOk;
  }
  if (action == "delete") {
    const int done = words.size() == 4 ? xml.BorrarValor(w(2).c_str(), w(3).c_str()) : xml.BorrarSeccio(w(2).c_str());
    if (!done) {
      err << "kwlib ini: " << words[1] << ": nothing to delete\n";
      return kwlib::kExitFailure;
    }
    return kwlib::kExitOk;
  }
  if (action == "sections") {
    CMultiString sections;
    xml.GetSeccions(sections);
    std::vector<std::string> items;
    for (int i = 0; i < sections.GetNumStr(); ++i) items.push_back(WideToUtf8(sections[i]));
    PrintList(out, items, json);
    return kwlib::kExitOk;
  }
  // keys: the settings class lists a section's keys as empty strings (its defined
  // behaviour); the names are read from the document itself.
  const kwplat::XMLNode section = kwplat::XMLNode::ParseFile(w(1).c_str(), L"Sections").ChildWithAttribute(L"Section", L"Name", w(2).c_str());
  std::vector<std::string> items;
  for (kwplat::XMLNode key = section.FirstChild(L"Key"); !key.IsEmpty(); key = key.NextSibling(L"Key")) {
    std::wstring name;
    key.Attribute(L"Name", name);
    items.push_back(WideToUtf8(name));
  }
  PrintList(out, items, json);
  return kwlib::kExitOk;
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json", "--xml"});
  const std::vector<std::string>& words = arguments.words;
  const bool json = arguments.Has("--json");
  if (words.size() < 2) throw kwlib::UsageError("give an action and a file");
  const std::string& action = words[0];
  // The words each action takes, the action and the file included: the arguments
  // are checked before the file is looked at.
  static const std::map<std::string, std::pair<std::size_t, std::size_t>> kWords = {
      {"get", {4, 4}}, {"set", {5, 5}}, {"delete", {3, 4}}, {"sections", {2, 2}}, {"keys", {3, 3}}};
  const auto arity = kWords.find(action);
  if (arity == kWords.end()) throw kwlib::UsageError("unknown action '" + action + "'");
  if (words.size() < arity->second.first || words.size() > arity->second.second) {
    throw kwlib::UsageError("wrong number of arguments for '" + action + "'");
  }
  if (words[1].empty()) throw kwlib::UsageError("the file name is empty");
  // The profile functions read a missing or unreadable file as empty, and a folder
  // as nothing: said here, rather than as a missing key.
  std::string error;
  const bool reads = action == "get" || action == "sections" || action == "keys";
  if (reads ? !kwlib::ReadableFile(words[1], error) : IsFolder(words[1], error)) {
    err << "kwlib ini: " << words[1] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  if (arguments.Has("--xml")) return RunXml(words, json, out, err);
  const std::wstring file = Utf8ToWide(words[1]);
  const auto section = [&] { return Utf8ToWide(words[2]); };
  const auto key = [&] { return Utf8ToWide(words[3]); };
  if (action == "get") {
    // A value that is absent and one that is empty read the same through the profile
    // functions; the key list tells them apart.
    std::vector<wchar_t> buffer(kBuffer, 0);
    kwplat::GetPrivateProfileStringW(section().c_str(), key().c_str(), L"", buffer.data(), kBuffer, file.c_str());
    bool present = false;
    for (const std::string& k : List(section().c_str(), file)) {
      present = present || CString(Utf8ToWide(k).c_str()).CompareNoCase(key().c_str()) == 0;
    }
    const std::string value = WideToUtf8(buffer.data());
    if (value.empty() && !present) {
      err << "kwlib ini: " << words[1] << ": no key '" << words[3] << "' in section '" << words[2] << "'\n";
      return kwlib::kExitFailure;
    }
    if (json) {
      out << kwlib::JsonText(Json::Value(value)) << "\n";
    } else {
      out << value << "\n";
    }
    return kwlib::kExitOk;
  }
  if (action == "set") {
    // The profile functions write what they are given, as Windows does; a line
    // break would make a value that reads back as another key.
    for (std::size_t i = 2; i < 5; ++i) {
      if (words[i].find_first_of("\r\n") != std::string::npos) throw kwlib::UsageError("a line break cannot be written in an INI file");
    }
    // Windows writes a character its code page lacks as '?', and the text is lost:
    // refused here, before the file changes.
    if (!IsUtf16File(words[1])) {
      for (std::size_t i = 2; i < 5; ++i) {
        if (!InWindows1252(Utf8ToWide(words[i]))) {
          err << "kwlib ini: " << words[1] << ": '" << words[i]
              << "' cannot be written in a Windows-1252 file (a file that starts with the UTF-16 mark holds any text)\n";
          return kwlib::kExitFailure;
        }
      }
    }
    if (!kwplat::WritePrivateProfileStringW(section().c_str(), key().c_str(), Utf8ToWide(words[4]).c_str(), file.c_str())) {
      return Failed(err, words[1]);
    }
    return kwlib::kExitOk;
  }
  if (action == "delete") {
    const std::wstring k = words.size() == 4 ? key() : std::wstring();
    if (!kwplat::WritePrivateProfileStringW(section().c_str(), words.size() == 4 ? k.c_str() : nullptr, nullptr,
                                            file.c_str())) {
      return Failed(err, words[1]);
    }
    return kwlib::kExitOk;
  }
  // sections or keys
  const std::wstring s = action == "keys" ? section() : std::wstring();
  PrintList(out, List(action == "keys" ? s.c_str() : nullptr, file), json);
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kIni, "ini", "read and write INI files",
              "Usage: kwlib ini [--xml] [--json] get FILE SECTION KEY\n"
              "       kwlib ini set FILE SECTION KEY VALUE\n"
              "       kwlib ini delete FILE SECTION [KEY]\n"
              "       kwlib ini sections FILE\n"
              "       kwlib ini keys FILE SECTION\n\n"
              "Reads and writes with the Windows INI rules: sections and keys without regard\n"
              "to case, the first of duplicates, ';' comments, UTF-16 files with their mark\n"
              "or Windows-1252 ones. A write keeps every other byte of the file and replaces\n"
              "it atomically under a lock. --xml works on the XML settings form instead (a\n"
              "root Sections, Section elements with a Name, Key elements with a Name and\n"
              "the value as text). --json prints values and lists as JSON.\n"
              "The folder holding the file must be writable: a write renames a new copy\n"
              "over the file. A line break cannot be written in a section, key or value.\n"
              "Exit status: 0; 1 when a key is missing or the file cannot be read or written;\n"
              "2 for bad arguments.\n",
              &Run);
