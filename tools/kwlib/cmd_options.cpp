// kwlib options: options blocks ("DRIVER-BLOC" data blocks) shown as XML or JSON,
// and made from XML.
#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/persist/base64.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/blocopcions.h>

#include "command.h"
#include "fileio.h"

namespace {

Json::Value ToJson(const TBlocOpcions& block);

int AddJson(const wchar_t* name, ITEMBLOCOPCIONS& value, __int64 lParam) {
  Json::Value& out = *reinterpret_cast<Json::Value*>(lParam);
  Json::Value v;
  switch (value.nTipus) {
    case TIPUS_BLOC_INT32: v["int"] = static_cast<Json::Int>(value.lValor); break;
    case TIPUS_BLOC_REAL64: v["double"] = value.dValor; break;
    case TIPUS_BLOC_STRING:
      v["string"] = kwfw::WideToUtf8(value.pDades != nullptr ? static_cast<const wchar_t*>(value.pDades) : L"");
      break;
    case TIPUS_BLOC_BINARI: {
      std::string encoded(static_cast<std::size_t>(Base64encode_len(static_cast<int>(value.nMida))), '\0');
      Base64encode(encoded.data(), static_cast<const char*>(value.pDades), static_cast<int>(value.nMida));
      v["binary"] = encoded.c_str();
      break;
    }
    case TIPUS_BLOC_SUBBLOC: {
      const TBlocOpcions nested(static_cast<const unsigned char*>(value.pDades), static_cast<unsigned int>(value.nMida));
      v["block"] = ToJson(nested);
      break;
    }
    default: v["empty"] = true; break;
  }
  out[kwfw::WideToUtf8(name)] = v;
  return 0;
}

Json::Value ToJson(const TBlocOpcions& block) {
  Json::Value out(Json::objectValue);
  block.Enumerar(&AddJson, reinterpret_cast<__int64>(&out));
  return out;
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json"});
  const std::vector<std::string>& words = arguments.words;
  const bool json = arguments.Has("--json");
  if (words.empty()) throw kwlib::UsageError("give an action: dump or from-xml");
  if (words[0] == "dump") {
    if (words.size() != 2) throw kwlib::UsageError("give one data block file");
    std::vector<unsigned char> bytes;
    std::string error;
    if (!kwlib::ReadAll(words[1], bytes, error)) {
      err << "kwlib options: " << words[1] << ": " << error << "\n";
      return kwlib::kExitFailure;
    }
    TBlocOpcions block;
    const int result =
        block.FromBlocDades(bytes.data(), static_cast<unsigned int>(bytes.size()), 0);
    if (result != 0) {
      err << "kwlib options: " << words[1] << ": not an options block (" << (result == -9 ? "unknown value type" : "malformed data")
          << ", code " << result << ")\n";
      return kwlib::kExitFailure;
    }
    if (json) {
      out << kwlib::JsonText(ToJson(block)) << "\n";
    } else {
      kwplat::XMLNode root = kwplat::XMLNode::CreateTopNode(L"Options");
      block.ToNodeXML(root);
      out << root.ToString();
    }
    return kwlib::kExitOk;
  }
  if (words[0] == "from-xml") {
    if (words.size() != 3) throw kwlib::UsageError("give an XML file and an output file");
    std::vector<unsigned char> bytes;
    std::string error;
    if (!kwlib::ReadAll(words[1], bytes, error)) {
      err << "kwlib options: " << words[1] << ": " << error << "\n";
      return kwlib::kExitFailure;
    }
    bool ok = false;
    kwplat::XMLNode root = kwplat::XMLNode::ParseString(std::string(bytes.begin(), bytes.end()), nullptr, &ok);
    if (!ok || root.IsEmpty()) {
      err << "kwlib options: " << words[1] << ": not well-formed XML\n";
      return kwlib::kExitFailure;
    }
    TBlocOpcions block;
    TBlocOpcions::FromNodeXML(root, &block);
    unsigned int size = 0;
    const std::unique_ptr<unsigned char, decltype(&std::free)> data(block.ToBlocDades(size), &std::free);
    if (!kwlib::WriteAll(words[2], data.get(), size, error)) {
      err << "kwlib options: " << words[2] << ": " << error << "\n";
      return kwlib::kExitFailure;
    }
    return kwlib::kExitOk;
  }
  throw kwlib::UsageError("unknown action '" + words[0] + "'");
}

}  // namespace

KWLIB_COMMAND(kOptions, "options", "show options blocks, and make them from XML",
              "Usage: kwlib options dump [--json] FILE\n"
              "       kwlib options from-xml XML OUT\n\n"
              "dump reads an options data block (\"DRIVER-BLOC\") and prints it as XML, each\n"
              "value an element named after it with its Type, or with --json as an object.\n"
              "from-xml reads the elements under the top element of XML (the form dump\n"
              "prints) and writes their data block to OUT (\"-\" for standard output).\n"
              "Exit status: 0, or 1 for a file that cannot be read, is not a data block or\n"
              "is not XML.\n",
              &Run);
