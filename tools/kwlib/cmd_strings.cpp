// kwlib strings: prints the library's resource strings by id.
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/core/frame.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>

#include "command.h"

namespace {

unsigned short ParseLanguage(const std::string& text) {
  if (text == "fr") return LANG_FR_FR;
  if (text == "en") return LANG_EN_US;
  return static_cast<unsigned short>(kwlib::ParseNumber(text, 0xFFFF, "language"));
}

// Adds the ids of "N" or "FROM-TO" to `ids`.
void ParseIds(const std::string& text, std::vector<unsigned>& ids) {
  const std::size_t dash = text.find('-', 1);
  const unsigned long first = kwlib::ParseNumber(text.substr(0, dash), 0xFFFF, "string id");
  const unsigned long last = dash == std::string::npos ? first : kwlib::ParseNumber(text.substr(dash + 1), 0xFFFF, "string id");
  if (last < first) throw kwlib::UsageError("empty range '" + text + "'");
  for (unsigned long id = first; id <= last; ++id) ids.push_back(static_cast<unsigned>(id));
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  unsigned short lang = AfxGetLanguage();
  bool json = false;
  std::vector<unsigned> ids;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--lang") {
      if (++i == args.size()) throw kwlib::UsageError("--lang needs a value");
      lang = ParseLanguage(args[i]);
    } else if (args[i].rfind("--lang=", 0) == 0) {
      lang = ParseLanguage(args[i].substr(7));
    } else if (args[i] == "--json") {
      json = true;
    } else if (args[i].rfind("--", 0) == 0 && args[i] != "--") {
      throw kwlib::UsageError("unknown option '" + args[i] + "'");
    } else if (args[i] != "--") {
      ParseIds(args[i], ids);
    }
  }
  if (ids.empty()) throw kwlib::UsageError("no string id given");

  int missing = 0;
  Json::Value list(Json::arrayValue);
  for (unsigned id : ids) {
    const CString text = AfxLoadStringLang(id, lang, nullptr);
    if (text.IsEmpty()) {
      err << "kwlib strings: no string " << id << " in language 0x" << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << lang << std::dec
          << "\n";
      ++missing;
    }
    const std::string utf8 = kwfw::WideToUtf8(text.GetString());
    if (json) {
      Json::Value entry;
      entry["id"] = id;
      entry["text"] = text.IsEmpty() ? Json::Value() : Json::Value(utf8);
      list.append(entry);
    } else if (!text.IsEmpty()) {
      out << id << '\t' << utf8 << '\n';
    }
  }
  if (json) {
    out << kwlib::JsonText(list) << '\n';
  }
  return missing == 0 ? kwlib::kExitOk : kwlib::kExitFailure;
}

}  // namespace

KWLIB_COMMAND(kStrings, "strings", "print resource strings by id",
              "Usage: kwlib strings [--lang fr|en|LANGID] [--json] ID|FROM-TO...\n\n"
              "Prints each string of the library's resource tables, one per line as\n"
              "ID<tab>TEXT, in the chosen language (default: the library's current\n"
              "language, which is French). IDs and language ids are decimal or 0x hex.\n"
              "  --lang L   fr (0x040C), en (0x0409), or a Windows language id\n"
              "  --json     print a JSON array of {\"id\", \"text\"}; text is null when missing\n\n"
              "Exit status: 0 when every string was found, 1 when one was not, 2 on wrong usage.\n",
              &Run);
