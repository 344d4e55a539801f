// kwlib path: the path rules of CPathString applied to paths given on the command line.
#include <cstring>
#include <iostream>
#include <vector>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/settings/pathstring.h>

#include "command.h"
#include "dispatch.h"

namespace {

std::string Utf8(const CString& s) { return kwfw::WideToUtf8(s.GetString()); }

// split PATH...
int Split(const std::vector<std::string>& words, const kwlib::Call& call) {
  const bool json = call.arguments.Has("--json");
  Json::Value all(Json::arrayValue);
  for (std::size_t i = 0; i < words.size(); ++i) {
    const CPathString p(kwfw::Utf8ToWide(words[i]).c_str(), nullptr);
    Json::Value v;
    v["path"] = Utf8(p);
    v["directory"] = Utf8(p.GetDirectori(1));
    v["name"] = Utf8(p.GetNomFitxer());
    v["extension"] = Utf8(p.GetExtensio(0));
    v["file"] = Utf8(p.GetFitxer());
    v["subdirectory"] = Utf8(p.GetSubdirectori());
    v["root"] = p.IsRoot() != 0;
    v["folder"] = p.EsCarpeta() != 0;
    if (json) {
      all.append(v);
      continue;
    }
    for (const char* field : {"path", "directory", "name", "extension", "file", "subdirectory"}) {
      call.out << field << std::string(14 - std::strlen(field), ' ') << v[field].asString() << "\n";
    }
    call.out << "root          " << (v["root"].asBool() ? "yes" : "no") << "\n"
        << "folder        " << (v["folder"].asBool() ? "yes" : "no") << "\n";
    if (i + 1 < words.size()) call.out << "\n";
  }
  if (json) call.out << kwlib::JsonText(all) << "\n";
  return kwlib::kExitOk;
}

// purify PATH...
int Purify(const std::vector<std::string>& words, const kwlib::Call& call) {
  for (const std::string& word : words) call.out << Utf8(CPathString(kwfw::Utf8ToWide(word).c_str(), nullptr).Purify()) << "\n";
  return kwlib::kExitOk;
}

// cd PATH FOLDER
int Cd(const std::vector<std::string>& words, const kwlib::Call& call) {
  const CPathString p(kwfw::Utf8ToWide(words[0]).c_str(), nullptr);
  try {
    call.out << Utf8(p.Cd(kwfw::Utf8ToWide(words[1]).c_str())) << "\n";
  } catch (CInvalidArgException* e) {
    e->Delete();
    throw kwlib::UsageError("'" + words[0] + "' has no folder to leave");
  }
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {
    {{"split", 1, kwlib::kNoLimit, "kwlib path split [--json] PATH..."}, &Split},
    {{"purify", 1, kwlib::kNoLimit, "kwlib path purify PATH..."}, &Purify},
    {{"cd", 2, 2, "kwlib path cd PATH FOLDER"}, &Cd},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kPath, "path", "split, clean and move paths by the library's rules", kwlib::SyntaxOf(kTable),
              "\n"
              "split prints the parts of each path (directory, name, extension, file, last\n"
              "folder) and whether it is the root or names a folder; purify replaces the\n"
              "characters < > : \" | ? * by spaces in each part; cd moves the file into FOLDER\n"
              "(\"..\", a relative folder, or an absolute one). The paths are text: the disk\n"
              "is not asked.\n",
              &Run);
