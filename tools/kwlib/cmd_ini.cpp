// kwlib ini: reads and writes INI files through the library's profile functions.
#include <cwchar>
#include <iostream>
#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/profile.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/fitxersettingsxml.h>

#include "command.h"

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

int Failed(std::ostream& err, const std::string& what) {
  return kwlib::SystemFailure(err, "ini: " + what, kwplat::GetLastError());
}

void PrintList(std::ostream& out, const std::vector<std::string>& items, bool json) {
  if (json) {
    Json::Value list(Json::arrayValue);
    for (const std::string& item : items) list.append(item);
    out << Json::writeString(Json::StreamWriterBuilder(), list) << "\n";
  } else {
    for (const std::string& item : items) out << item << "\n";
  }
}

// The XML settings form, through CFitxerSettingsXML.
int RunXml(const std::vector<std::string>& words, bool json, std::ostream& out, std::ostream& err) {
  const std::string& action = words[0];
  CFitxerSettingsXML xml(Utf8ToWide(words[1]).c_str());
  const auto need = [&](std::size_t n) {
    if (words.size() != n) throw kwlib::UsageError("wrong number of arguments for '" + action + "'");
  };
  const auto w = [&](std::size_t i) { return Utf8ToWide(words[i]); };
  if (action == "get") {
    need(4);
    const CString missing(L"\x1F");  // no value holds this character alone
    const CString value = xml.GetString(w(2).c_str(), w(3).c_str(), missing);
    if (value == missing) {
      err << "kwlib ini: " << words[1] << ": no key '" << words[3] << "' in section '" << words[2] << "'\n";
      return kwlib::kExitFailure;
    }
    out << (json ? Json::writeString(Json::StreamWriterBuilder(), Json::Value(WideToUtf8(value.GetString())))
                 : WideToUtf8(value.GetString()))
        << "\n";
    return kwlib::kExitOk;
  }
  if (action == "set") {
    need(5);
    if (!xml.SetString(w(2).c_str(), w(3).c_str(), w(4).c_str())) return Failed(err, words[1]);
    return kwlib::kExitOk;
  }
  if (action == "delete") {
    if (words.size() != 3 && words.size() != 4) throw kwlib::UsageError("give a section, and a key to delete only that");
    const int done = words.size() == 4 ? xml.BorrarValor(w(2).c_str(), w(3).c_str()) : xml.BorrarSeccio(w(2).c_str());
    if (!done) {
      err << "kwlib ini: " << words[1] << ": nothing to delete\n";
      return kwlib::kExitFailure;
    }
    return kwlib::kExitOk;
  }
  if (action == "sections") {
    need(2);
    CMultiString sections;
    xml.GetSeccions(sections);
    std::vector<std::string> items;
    for (int i = 0; i < sections.GetNumStr(); ++i) items.push_back(WideToUtf8(sections[i]));
    PrintList(out, items, json);
    return kwlib::kExitOk;
  }
  if (action == "keys") {
    // The settings class lists a section's keys as empty strings (its defined
    // behaviour); the names are read from the document itself.
    need(3);
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
  throw kwlib::UsageError("unknown action '" + action + "'");
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json", "--xml"});
  const std::vector<std::string>& words = arguments.words;
  const bool json = arguments.Has("--json");
  if (words.size() < 2) throw kwlib::UsageError("give an action and a file");
  if (arguments.Has("--xml")) return RunXml(words, json, out, err);
  const std::string& action = words[0];
  const std::wstring file = Utf8ToWide(words[1]);
  const auto need = [&](std::size_t n) {
    if (words.size() != n) throw kwlib::UsageError("wrong number of arguments for '" + action + "'");
  };
  const auto section = [&] { return Utf8ToWide(words[2]); };
  const auto key = [&] { return Utf8ToWide(words[3]); };
  if (action == "get") {
    need(4);
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
      out << Json::writeString(Json::StreamWriterBuilder(), Json::Value(value)) << "\n";
    } else {
      out << value << "\n";
    }
    return kwlib::kExitOk;
  }
  if (action == "set") {
    need(5);
    if (!kwplat::WritePrivateProfileStringW(section().c_str(), key().c_str(), Utf8ToWide(words[4]).c_str(), file.c_str())) {
      return Failed(err, words[1]);
    }
    return kwlib::kExitOk;
  }
  if (action == "delete") {
    if (words.size() != 3 && words.size() != 4) throw kwlib::UsageError("give a section, and a key to delete only that");
    const std::wstring k = words.size() == 4 ? key() : std::wstring();
    if (!kwplat::WritePrivateProfileStringW(section().c_str(), words.size() == 4 ? k.c_str() : nullptr, nullptr,
                                            file.c_str())) {
      return Failed(err, words[1]);
    }
    return kwlib::kExitOk;
  }
  if (action == "sections" || action == "keys") {
    need(action == "sections" ? 2 : 3);
    const std::wstring s = action == "keys" ? section() : std::wstring();
    PrintList(out, List(action == "keys" ? s.c_str() : nullptr, file), json);
    return kwlib::kExitOk;
  }
  throw kwlib::UsageError("unknown action '" + action + "'");
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
              "Exit status: 0, 1 when a key is missing or the file cannot be written.\n",
              &Run);
