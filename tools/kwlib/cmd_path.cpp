// kwlib path: the path rules of CPathString applied to paths given on the command line.
#include <cstring>
#include <iostream>
#include <vector>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/settings/pathstring.h>

#include "command.h"

namespace {

std::string Utf8(const CString& s) { return kwfw::WideToUtf8(s.GetString()); }

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream&) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json"});
  const std::vector<std::string>& words = arguments.words;
  const bool json = arguments.Has("--json");
  if (words.empty()) throw kwlib::UsageError("give an action: split, purify or cd");
  const std::string& action = words[0];
  if (action == "split") {
    if (words.size() < 2) throw kwlib::UsageError("give one or more paths");
    Json::Value all(Json::arrayValue);
    for (std::size_t i = 1; i < words.size(); ++i) {
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
        out << field << std::string(14 - std::strlen(field), ' ') << v[field].asString() << "\n";
      }
      out << "root          " << (v["root"].asBool() ? "yes" : "no") << "\n"
          << "folder        " << (v["folder"].asBool() ? "yes" : "no") << "\n";
      if (i + 1 < words.size()) out << "\n";
    }
    if (json) out << kwlib::JsonText(all) << "\n";
    return kwlib::kExitOk;
  }
  if (action == "purify") {
    if (words.size() < 2) throw kwlib::UsageError("give one or more paths");
    for (std::size_t i = 1; i < words.size(); ++i) out << Utf8(CPathString(kwfw::Utf8ToWide(words[i]).c_str(), nullptr).Purify()) << "\n";
    return kwlib::kExitOk;
  }
  if (action == "cd") {
    if (words.size() != 3) throw kwlib::UsageError("give a path and a folder");
    const CPathString p(kwfw::Utf8ToWide(words[1]).c_str(), nullptr);
    try {
      out << Utf8(p.Cd(kwfw::Utf8ToWide(words[2]).c_str())) << "\n";
    } catch (CInvalidArgException* e) {
      e->Delete();
      throw kwlib::UsageError("'" + words[1] + "' has no folder to leave");
    }
    return kwlib::kExitOk;
  }
  throw kwlib::UsageError("unknown action '" + action + "'");
}

}  // namespace

KWLIB_COMMAND(kPath, "path", "split, clean and move paths by the library's rules",
              "Usage: kwlib path split [--json] PATH...\n"
              "       kwlib path purify PATH...\n"
              "       kwlib path cd PATH FOLDER\n\n"
              "split prints the parts of each path (directory, name, extension, file, last\n"
              "folder) and whether it is the root or names a folder; purify replaces the\n"
              "characters < > : \" | ? * by spaces in each part; cd moves the file into FOLDER\n"
              "(\"..\", a relative folder, or an absolute one). The paths are text: the disk\n"
              "is not asked.\n",
              &Run);
