// kwlib ini: reads and writes INI files through the library's profile functions.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <iostream>
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
#include "dispatch.h"
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

// Whether FILE can be worked on: a reading action wants a readable file, a writing
// one anything but a folder. The profile functions would read a missing or
// unreadable file as empty, and a folder as nothing: said here, rather than as a
// missing key.
bool Usable(const std::string& file, bool reads, const kwlib::Call& call) {
  if (file.empty()) throw kwlib::UsageError("the file name is empty");
  std::string error;
  if (reads ? !kwlib::ReadableFile(file, error) : IsFolder(file, error)) {
    call.err << "kwlib ini: " << file << ": " << error << "\n";
    return false;
  }
  return true;
}

// The settings class reads a file that is no settings document as empty: said
// here, rather than as a missing key.
bool IsXmlSettings(const std::string& file, const kwlib::Call& call) {
  if (!kwplat::XMLNode::ParseFile(Utf8ToWide(file).c_str(), L"Sections").IsEmpty()) return true;
  call.err << "kwlib ini: " << file << ": not an XML settings file (well-formed XML with a root Sections)\n";
  return false;
}

int NoKey(const std::vector<std::string>& words, const kwlib::Call& call) {
  call.err << "kwlib ini: " << words[0] << ": no key '" << words[2] << "' in section '" << words[1] << "'\n";
  return kwlib::kExitFailure;
}

int PrintValue(const std::string& value, const kwlib::Call& call) {
  call.out << (call.arguments.Has("--json") ? kwlib::JsonText(Json::Value(value)) : value) << "\n";
  return kwlib::kExitOk;
}

// get FILE SECTION KEY
int Get(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Usable(words[0], true, call)) return kwlib::kExitFailure;
  const std::wstring file = Utf8ToWide(words[0]), section = Utf8ToWide(words[1]), key = Utf8ToWide(words[2]);
  if (call.arguments.Has("--xml")) {
    if (!IsXmlSettings(words[0], call)) return kwlib::kExitFailure;
    const CString missing(L"\x1F");  // no value holds this character alone
    const CString value = CFitxerSettingsXML(file.c_str()).GetString(section.c_str(), key.c_str(), missing);
    return value == missing ? NoKey(words, call) : PrintValue(WideToUtf8(value.GetString()), call);
  }
  // A value that is absent and one that is empty read the same through the profile
  // functions; the key list tells them apart.
  std::vector<wchar_t> buffer(kBuffer, 0);
  kwplat::GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", buffer.data(), kBuffer, file.c_str());
  bool present = false;
  for (const std::string& k : List(section.c_str(), file)) {
    present = present || CString(Utf8ToWide(k).c_str()).CompareNoCase(key.c_str()) == 0;
  }
  const std::string value = WideToUtf8(buffer.data());
  return value.empty() && !present ? NoKey(words, call) : PrintValue(value, call);
}

// set FILE SECTION KEY VALUE
int Set(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Usable(words[0], false, call)) return kwlib::kExitFailure;
  const std::wstring file = Utf8ToWide(words[0]), section = Utf8ToWide(words[1]), key = Utf8ToWide(words[2]),
                     value = Utf8ToWide(words[3]);
  if (call.arguments.Has("--xml")) {
    if (!CFitxerSettingsXML(file.c_str()).SetString(section.c_str(), key.c_str(), value.c_str())) return Failed(call.err, words[0]);
    return kwlib::kExitOk;
  }
  // The profile functions write what they are given, as Windows does; a line
  // break would make a value that reads back as another key.
  for (std::size_t i = 1; i < 4; ++i) {
    if (words[i].find_first_of("\r\n") != std::string::npos) throw kwlib::UsageError("a line break cannot be written in an INI file");
  }
  // Windows writes a character its code page lacks as '?', and the text is lost:
  // refused here, before the file changes.
  if (!IsUtf16File(words[0])) {
    for (std::size_t i = 1; i < 4; ++i) {
      if (!InWindows1252(Utf8ToWide(words[i]))) {
        call.err << "kwlib ini: " << words[0] << ": '" << words[i]
                 << "' cannot be written in a Windows-1252 file (a file that starts with the UTF-16 mark holds any text)\n";
        return kwlib::kExitFailure;
      }
    }
  }
  if (!kwplat::WritePrivateProfileStringW(section.c_str(), key.c_str(), value.c_str(), file.c_str())) {
    return Failed(call.err, words[0]);
  }
  return kwlib::kExitOk;
}

