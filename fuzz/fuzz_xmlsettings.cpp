// Arbitrary XML through the XML settings file and the options-block import: every
// read, and a data block built from the import that reads back without an unknown
// type.
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/blocopcions.h>
#include <kwlib63/settings/fitxersettingsxml.h>

#include "scratch.h"

namespace {

const std::string& Path() {
  static const std::string path = kwfuzz::ScratchDir() + "/s.xml";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::FILE* f = std::fopen(Path().c_str(), "wb");
  if (f == nullptr) std::abort();
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);

  const CFitxerSettingsXML settings(kwfw::Utf8ToWide(Path()).c_str());
  settings.TestFitxer();
  CMultiString sections;
  if (settings.GetSeccions(sections)) {
    for (int i = 0; i < sections.GetNumStr() && i < 8; ++i) {
      CMultiString keys, lines;
      settings.GetClausSeccio(sections[i], keys);
      settings.GetSeccio(sections[i], lines);
      settings.GetString(sections[i], L"k", L"d");
    }
  }

  kwplat::XMLNode root = kwplat::XMLNode::ParseString(text, nullptr);
  TBlocOpcions block;
  TBlocOpcions::FromNodeXML(root, &block);
  unsigned int length = 0;
  unsigned char* bytes = block.ToBlocDades(length);
  TBlocOpcions back;
  if (back.FromBlocDades(bytes, length, 0) == -9) std::abort();
  std::free(bytes);
  return 0;
}
