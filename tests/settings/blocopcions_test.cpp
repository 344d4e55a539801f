// TBlocOpcions: the data block byte for byte, its reader's refusals, the path forms,
// name order, and the XML export and import.
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/blocopcions.h>

#include "support/stopwatch.h"

namespace {

std::string Block(const TBlocOpcions& b) {
  unsigned int size = 0;
  unsigned char* data = b.ToBlocDades(size);
  std::string bytes(reinterpret_cast<char*>(data), size);
  std::free(data);
  return bytes;
}

int Load(TBlocOpcions& b, const std::string& bytes) {
  return b.FromBlocDades(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()), 0);
}

// A literal with its zero bytes, whatever its length.
template <std::size_t N>
std::string S(const char (&bytes)[N]) {
  return std::string(bytes, N - 1);
}

int Collect(const wchar_t* name, ITEMBLOCOPCIONS&, __int64 lParam) {
  reinterpret_cast<std::vector<std::wstring>*>(lParam)->push_back(name);
  return 7;
}

TEST(BlocOpcions, DataBlockByteForByte) {
  TBlocOpcions empty;
  EXPECT_EQ(Block(empty), "DRIVER-BLOC");
  EXPECT_EQ(Load(empty, "DRIVER-BLOC"), 0);

  TBlocOpcions b;
  EXPECT_EQ(b.EntraValorInt32(L"n", -2), 0);  // 0 for success
  EXPECT_EQ(b.EntraValorReal64(L"r", 1.5), 0);
  EXPECT_EQ(b.EntraValorString(L"s\u00E9", L"\u00E0b"), 0);
  EXPECT_EQ(b.EntraValorBinari(L"x", "\x01\x02", 2), 0);
  TBlocOpcions inner;
  inner.EntraValorInt32(L"i", 7);
  EXPECT_EQ(b.EntraSubBloc(L"sub", &inner), 0);
  // In UTF-16 order: "sub" before "s\u00E9".
  const std::string expected = S("DRIVER-BLOC") + S("\x01\x00" "n" "\x00" "\xFE\xFF\xFF\xFF") +
                               S("\x01\x00" "r" "\x01" "\x00\x00\x00\x00\x00\x00\xF8\x3F") +
                               S("\x03\x00" "sub" "\x03" "\x13\x00\x00\x00") + S("DRIVER-BLOC") +
                               S("\x01\x00" "i" "\x00" "\x07\x00\x00\x00") +
                               S("\x02\x00" "s\xE9" "\x05" "\x04\x00" "\xE0\x00" "b\x00") +
                               S("\x01\x00" "x" "\x04" "\x02\x00\x00\x00" "\x01\x02");
  EXPECT_EQ(Block(b), expected);

  TBlocOpcions back;
  EXPECT_EQ(Load(back, expected), 0);
  EXPECT_EQ(Block(back), expected);
  EXPECT_EQ(back.TornaValorInt32(L"n", 0), -2);
  EXPECT_EQ(back.TornaValorReal64(L"r", 0), 1.5);
  EXPECT_EQ(back.TornaValorString(L"s\u00E9", L""), CString(L"\u00E0b"));
  unsigned long size = 0;
  void* bytes = back.TornaValorBinari(L"x", size);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(size, 2u);
  std::free(bytes);
  TBlocOpcions* nested = back.TornaSubBloc(L"sub");
  ASSERT_NE(nested, nullptr);
  EXPECT_EQ(nested->TornaValorInt32(L"i", 0), 7);
  delete nested;
  EXPECT_EQ(back.TornaValorInt32(L"r", 99), 99);  // a real is not an integer
  EXPECT_EQ(back.TornaSubBloc(L"n"), nullptr);
}

TEST(BlocOpcions, MalformedBlocks) {
  TBlocOpcions b;
  EXPECT_EQ(Load(b, "DRIVER-BLO"), -3);
  EXPECT_EQ(Load(b, "DRIVER-BLOX"), -3);
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x00\x00")), -3);  // a name of length 0
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x01\x00" "a\x06")), -9);
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x01\x00" "a")), -3);  // no type byte
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x01\x00" "a\x00\x01\x00")), -3);  // a short integer
  // What loaded before a failure stays.
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x01\x00" "a\x00\x01\x00\x00\x00" "\x01\x00" "b\x04\xFF\xFF\x00\x00")), -3);
  EXPECT_EQ(b.TornaValorInt32(L"a", 0), 1);
  // Narrow text becomes text.
  EXPECT_EQ(Load(b, S("DRIVER-BLOC\x01\x00" "t\x02\x02\x00" "\xE9z")), 0);
  EXPECT_EQ(b.TornaValorString(L"t", L""), CString(L"\u00E9z"));
  EXPECT_EQ(b.FromBlocDades(nullptr, 5, 0), 0);
}

