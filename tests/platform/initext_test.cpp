// The INI text codec on text held in memory, no file involved: bytes split into
// lines and joined back unchanged, lines read, names matched by the library's case
// fold in every locale, the edits of writes, results cut to the caller's buffer,
// and a random walk of edits beside a model of sections and keys.
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/initext.h>

#include "support/locales.h"
#include "support/stopwatch.h"

namespace {

namespace ini = kwplat::ini;

// A file's bytes in UTF-16LE, with its mark.
std::string Utf16(std::wstring_view text) { return std::string("\xFF\xFE", 2) + kwfw::WideToUtf16Le(text); }

// Bytes as escapes, for failure messages.
std::string Shown(const std::string& bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x20 && u < 0x7F && c != '\\') {
      out += c;
    } else {
      static const char kHex[] = "0123456789ABCDEF";
      out += {'\\', 'x', kHex[u >> 4], kHex[u & 15]};
    }
  }
  return out;
}

TEST(IniText, SplitsAtEveryLineEndAndJoinsBackEveryByte) {
  struct {
    std::string bytes;
    std::vector<std::wstring> texts;
    std::vector<std::string> eols;
  } cases[] = {
      {"", {}, {}},
      {"[s]\r\nk=v\r\n", {L"[s]", L"k=v"}, {"\r\n", "\r\n"}},
      {"a\r\nb\nc\rd", {L"a", L"b", L"c", L"d"}, {"\r\n", "\n", "\r", ""}},  // the last without a line end
      {"\n\r", {L"", L""}, {"\n", "\r"}},                                    // LF CR is two line ends
      {"\r\r\n\n", {L"", L"", L""}, {"\r", "\r\n", "\n"}},
      {std::string("k=v\0junk\r\n", 10), {std::wstring(L"k=v\0junk", 8)}, {"\r\n"}},
      {"\x80=\xE9", {L"\u20AC=\u00E9"}, {""}},  // Windows-1252
      {"\xFE\xFF", {L"\u00FE\u00FF"}, {""}},    // a big-endian mark is no mark
      {Utf16(L""), {}, {}},
      {Utf16(L"[s]\r\nk=\u4E2D\U0001F600\n\rx"), {L"[s]", L"k=\u4E2D\U0001F600", L"", L"x"}, {std::string("\r\0\n\0", 4), std::string("\n\0", 2), std::string("\r\0", 2), ""}},
      // Units whose bytes hold a CR or an LF are no line ends.
      {Utf16(L"\u010A\u0D0A\u0A0D"), {L"\u010A\u0D0A\u0A0D"}, {""}},
  };
  for (const auto& c : cases) {
    const ini::IniFile file = ini::Split(c.bytes);
    EXPECT_EQ(file.utf16, c.bytes.starts_with("\xFF\xFE")) << Shown(c.bytes);
    std::vector<std::wstring> texts;
    std::vector<std::string> eols;
    for (const ini::Line& line : file.lines) {
      texts.push_back(line.text);
      eols.push_back(line.eol);
    }
    EXPECT_EQ(texts, c.texts) << Shown(c.bytes);
    EXPECT_EQ(eols, c.eols) << Shown(c.bytes);
    EXPECT_EQ(ini::Join(file), c.bytes) << Shown(c.bytes);
  }
  // Only an odd last byte of a UTF-16LE file is lost.
  EXPECT_EQ(ini::Join(ini::Split(Utf16(L"k=v") + "x")), Utf16(L"k=v"));
}