// delete FILE SECTION [KEY]
int Delete(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Usable(words[0], false, call)) return kwlib::kExitFailure;
  const std::wstring file = Utf8ToWide(words[0]), section = Utf8ToWide(words[1]);
  const std::wstring key = words.size() == 3 ? Utf8ToWide(words[2]) : std::wstring();
  if (call.arguments.Has("--xml")) {
    CFitxerSettingsXML xml(file.c_str());
    if (!(words.size() == 3 ? xml.BorrarValor(section.c_str(), key.c_str()) : xml.BorrarSeccio(section.c_str()))) {
      call.err << "kwlib ini: " << words[0] << ": nothing to delete\n";
      return kwlib::kExitFailure;
    }
    return kwlib::kExitOk;
  }
  if (!kwplat::WritePrivateProfileStringW(section.c_str(), words.size() == 3 ? key.c_str() : nullptr, nullptr, file.c_str())) {
    return Failed(call.err, words[0]);
  }
  return kwlib::kExitOk;
}

// sections FILE
int Sections(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Usable(words[0], true, call)) return kwlib::kExitFailure;
  const std::wstring file = Utf8ToWide(words[0]);
  if (!call.arguments.Has("--xml")) {
    PrintList(call.out, List(nullptr, file), call.arguments.Has("--json"));
    return kwlib::kExitOk;
  }
  if (!IsXmlSettings(words[0], call)) return kwlib::kExitFailure;
  CMultiString sections;
  CFitxerSettingsXML(file.c_str()).GetSeccions(sections);
  std::vector<std::string> items;
  for (int i = 0; i < sections.GetNumStr(); ++i) items.push_back(WideToUtf8(sections[i]));
  PrintList(call.out, items, call.arguments.Has("--json"));
  return kwlib::kExitOk;
}

// keys FILE SECTION
int Keys(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Usable(words[0], true, call)) return kwlib::kExitFailure;
  const std::wstring file = Utf8ToWide(words[0]), section = Utf8ToWide(words[1]);
  if (!call.arguments.Has("--xml")) {
    PrintList(call.out, List(section.c_str(), file), call.arguments.Has("--json"));
    return kwlib::kExitOk;
  }
  if (!IsXmlSettings(words[0], call)) return kwlib::kExitFailure;
  // The settings class lists a section's keys as empty strings (its defined
  // behaviour); the names are read from the document itself.
  const kwplat::XMLNode element =
      kwplat::XMLNode::ParseFile(file.c_str(), L"Sections").ChildWithAttribute(L"Section", L"Name", section.c_str());
  std::vector<std::string> items;
  for (kwplat::XMLNode key = element.FirstChild(L"Key"); !key.IsEmpty(); key = key.NextSibling(L"Key")) {
    std::wstring name;
    key.Attribute(L"Name", name);
    items.push_back(WideToUtf8(name));
  }
  PrintList(call.out, items, call.arguments.Has("--json"));
  return kwlib::kExitOk;
}

// The arguments are counted here, before the file is looked at.
const kwlib::SubCommand<> kTable[] = {
    {{"get", 3, 3, "kwlib ini [--xml] [--json] get FILE SECTION KEY"}, &Get},
    {{"set", 4, 4, "kwlib ini set FILE SECTION KEY VALUE"}, &Set},
    {{"delete", 2, 3, "kwlib ini delete FILE SECTION [KEY]"}, &Delete},
    {{"sections", 1, 1, "kwlib ini sections FILE"}, &Sections},
    {{"keys", 2, 2, "kwlib ini keys FILE SECTION"}, &Keys},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json", "--xml"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kIni, "ini", "read and write INI files", kwlib::SyntaxOf(kTable),
              "\n"
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