TEST(BlocOpcions, PathsOrderAndCopies) {
  TBlocOpcions b;
  EXPECT_EQ(b.EntraValorInt32(L"a/b", 1), 0);
  TBlocOpcions* a = b.TornaSubBloc(L"a");
  ASSERT_NE(a, nullptr);  // the nested level was made, empty
  EXPECT_EQ(Block(*a), "DRIVER-BLOC");
  ITEMBLOCOPCIONS found;
  EXPECT_EQ(b.Buscar(L"a/b", found), 0);  // the value did not reach the stored block
  a->EntraValorInt32(L"b", 1);
  b.EntraSubBloc(L"a", a);
  delete a;
  EXPECT_EQ(b.Buscar(L"a/b", found), 1);
  EXPECT_EQ(found.lValor, 1);

  TBlocOpcions names;
  for (const wchar_t* n : {L"B", L"a", L"A", L"ab"}) names.EntraValorInt32(n, 0);
  std::vector<std::wstring> order;
  EXPECT_EQ(names.Enumerar(&Collect, reinterpret_cast<__int64>(&order)), 7);
  EXPECT_EQ(order, (std::vector<std::wstring>{L"A", L"B", L"a", L"ab"}));
  EXPECT_EQ(names.EntraValorInt32(L"", 1), -1);  // no empty names: a data block cannot hold one
  EXPECT_EQ(names.Eliminar(L"a"), 1);
  EXPECT_EQ(names.Eliminar(L"a"), 0);
  int seen = 0;
  CString name;
  ITEMBLOCOPCIONS value;
  for (POSITION pos = names.GetPrimer(); pos != nullptr;) {
    names.GetSeguent(pos, name, value);
    ++seen;
  }
  EXPECT_EQ(seen, 3);

  ITEMBLOCOPCIONS narrow(std::malloc(4), 4, TIPUS_BLOC_STRINGA);
  const ITEMBLOCOPCIONS copy(narrow);  // only the type travels
  EXPECT_EQ(copy.nTipus, TIPUS_BLOC_STRINGA);
  EXPECT_EQ(copy.pDades, nullptr);
  EXPECT_EQ(copy.nMida, 0u);
  TItem* duplicate = names.Duplicar();
  EXPECT_EQ(Block(*static_cast<TBlocOpcions*>(duplicate)), Block(names));
  EXPECT_TRUE(duplicate->EsTipus(kwtipus::TBlocOpcions));
  delete duplicate;
}