TEST(IniText, ReadsEachKindOfLine) {
  using P = ini::Parsed;
  struct {
    std::wstring text;
    P::Kind kind;
    const wchar_t* name;
    const wchar_t* value;
    const wchar_t* rawValue;
    bool hasEquals;
  } cases[] = {
      {L"", P::kBlank, L"", L"", L"", false},
      {L" \t ", P::kBlank, L"", L"", L"", false},
      {L"  ; c=1", P::kComment, L"", L"", L"", false},
      {L"# c", P::kEntry, L"# c", L"", L"", false},  // only ';' starts a comment
      {L" [ Sec ] x", P::kSection, L"Sec", L"", L"", false},
      {L"[Sec", P::kSection, L"Sec", L"", L"", false},
      {L"[a]b]", P::kSection, L"a", L"", L"", false},
      {L" Key \t= value one ", P::kEntry, L"Key", L"value one", L"value one", true},
      {L"k==v", P::kEntry, L"k", L"=v", L"=v", true},
      {L"=v", P::kEntry, L"", L"v", L"v", true},
      {L"k=", P::kEntry, L"k", L"", L"", true},
      {L"nokey", P::kEntry, L"nokey", L"", L"", false},
      {L"k=\"q\"", P::kEntry, L"k", L"q", L"\"q\"", true},
      {L"k='q'", P::kEntry, L"k", L"q", L"'q'", true},
      {L"k= \" a \" ", P::kEntry, L"k", L" a ", L"\" a \"", true},
      {L"k=\"q'", P::kEntry, L"k", L"\"q'", L"\"q'", true},
      {L"k=\"", P::kEntry, L"k", L"\"", L"\"", true},
      {L"k=\"\"", P::kEntry, L"k", L"", L"\"\"", true},
      {L"k=\"a\"b\"", P::kEntry, L"k", L"a\"b", L"\"a\"b\"", true},
      // The text ends at a NUL.
      {std::wstring(L"k=v \0=x", 7), P::kEntry, L"k", L"v", L"v", true},
      {std::wstring(L"\0k=v", 4), P::kBlank, L"", L"", L"", false},
      {std::wstring(L"[s\0]", 4), P::kSection, L"s", L"", L"", false},
  };
  for (const auto& c : cases) {
    const P p = ini::Parse(c.text);
    const std::string shown = kwfw::WideToUtf8(c.text);
    EXPECT_EQ(p.kind, c.kind) << shown;
    EXPECT_EQ(p.name, c.name) << shown;
    EXPECT_EQ(p.value, c.value) << shown;
    EXPECT_EQ(p.rawValue, c.rawValue) << shown;
    EXPECT_EQ(p.hasEquals, c.hasEquals) << shown;
  }
}

TEST(IniText, IndexKeepsTheFirstOfEachNameAndOnlyKeysWithEquals) {
  const ini::FileIndex index = ini::IndexOf(ini::Split(
      "loose=1\r\n[S]\r\nk=1\r\n; c\r\nK=2\r\nnokey\r\n\r\n q = ' x ' \r\n[s]\r\nk=3\r\n[T]\r\n"));
  ASSERT_EQ(index.sections.size(), 3u);
  EXPECT_EQ(index.Find(L"loose"), nullptr);
  const ini::SectionIndex* s = index.Find(L"s");
  ASSERT_EQ(s, &index.sections[0]);
  EXPECT_EQ(s->keys, (std::vector<std::wstring>{L"k", L"K", L"q"}));
  EXPECT_EQ(s->values, (std::vector<std::wstring>{L"1", L"2", L" x "}));
  EXPECT_EQ(s->lines, (std::vector<std::wstring>{L"k=1", L"K=2", L"nokey", L"q=' x '"}));
  ASSERT_TRUE(s->byKey.contains(L"K"));
  EXPECT_EQ(s->values[s->byKey.at(L"K")], L"1");
  EXPECT_FALSE(s->byKey.contains(L"nokey"));
  EXPECT_EQ(index.sections[1].values, std::vector<std::wstring>{L"3"});
  EXPECT_EQ(index.Find(L"t"), &index.sections[2]);
  EXPECT_TRUE(index.sections[2].lines.empty());
}

