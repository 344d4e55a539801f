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
#include "dispatch.h"
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

// The bytes of FILE, or false after saying why there are none.
bool Read(const std::string& file, std::vector<unsigned char>& bytes, const kwlib::Call& call) {
  std::string error;
  if (kwlib::ReadAll(file, bytes, error)) return true;
  call.err << "kwlib options: " << file << ": " << error << "\n";
  return false;
}

// dump FILE
int Dump(const std::vector<std::string>& words, const kwlib::Call& call) {
  std::vector<unsigned char> bytes;
  if (!Read(words[0], bytes, call)) return kwlib::kExitFailure;
  TBlocOpcions block;
  const int result =
      block.FromBlocDades(bytes.data(), static_cast<unsigned int>(bytes.size()), 0);
  if (result != 0) {
    call.err << "kwlib options: " << words[0] << ": not an options block (" << (result == -9 ? "unknown value type" : "malformed data")
        << ", code " << result << ")\n";
    return kwlib::kExitFailure;
  }
  if (call.arguments.Has("--json")) {
    call.out << kwlib::JsonText(ToJson(block)) << "\n";
  } else {
    kwplat::XMLNode root = kwplat::XMLNode::CreateTopNode(L"Options");
    block.ToNodeXML(root);
    call.out << root.ToString();
  }
  return kwlib::kExitOk;
}

// from-xml XML OUT
int FromXml(const std::vector<std::string>& words, const kwlib::Call& call) {
  std::vector<unsigned char> bytes;
  if (!Read(words[0], bytes, call)) return kwlib::kExitFailure;
  bool ok = false;
  kwplat::XMLNode root = kwplat::XMLNode::ParseString(std::string(bytes.begin(), bytes.end()), nullptr, &ok);
  if (!ok || root.IsEmpty()) {
    call.err << "kwlib options: " << words[0] << ": not well-formed XML\n";
    return kwlib::kExitFailure;
  }
  TBlocOpcions block;
  TBlocOpcions::FromNodeXML(root, &block);
  unsigned int size = 0;
  const std::unique_ptr<unsigned char, decltype(&std::free)> data(block.ToBlocDades(size), &std::free);
  std::string error;
  if (!kwlib::WriteAll(words[1], data.get(), size, error)) {
    call.err << "kwlib options: " << words[1] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {
    {{"dump", 1, 1, "kwlib options dump [--json] FILE"}, &Dump},
    {{"from-xml", 2, 2, "kwlib options from-xml XML OUT"}, &FromXml},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kOptions, "options", "show options blocks, and make them from XML", kwlib::SyntaxOf(kTable),
              "\n"
              "dump reads an options data block (\"DRIVER-BLOC\") and prints it as XML, each\n"
              "value an element named after it with its Type, or with --json as an object.\n"
              "from-xml reads the elements under the top element of XML (the form dump\n"
              "prints) and writes their data block to OUT (\"-\" for standard output).\n"
              "Exit status: 0, or 1 for a file that cannot be read, is not a data block or\n"
              "is not XML.\n",
              &Run);