TEST(BlocOpcions, XmlExportAndImport) {
  TBlocOpcions b;
  b.EntraValorInt32(L"n", 42);
  b.EntraValorReal64(L"r", 0.1);
  b.EntraValorString(L"s", L"<t>");
  b.EntraValorBinari(L"x", "abc", 3);
  TBlocOpcions inner;
  inner.EntraValorString(L"deep", L"v");
  b.EntraSubBloc(L"sub", &inner);
  kwplat::XMLNode root = kwplat::XMLNode::CreateTopNode(L"Options");
  EXPECT_EQ(b.ToNodeXML(root), 0);
  const std::string xml = root.ToString();
  EXPECT_NE(xml.find("<n Type=\"int\">42</n>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<r Type=\"double\">0.1</r>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<x Type=\"binary\" Encoding=\"base64\" ByteSize=\"3\"><![CDATA[YWJj]]></x>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("SoftwareVersion="), std::string::npos);

  kwplat::XMLNode parsed = kwplat::XMLNode::ParseString(xml, L"Options");
  TBlocOpcions back;
  EXPECT_EQ(TBlocOpcions::FromNodeXML(parsed, &back), 0);
  EXPECT_EQ(back.TornaValorInt32(L"n", 0), 42);
  EXPECT_EQ(back.TornaValorReal64(L"r", 0), 0.1);
  EXPECT_EQ(back.TornaValorString(L"s", L""), CString(L"<t>"));
  unsigned long size = 0;
  void* bytes = back.TornaValorBinari(L"x", size);
  EXPECT_EQ(size, 4u);  // the decode buffer's length, as defined
  EXPECT_EQ(std::memcmp(bytes, "abc", 3), 0);
  std::free(bytes);
  ITEMBLOCOPCIONS deep;
  EXPECT_EQ(back.Buscar(L"sub/deep", deep), 1);

  kwplat::XMLNode untyped = kwplat::XMLNode::ParseString("<o><a>42</a><b>4.5</b><c Type=\"INT\">7</c></o>", L"o");
  TBlocOpcions guessed;
  TBlocOpcions::FromNodeXML(untyped, &guessed);
  EXPECT_EQ(guessed.TornaValorInt32(L"a", 0), 42);
  ITEMBLOCOPCIONS none;
  EXPECT_EQ(guessed.Buscar(L"b", none), 0);
  EXPECT_EQ(guessed.TornaValorInt32(L"c", 0), 7);
}

// One record of a data block: a one-byte-per-character name, a type and its payload.
std::string Record(const std::string& name, int type, const std::string& payload) {
  std::string r;
  r += static_cast<char>(name.size() & 0xFF);
  r += static_cast<char>(name.size() >> 8);
  return r + name + static_cast<char>(type) + payload;
}

std::string Le(unsigned long v, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(v >> (8 * i));
  return out;
}

bool SameValue(const ITEMBLOCOPCIONS& a, const ITEMBLOCOPCIONS& b) {
  if (a.nTipus != b.nTipus) return false;
  switch (a.nTipus) {
    case TIPUS_BLOC_INT32: return a.lValor == b.lValor;
    case TIPUS_BLOC_REAL64: return std::memcmp(&a.dValor, &b.dValor, sizeof a.dValor) == 0;
    case TIPUS_BLOC_SUBBLOC:
    case TIPUS_BLOC_BINARI:
      return a.nMida == b.nMida && (a.nMida == 0 || std::memcmp(a.pDades, b.pDades, a.nMida) == 0);
    case TIPUS_BLOC_STRING:
      return (a.pDades == nullptr) == (b.pDades == nullptr) &&
             (a.pDades == nullptr || std::wcscmp(static_cast<const wchar_t*>(a.pDades), static_cast<const wchar_t*>(b.pDades)) == 0);
    default: return true;
  }
}

// A random data block over a few names, plain and in path form, with repeats,
// every type, nested blocks, and now and then a cut or a bad record.
std::string RandomBlock(std::mt19937& rng, int depth) {
  static const char* const names[] = {"a", "b", "a/b", "b/a", "a/", "/a", "a//b", "a\xE9"};
  std::string block = "DRIVER-BLOC";
  const int records = static_cast<int>(rng() % 6);
  for (int i = 0; i < records; ++i) {
    const std::string name = names[rng() % 8];
    switch (rng() % 7) {
      case 0: block += Record(name, 0, Le(rng() % 100, 4)); break;
      case 1: block += Record(name, 5, Le(4, 2) + std::string("x\0y\0", 4)); break;
      case 2: block += Record(name, 2, Le(2, 2) + "\xE9z"); break;
      case 3: block += Record(name, 4, Le(3, 4) + "abc"); break;
      case 4: block += Record(name, -1, ""); break;
      default: {
        const std::string inner = depth < 3 ? RandomBlock(rng, depth + 1) : std::string("DRIVER-BLOC");
        block += Record(name, 3, Le(inner.size(), 4) + inner);
        break;
      }
    }
  }
  if (rng() % 8 == 0 && block.size() > 11) block.resize(11 + rng() % (block.size() - 11));
  if (rng() % 16 == 0) block += Record("c", 9, "");
  return block;
}

// A path search answers exactly as reading each nested level with TornaSubBloc and
// searching the last one would.
TEST(BlocOpcions, PathSearchBehavesLikeReadingEachLevel) {
  const std::vector<std::wstring> paths = {L"a", L"b", L"a/a", L"a/b", L"b/a", L"a/b/a", L"b/a/b", L"a/a/b",
                                           L"a//b", L"a/", L"/a", L"a/\u00E9", L"\u00E9/a"};
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::mt19937 rng(seed);
    TBlocOpcions b;
    Load(b, RandomBlock(rng, 0));
    for (const std::wstring& path : paths) {
      ITEMBLOCOPCIONS model;
      int modelFound = 0;
      std::unique_ptr<TBlocOpcions> level(new TBlocOpcions(&b));
      std::size_t from = 0;
      for (std::size_t slash; level != nullptr && (slash = path.find(L'/', from)) != std::wstring::npos; from = slash + 1) {
        level.reset(level->TornaSubBloc(path.substr(from, slash - from).c_str()));
      }
      if (level != nullptr) modelFound = level->Buscar(path.substr(from).c_str(), model);
      ITEMBLOCOPCIONS found;
      ASSERT_EQ(b.Buscar(path.c_str(), found), modelFound) << "seed " << seed << " path " << kwfw::WideToUtf8(path);
      ASSERT_TRUE(SameValue(found, model)) << "seed " << seed << " path " << kwfw::WideToUtf8(path);
    }
  }
}

// Names of many levels, from a caller and from a data block: the cost grows with
// the length of the name, not with its square. A quadratic walk takes minutes
// (or runs out of stack) on these.
TEST(BlocOpcions, LongPathsCostLinearTime) {
  std::wstring path;
  for (int i = 0; i < 100000; ++i) path += L"a/";
  path += L"b";
  TBlocOpcions b;
  int stored = 1, found = 1;
  ITEMBLOCOPCIONS value;
  EXPECT_LT(kwtest::SecondsTaken([&] {
    stored = b.EntraValorInt32(path.c_str(), 5);
    found = b.Buscar(path.c_str(), value);
  }), 10.0);
  EXPECT_EQ(stored, 0);
  EXPECT_EQ(found, 0);  // the value never reaches the stored nested blocks
  EXPECT_EQ(b.EntraValorInt32((path + L"/").c_str(), 5), -1);  // an empty last part

  // The longest name a data block can hold: 32767 bytes.
  std::string name;
  while (name.size() + 2 < 32767) name += "a/";
  name += "b";
  const std::string block = "DRIVER-BLOC" + Record(name, 0, Le(7, 4));
  TBlocOpcions loaded;
  int result = 1;
  EXPECT_LT(kwtest::SecondsTaken([&] { result = Load(loaded, block); }), 5.0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Block(loaded), "DRIVER-BLOC" + Record("a", 3, Le(11, 4) + "DRIVER-BLOC"));

  // Nested blocks 20000 levels deep, searched from the top to the bottom.
  constexpr int kDepth = 20000;
  const std::string innermost = "DRIVER-BLOC" + Record("x", 0, Le(9, 4));
  const std::size_t level = 11 + 2 + 1 + 1 + 4;
  std::string deep;
  deep.reserve(kDepth * level + innermost.size());
  for (int i = 0; i < kDepth; ++i) {
    deep += "DRIVER-BLOC" + Record("a", 3, Le((kDepth - 1 - i) * level + innermost.size(), 4));
  }
  deep += innermost;
  std::wstring deepPath;
  for (int i = 0; i < kDepth; ++i) deepPath += L"a/";
  deepPath += L"x";
  TBlocOpcions top;
  EXPECT_EQ(Load(top, deep), 0);
  found = 0;
  EXPECT_LT(kwtest::SecondsTaken([&] { found = top.Buscar(deepPath.c_str(), value); }), 10.0);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(value.lValor, 9);
}

// XML import of an element with many children: each child is reached from the one
// before, not counted from the first.
TEST(BlocOpcions, ManyXmlChildrenCostLinearTime) {
  std::string xml = "<o>";
  for (int i = 0; i < 100000; ++i) xml += "<k" + std::to_string(i) + " Type=\"int\">" + std::to_string(i) + "</k" + std::to_string(i) + ">";
  xml += "</o>";
  kwplat::XMLNode root = kwplat::XMLNode::ParseString(xml, L"o");
  TBlocOpcions b;
  EXPECT_LT(kwtest::SecondsTaken([&] { TBlocOpcions::FromNodeXML(root, &b); }), 30.0);
  EXPECT_EQ(b.TornaValorInt32(L"k99999", 0), 99999);
  EXPECT_EQ(b.TornaValorInt32(L"k0", 7), 0);
}

}  // namespace