// Sections and keys match by the library's case fold, whatever the locale: É and é
// match, I and i match, the dotted İ and the dotless ı match only themselves.
TEST(IniText, NamesMatchByTheCaseFoldInEveryLocale) {
  struct {
    std::string bytes;  // a section and a key of one name, key=v
    const wchar_t* asked;
    bool found;
  } cases[] = {{"[\xC9t\xE9]\r\n\xC9t\xE9=v\r\n", L"\u00C9T\u00C9", true},
               {"[\xC9t\xE9]\r\n\xC9t\xE9=v\r\n", L"\u00E9t\u00E9", true},
               {Utf16(L"[\u00C9t\u00E9]\r\n\u00C9t\u00E9=v\r\n"), L"\u00C9T\u00C9", true},
               {"[I]\r\nI=v\r\n", L"i", true},
               {"[i]\r\ni=v\r\n", L"I", true},
               {Utf16(L"[\u0130]\r\n\u0130=v\r\n"), L"\u0130", true},
               {Utf16(L"[\u0130]\r\n\u0130=v\r\n"), L"i", false},
               {Utf16(L"[i]\r\ni=v\r\n"), L"\u0130", false},
               {Utf16(L"[\u0131]\r\n\u0131=v\r\n"), L"I", false},
               {Utf16(L"[I]\r\nI=v\r\n"), L"\u0131", false}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) {
      const std::string shown = std::string(locale) + " " + Shown(c.bytes) + " " + kwfw::WideToUtf8(c.asked);
      ini::IniFile file = ini::Split(c.bytes);
      const ini::FileIndex index = ini::IndexOf(file);
      const ini::SectionIndex* s = index.Find(c.asked);
      EXPECT_EQ(s != nullptr, c.found) << shown;
      EXPECT_EQ(index.sections[0].byKey.contains(c.asked), c.found) << shown;
      // A write by the asked name replaces the key, or adds a section of its own.
      ini::SetKey(file, c.asked, c.asked, L"w");
      const ini::FileIndex after = ini::IndexOf(file);
      EXPECT_EQ(after.sections.size(), c.found ? 1u : 2u) << shown;
      EXPECT_EQ(after.sections[0].values[0], c.found ? L"w" : L"v") << shown;
      EXPECT_EQ(ini::RemoveKey(file, index.sections[0].name, c.asked), c.found) << shown;
      EXPECT_TRUE(ini::RemoveSection(file, c.asked)) << shown;  // the first of the name
      EXPECT_EQ(ini::IndexOf(file).sections.size(), c.found ? 0u : 1u) << shown;
    }
  }
}

