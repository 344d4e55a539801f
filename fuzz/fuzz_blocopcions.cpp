// Options blocks from arbitrary bytes: a block that loads whole writes a data
// block that loads back to the same bytes, and its XML export imports again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/blocopcions.h>

namespace {

std::string Bytes(const TBlocOpcions& b) {
  unsigned int size = 0;
  unsigned char* data = b.ToBlocDades(size);
  std::string bytes(reinterpret_cast<char*>(data), size);
  std::free(data);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TBlocOpcions block;
  if (block.FromBlocDades(data, static_cast<unsigned int>(size), 0) != 0) return 0;
  const std::string once = Bytes(block);
  TBlocOpcions again;
  if (again.FromBlocDades(reinterpret_cast<const unsigned char*>(once.data()), static_cast<unsigned int>(once.size()), 0) != 0 ||
      Bytes(again) != once) {
    std::abort();
  }
  kwplat::XMLNode root = kwplat::XMLNode::CreateTopNode(L"Options");
  block.ToNodeXML(root);
  kwplat::XMLNode parsed = kwplat::XMLNode::ParseString(root.ToString(), L"Options");
  TBlocOpcions imported;
  TBlocOpcions::FromNodeXML(parsed, &imported);
  return 0;
}
