// kwlib strings: prints the library's resource strings by id.
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <kwlib63/core/frame.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>

#include "command.h"
#include "dispatch.h"

namespace {

unsigned short ParseLanguage(const std::string& text) {
  if (text == "fr") return LANG_FR_FR;
  if (text == "en") return LANG_EN_US;
  return static_cast<unsigned short>(kwlib::ParseNumber(text, 0xFFFF, "language"));
}

// Adds the ids of "N" or "FROM-TO" to `ids`.
void ParseIds(const std::string& text, std::vector<unsigned>& ids) {
  const std::size_t dash = text.find('-', 1);
  // A part of a range that is no id is told with the range.
  const auto number = [&](const std::string& part) {
    try {
      return kwlib::ParseNumber(part, 0xFFFF, "string id");
    } catch (const kwlib::UsageError& e) {
      if (dash == std::string::npos) throw;
      throw kwlib::UsageError(std::string(e.what()) + " in the range '" + text + "'");
    }
  };
  const unsigned long first = number(text.substr(0, dash));
  const unsigned long last = dash == std::string::npos ? first : number(text.substr(dash + 1));
  if (last < first) throw kwlib::UsageError("empty range '" + text + "'");
  for (unsigned long id = first; id <= last; ++id) ids.push_back(static_cast<unsigned>(id));
}

// ID|FROM-TO...
int Print(const std::vector<std::string>& words, const kwlib::Call& call) {
  const std::optional<std::string> language = call.arguments.Value("--lang");
  const unsigned short lang = language ? ParseLanguage(*language) : AfxGetLanguage();
  const bool json = call.arguments.Has("--json");
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  std::vector<unsigned> ids;
  for (const std::string& word : words) ParseIds(word, ids);
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

const kwlib::SubCommand<> kTable[] = {
    {{"", 1, kwlib::kNoLimit, "kwlib strings [--lang fr|en|LANGID] [--json] ID|FROM-TO..."}, &Print}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}, .valued = {"--lang"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kStrings, "strings", "print resource strings by id", kwlib::SyntaxOf(kTable),
              "\n"
              "Prints each string of the library's resource tables, one per line as\n"
              "ID<tab>TEXT, in the chosen language (default: the library's current\n"
              "language, which is French). IDs and language ids are decimal or 0x hex.\n"
              "  --lang L   fr (0x040C), en (0x0409), or a Windows language id\n"
              "  --json     print a JSON array of {\"id\", \"text\"}; text is null when missing\n\n"
              "Exit status: 0 when every string was found, 1 when one was not, 2 on wrong usage.\n",
              &Run);