// Each edit changes its own lines only; every other byte stays, line ends included.
TEST(IniText, EditsKeepEveryOtherByte) {
  using Edit = std::function<bool(ini::IniFile&)>;
  const auto set = [](const wchar_t* s, const wchar_t* k, const wchar_t* v) -> Edit {
    return [=](ini::IniFile& f) { return ini::SetKey(f, s, k, v); };
  };
  const auto removeKey = [](const wchar_t* s, const wchar_t* k) -> Edit {
    return [=](ini::IniFile& f) { return ini::RemoveKey(f, s, k); };
  };
  const auto removeSection = [](const wchar_t* s) -> Edit {
    return [=](ini::IniFile& f) { return ini::RemoveSection(f, s); };
  };
  const auto replace = [](const wchar_t* s, std::vector<std::wstring> lines) -> Edit {
    return [=](ini::IniFile& f) { return ini::ReplaceSection(f, s, lines); };
  };
  struct {
    std::string before;
    Edit edit;
    bool changed;
    std::string after;
  } cases[] = {
      // In place: the key takes the name as written, the line keeps its line end.
      {"; c\n[A]\r\nx = 1\rlast", set(L"a", L"X", L"one"), true, "; c\n[A]\r\nX=one\rlast"},
      // After the section's last line, before its blank ones.
      {"[A]\nx=1\n\n[B]\ny=2", set(L"A", L"z", L"3"), true, "[A]\nx=1\nz=3\r\n\n[B]\ny=2"},
      // At the end; the last line gets its line end first.
      {"[A]\nx=1", set(L"A", L"y", L"2"), true, "[A]\nx=1\r\ny=2\r\n"},
      {"[A]\nx=1", set(L"B", L"k", L"v"), true, "[A]\nx=1\r\n[B]\r\nk=v\r\n"},
      {"", set(L"B", L"k", L"v"), true, "[B]\r\nk=v\r\n"},
      {Utf16(L"[A]\nx=1"), set(L"A", L"y", L"\u00E9\u4E2D"), true, Utf16(L"[A]\nx=1\r\ny=\u00E9\u4E2D\r\n")},
      {"[A]\n", set(L"A", L"k", L"caf\u00E9 \u4E2D"), true, "[A]\nk=caf\xE9 ?\r\n"},  // what 1252 cannot hold
      // The first of duplicates is the one edited.
      {"[A]\nk=1\nk=2\n[a]\nk=3\n", set(L"a", L"K", L"9"), true, "[A]\nK=9\nk=2\n[a]\nk=3\n"},
      {"[A]\nk=1\nk=2\n[a]\nk=3\n", removeKey(L"a", L"K"), true, "[A]\nk=2\n[a]\nk=3\n"},
      {"[A]\nk=1\n[a]\nk=3\n", removeSection(L"a"), true, "[a]\nk=3\n"},
      // A line without '=' is found by its name.
      {"[s]\r\nnokey\r\n", set(L"s", L"NOKEY", L"1"), true, "[s]\r\nNOKEY=1\r\n"},
      {"[s]\r\nnokey\r\n", removeKey(L"s", L"nokey"), true, "[s]\r\n"},
      // The text after a NUL goes with its line.
      {std::string("[s]\r\nk=v\0junk\r\n", 15), set(L"s", L"m", L"1"), true, std::string("[s]\r\nk=v\0junk\r\nm=1\r\n", 20)},
      {std::string("[s]\r\nk=v\0junk\r\n", 15), set(L"s", L"k", L"w"), true, "[s]\r\nk=w\r\n"},
      {"[A]\r\nx=1\ry=2\n", removeKey(L"A", L"x"), true, "[A]\r\ny=2\n"},
      {"[A]\r\nx=1\n", removeKey(L"A", L"y"), false, "[A]\r\nx=1\n"},
      {"[A]\r\nx=1\n", removeKey(L"B", L"x"), false, "[A]\r\nx=1\n"},
      {"; c\r\n[A]\nx=1\n\n[B]\ry=2", removeSection(L"a"), true, "; c\r\n[B]\ry=2"},
      {"; c\r\n[A]\nx=1\n", removeSection(L"B"), false, "; c\r\n[A]\nx=1\n"},
      // The old lines go, the blank ones before the next section stay.
      {"[A]\nx=1\n; c\ny=2\n\n[B]\n", replace(L"a", {L"p=1", L"q"}), true, "[A]\np=1\r\nq\r\n\n[B]\n"},
      {"[A]\nx=1\n\n[B]\n", replace(L"A", {}), true, "[A]\n\n[B]\n"},
      {"[A]\nx=1", replace(L"B", {L"p=1"}), true, "[A]\nx=1\r\n[B]\r\np=1\r\n"},
      {Utf16(L"[A]\rx=1\r"), replace(L"A", {L"\U0001F600=1"}), true, Utf16(L"[A]\r\U0001F600=1\r\n")},
  };
  for (const auto& c : cases) {
    ini::IniFile file = ini::Split(c.before);
    EXPECT_EQ(c.edit(file), c.changed) << Shown(c.before);
    EXPECT_EQ(ini::Join(file), c.after) << Shown(c.before);
  }
}

TEST(IniText, ResultsCutToTheCallersBuffer) {
  const std::vector<std::wstring> items{L"ab", L"c"};  // "ab\0c\0" and the closing zero: 6
  struct {
    DWORD size, spare;
    DWORD copied;
    std::wstring buffer;  // what the buffer holds after, '#' untouched
  } lists[] = {{0, 0, 0, L"########"},
               {1, 0, 0, std::wstring(L"\0#######", 8)},
               {2, 0, 0, std::wstring(L"\0\0######", 8)},
               {5, 0, 3, std::wstring(L"ab\0\0\0###", 8)},
               {6, 0, 5, std::wstring(L"ab\0c\0\0##", 8)},
               {6, 1, 4, std::wstring(L"ab\0c\0\0##", 8)},
               {7, 1, 5, std::wstring(L"ab\0c\0\0##", 8)}};
  for (const auto& c : lists) {
    std::wstring buffer(8, L'#');
    EXPECT_EQ(ini::CopyList(items, buffer.data(), c.size, c.spare), c.copied) << c.size << " " << c.spare;
    EXPECT_EQ(buffer, c.buffer) << c.size << " " << c.spare;
  }
  std::wstring buffer(8, L'#');
  EXPECT_EQ(ini::CopyList({}, buffer.data(), 8), 0u);
  EXPECT_EQ(buffer, std::wstring(L"\0\0######", 8));  // an empty list: two zeros
  EXPECT_EQ(ini::CopyList(items, nullptr, 8), 0u);

  struct {
    DWORD size;
    DWORD copied;
    std::wstring buffer;
  } values[] = {{0, 0, L"######"}, {1, 0, std::wstring(L"\0#####", 6)}, {3, 2, std::wstring(L"ab\0###", 6)},
                {4, 3, std::wstring(L"abc\0##", 6)}, {6, 3, std::wstring(L"abc\0##", 6)}};
  for (const auto& c : values) {
    std::wstring out(6, L'#');
    EXPECT_EQ(ini::CopyValue(L"abc", out.data(), c.size), c.copied) << c.size;
    EXPECT_EQ(out, c.buffer) << c.size;
  }
  EXPECT_EQ(ini::CopyValue(L"abc", nullptr, 6), 0u);
}

// What reads see: each section's name and its keys with their values, in order.
using Contents = std::vector<std::pair<std::wstring, std::vector<std::pair<std::wstring, std::wstring>>>>;

Contents ContentsOf(const ini::FileIndex& index) {
  Contents contents;
  for (const ini::SectionIndex& s : index.sections) {
    contents.emplace_back(s.name, std::vector<std::pair<std::wstring, std::wstring>>());
    for (std::size_t i = 0; i < s.keys.size(); ++i) contents.back().second.emplace_back(s.keys[i], s.values[i]);
  }
  return contents;
}

// The edits by their rules: the first section and key of a name, without regard
// to case; a set key takes the name as written; new keys and sections go last.
struct Model {
  Contents contents;

  template <typename List>
  static auto Find(List& list, const std::wstring& name) {
    auto it = list.begin();
    while (it != list.end() && !kwfw::EqualNoCase(it->first, name)) ++it;
    return it;
  }
  void Set(const std::wstring& section, const std::wstring& key, const std::wstring& value) {
    auto s = Find(contents, section);
    if (s == contents.end()) s = contents.insert(s, {section, {}});
    auto k = Find(s->second, key);
    if (k == s->second.end()) {
      s->second.emplace_back(key, value);
    } else {
      *k = {key, value};
    }
  }
  bool RemoveKey(const std::wstring& section, const std::wstring& key) {
    const auto s = Find(contents, section);
    if (s == contents.end()) return false;
    const auto k = Find(s->second, key);
    if (k == s->second.end()) return false;
    s->second.erase(k);
    return true;
  }
  bool RemoveSection(const std::wstring& section) {
    const auto s = Find(contents, section);
    if (s == contents.end()) return false;
    contents.erase(s);
    return true;
  }
  void Replace(const std::wstring& section, const std::vector<std::pair<std::wstring, std::wstring>>& keys) {
    auto s = Find(contents, section);
    if (s == contents.end()) s = contents.insert(s, {section, {}});
    s->second = keys;
  }
};

// The text a walk starts from: comments, blank lines, a line before any section,
// a line without '=' and a last line without a line end, none of which the edits
// may disturb.
constexpr wchar_t kStart[] = L"; top\nloose=1\r\n[a]\rk=v\r\nnokey\r\n\r\n; c\n[b]\n\nz=1";

TEST(IniText, EditsBehaveLikeTheirModel) {
  // Names that differ only in case; the dotted and dotless i only where the file
  // can hold them.
  const std::vector<std::wstring> ansiNames{L"a", L"A", L"b", L"k", L"K", L"\u00C9t\u00E9", L"\u00C9T\u00C9", L"i", L"I"};
  std::vector<std::wstring> utf16Names = ansiNames;
  utf16Names.insert(utf16Names.end(), {L"\u0130", L"\u0131", L"\U0001F600"});
  const std::wstring values[] = {L"1", L"two words", L"", L"\u00E9"};
  for (unsigned seed = 1; seed <= 100; ++seed) {
    std::mt19937 rng(seed);
    const bool utf16 = seed % 2 == 0;
    const std::vector<std::wstring>& names = utf16 ? utf16Names : ansiNames;
    const auto pick = [&](const auto& list) { return list[rng() % std::size(list)]; };
    ini::IniFile file = ini::Split(utf16 ? Utf16(kStart) : kwfw::WideToUtf8(kStart));
    Model model{{{L"a", {{L"k", L"v"}}}, {L"b", {{L"z", L"1"}}}}};
    for (int step = 0; step < 50; ++step) {
      const std::wstring section = pick(names), key = pick(names), value = pick(values);
      std::string op;
      switch (rng() % 5) {
        case 0:
        case 1:
          op = "set";
          EXPECT_TRUE(ini::SetKey(file, section, key, value));
          model.Set(section, key, value);
          break;
        case 2:
          op = "remove key";
          EXPECT_EQ(ini::RemoveKey(file, section, key), model.RemoveKey(section, key));
          break;
        case 3:
          op = "remove section";
          EXPECT_EQ(ini::RemoveSection(file, section), model.RemoveSection(section));
          break;
        case 4: {
          op = "replace section";
          std::vector<std::wstring> lines;
          std::vector<std::pair<std::wstring, std::wstring>> keys;
          for (unsigned n = rng() % 3; n > 0; --n) {
            keys.emplace_back(pick(names), pick(values));
            lines.push_back(keys.back().first + L"=" + keys.back().second);
          }
          EXPECT_TRUE(ini::ReplaceSection(file, section, lines));
          model.Replace(section, keys);
          break;
        }
      }
      const std::string where = "seed " + std::to_string(seed) + " step " + std::to_string(step) + " " + op + " [" +
                                kwfw::WideToUtf8(section) + "] " + kwfw::WideToUtf8(key);
      ASSERT_EQ(ContentsOf(ini::IndexOf(file)), model.contents) << where;
      // The bytes say what the lines say.
      const std::string bytes = ini::Join(file);
      ASSERT_EQ(ContentsOf(ini::IndexOf(ini::Split(bytes))), model.contents) << where;
      // What no edit touches is still there.
      ASSERT_TRUE(bytes.starts_with(utf16 ? Utf16(L"; top\nloose=1\r\n") : "; top\nloose=1\r\n")) << where;
    }
  }
}

// A large file costs time in proportion to its size: a quadratic split, index or
// edit would take minutes here.
TEST(IniText, LargeFilesCostInProportion) {
  constexpr int kLines = 20'000;
  std::string bytes, expected;
  for (int i = 0; i < kLines; ++i) bytes += "[s" + std::to_string(i) + "]\nk=1\n";
  bytes += "[big]\n";
  for (int i = 0; i < kLines; ++i) bytes += "k" + std::to_string(i) + "=v\n";
  std::string joined;
  std::size_t sections = 0, keys = 0;
  const double seconds = kwtest::SecondsTaken([&] {
    ini::IniFile file = ini::Split(bytes);
    const ini::FileIndex index = ini::IndexOf(file);
    sections = index.sections.size();
    keys = index.Find(L"BIG")->keys.size();
    ini::SetKey(file, L"s0", L"new", L"1");
    ini::SetKey(file, L"big", L"k" + std::to_wstring(kLines - 1), L"w");
    joined = ini::Join(file);
  });
  EXPECT_LT(seconds, 60.0);
  EXPECT_EQ(sections, kLines + 1u);
  EXPECT_EQ(keys, static_cast<std::size_t>(kLines));
  expected = bytes;
  expected.insert(std::string("[s0]\nk=1\n").size(), "new=1\r\n");
  expected[expected.size() - 2] = 'w';  // the last key's value
  EXPECT_TRUE(joined == expected);
}

}  // namespace
