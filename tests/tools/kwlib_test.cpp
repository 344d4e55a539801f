// The kwlib command line, run as a real child process: output, JSON and exit codes.
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <set>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/json.h>

#include "kwlibrun.h"

namespace {

using kwtest::Kwlib;
using kwtest::Result;
using kwtest::Shell;
using kwtest::ReadBytes;
using kwtest::TempFile;

TEST(KwlibStrings, PrintsIdsAndTextsInTheChosenLanguage) {
  Result r = Kwlib("strings 18001 22062-22063");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "18001\tL'opération non supportée.\n22062\t&Suivant\n22063\t&Précédent\n");
  r = Kwlib("strings --lang en 0x4F7E");  // ids may be hex
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "20350\tmillimetres\n");
  r = Kwlib("strings --lang=en 20353 20370");
  EXPECT_EQ(r.out, "20353\tfeet\n20370\t&Yards\n");
  r = Kwlib("strings --lang 0x040C 20353");
  EXPECT_EQ(r.out, "20353\tfeet\n");
}

TEST(KwlibStrings, JsonOutputMarksMissingStrings) {
  const Result r = Kwlib("strings --json --lang en 22058 12");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no string 12 in language 0x0409"), std::string::npos) << r.err;
  Json::Value v;
  std::istringstream in(r.out);
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &v, nullptr)) << r.out;
  ASSERT_EQ(v.size(), 2u);
  EXPECT_EQ(v[0]["id"].asUInt(), 22058u);
  EXPECT_EQ(v[0]["text"].asString(), "Yes");
  EXPECT_TRUE(v[1]["text"].isNull());
}

TEST(Kwlib, UsageErrorsExitWithTwo) {
  for (const char* args : {"", "nosuch", "strings", "strings --lang", "strings --lang xx 1", "strings 5-3",
                           "strings 70000", "strings -1", "strings --frob 1", "strings 12abc",
                           // blanks, signs and a second prefix after what the check at the front sees
                           "strings '\t5'", "strings ' 5'", "strings '0x 5'", "strings 0x-1", "strings 0x+5",
                           "strings 0x0x5"}) {
    const Result r = Kwlib(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_FALSE(r.err.empty()) << args;
    EXPECT_TRUE(r.out.empty()) << args;
  }
}

TEST(Kwlib, HelpAndVersion) {
  Result r = Kwlib("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("strings"), std::string::npos);
  r = Kwlib("strings --help");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("Usage: kwlib strings", 0), 0u);
  r = Kwlib("--version");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("kwlib 6.3.0", 0), 0u);
}

TEST(KwlibDemoProgress, PlainLinesWhenNotATerminal) {
  const Result r = Kwlib("demo-progress --items 3 --delay 0");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.find('\r'), std::string::npos);
  EXPECT_EQ(r.out.find("\x1b["), std::string::npos);
  // A line for each tenth; the item messages, changing faster than once a second,
  // add none of their own beyond the first. The finished job comes last.
  std::set<int> tenths;
  int lines = 0;
  for (std::size_t at = 0, end; (end = r.out.find('\n', at)) != std::string::npos; at = end + 1, ++lines) {
    const std::string line = r.out.substr(at, end - at);
    ASSERT_GT(line.size(), 28u) << line;
    tenths.insert(std::stoi(line.substr(23, 3)) / 10);
  }
  EXPECT_EQ(tenths, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10})) << r.out;
  EXPECT_LE(lines, 12) << r.out;
  const std::string last = r.out.substr(r.out.rfind('\n', r.out.size() - 2) + 1);
  EXPECT_EQ(last.rfind("[####################] 100% done", 0), 0u) << last;
}

TEST(KwlibDemoProgress, OneRedrawnLineOnATerminal) {
  const auto start = std::chrono::steady_clock::now();
  // script(1) runs the command on a pseudo-terminal.
  const Result r = Shell("script -qec '" + std::string(KWLIB_EXE) + " demo-progress --items 3 --delay 40' /dev/null");
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(r.status, 0) << r.err;
  const auto redraws = std::count(r.out.begin(), r.out.end(), '\r') - std::count(r.out.begin(), r.out.end(), '\n');
  EXPECT_GE(redraws, 2);
  EXPECT_LE(redraws, ms / 100 + 3) << "at most ten redraws a second, in " << ms << " ms";
  EXPECT_NE(r.out.find("100% done"), std::string::npos);
  EXPECT_NE(r.out.find("\x1b[K"), std::string::npos);
}

TEST(KwlibDemoProgress, BadArguments) {
  for (const char* args : {"demo-progress --items 0", "demo-progress --items x", "demo-progress --frob"}) {
    EXPECT_EQ(Kwlib(args).status, 2) << args;
  }
}

}  // namespace

namespace {

TEST(KwlibData, Crc32Base64AndPack) {
  const std::string digits = TempFile("123456789");
  Result r = Kwlib("crc32 " + digits + " /no/such/file");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "cbf43926  " + digits + "\n");
  EXPECT_NE(r.err.find("/no/such/file"), std::string::npos);

  EXPECT_EQ(Shell("printf Man | " + std::string(KWLIB_EXE) + " base64").out, "TWFu\n");
  EXPECT_EQ(Shell("printf 'TWF\\nu\\n' | " + std::string(KWLIB_EXE) + " base64 -d").out, "Man");
  r = Shell("printf 'TW!u' | " + std::string(KWLIB_EXE) + " base64 -d");
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.out.empty());

  std::string data(5000, 'a');
  for (std::size_t i = 0; i < data.size(); i += 7) data[i] = static_cast<char>(i);
  const std::string in = TempFile(data), packed = TempFile(""), back = TempFile("");
  for (const char* format : {"--rle", "--rll", "--packbits"}) {
    ASSERT_EQ(Kwlib(std::string("pack ") + format + " " + in + " " + packed).status, 0) << format;
    EXPECT_LT(ReadBytes(packed).size(), data.size()) << format;
    ASSERT_EQ(Kwlib(std::string("pack ") + format + " -d " + packed + " " + back).status, 0) << format;
    EXPECT_EQ(ReadBytes(back), data) << format;
  }
  EXPECT_EQ(Kwlib("pack " + in + " " + back).status, 2);  // no format
  EXPECT_EQ(Kwlib("pack --rle /no/such/file " + back).status, 1);
  for (const std::string& f : {digits, in, packed, back}) std::remove(f.c_str());
}

}  // namespace

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>

namespace {

TEST(KwlibRecords, DumpAndGet) {
  const std::string path = TempFile("");
  std::remove(path.c_str());
  {
    TSerializer* s = TSerializer::Open(kwfw::Utf8ToWide(path).c_str(), 1);
    ASSERT_NE(s, nullptr);
    s->CreateHeader(3, 1, 2, 0);
    s->WriteRecord(const_cast<char*>("hello"), 5, 10);
    s->Push();
    s->WriteRecord(const_cast<char*>("inner"), 5, 11);
    s->Pop();
    s->WriteRecord(const_cast<char*>("\x01\x02"), 2, 12);
    TSerializer::Close(s);
  }
  Result r = Kwlib("records dump " + path);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("id 10  length 5  level 0  68 65 6c 6c 6f  |hello|"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n  id 11"), std::string::npos) << r.out;  // indented by level
  r = Kwlib("records dump --json " + path);
  Json::Value v;
  std::istringstream in(r.out);
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &v, nullptr)) << r.out;
  EXPECT_EQ(v["type"].asInt(), 3);
  ASSERT_EQ(v["records"].size(), 3u);
  EXPECT_EQ(v["records"][2]["preview"].asString(), "01 02");
  EXPECT_EQ(Kwlib("records get " + path + " 12").out, std::string("\x01\x02"));
  // A pipe has no length to fill a block from: it is read as a plain file, which
  // finds a record without seeking when no record before it has data to skip.
  const std::string empties = TempFile("");
  {
    TSerializer* s = TSerializer::Open(kwfw::Utf8ToWide(empties).c_str(), 1);
    ASSERT_NE(s, nullptr);
    s->CreateHeader(3, 0, 0, 0);
    for (unsigned long id = 1; id <= 3; ++id) s->WriteRecord(nullptr, 0, id);
    TSerializer::Close(s);
  }
  r = Shell("cat " + empties + " | " + KWLIB_EXE + " records get /dev/stdin 3");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  std::remove(empties.c_str());
  r = Kwlib("records get " + path + " 11");  // inside a subtree: not searched
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no record with id 11"), std::string::npos);
  const std::string notRecords = TempFile("plain text");
  EXPECT_EQ(Kwlib("records dump " + notRecords).status, 1);
  EXPECT_EQ(Kwlib("records dump /no/such/file").status, 1);
  EXPECT_EQ(Kwlib("records frob " + path).status, 2);
  std::remove(path.c_str());
  std::remove(notRecords.c_str());
}

}  // namespace

namespace {

TEST(KwlibCsv, RowsAsTextAndJson) {
  const std::string file = TempFile("head\r\n\"a\",\"b\tc\"\r\n\r\n\"d\\\"e\",\"\"\r\n");
  Result r = Kwlib("csv --skip 1 --quote '\"' --mode required " + file);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "a\tb\\tc\nd\\\\\"e\t\n");  // the escaped quote stays, escape and all
  r = Kwlib("csv --json --skip 1 --quote '\"' --mode optional " + file);
  EXPECT_EQ(r.status, 0) << r.err;
  Json::Value rows;
  ASSERT_TRUE(Json::Reader().parse(r.out, rows)) << r.out;
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0][1].asString(), "b\tc");
  EXPECT_EQ(rows[1][0].asString(), "d\\\"e");
  EXPECT_EQ(Shell("printf 'x;y\\n' | " + std::string(KWLIB_EXE) + " csv --sep ';' -").out, "x\ty\n");

  r = Kwlib("csv /no/such/file.csv");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("/no/such/file.csv"), std::string::npos);
  for (const char* bad : {"csv", "csv --quote '\"' x", "csv --mode optional x", "csv --sep ab x", "csv --skip -1 x"}) {
    EXPECT_EQ(Kwlib(bad).status, 2) << bad;
  }
  std::remove(file.c_str());
}

}  // namespace

namespace {

TEST(KwlibVersion, ReadsTheNoteWithoutRunningTheFile) {
  Result r = Kwlib(std::string("version ") + KWLIB_EXE);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("FileDescription  kwlib command-line tool\n"), std::string::npos) << r.out;
  r = Kwlib(std::string("version --json ") + KWLIB_EXE);
  Json::Value v;
  ASSERT_TRUE(Json::Reader().parse(r.out, v)) << r.out;
  EXPECT_EQ(v["strings"]["InternalName"].asString(), "kwlib");
  const std::string text = TempFile("plain text");
  r = Kwlib("version " + text);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no version information"), std::string::npos);
  EXPECT_EQ(Kwlib("version /no/such/file").status, 1);
  EXPECT_EQ(Kwlib("version").status, 2);
  std::remove(text.c_str());
}

}  // namespace

namespace {

TEST(KwlibIni, SetGetListAndDelete) {
  const std::string file = TempFile("; kept\n[Sec]\nold=1\n");
  EXPECT_EQ(Kwlib("ini set " + file + " Sec Key 'two words'").status, 0);
  Result r = Kwlib("ini get " + file + " sec KEY");
  EXPECT_EQ(r.out, "two words\n");
  EXPECT_EQ(Kwlib("ini keys " + file + " SEC").out, "old\nKey\n");
  EXPECT_EQ(Kwlib("ini set " + file + " Other k v").status, 0);
  EXPECT_EQ(Kwlib("ini sections --json " + file).out.find("\"Other\"") != std::string::npos, true);
  r = Kwlib("ini get " + file + " Sec missing");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no key 'missing'"), std::string::npos);
  EXPECT_EQ(Kwlib("ini delete " + file + " Sec old").status, 0);
  EXPECT_EQ(Kwlib("ini delete " + file + " Other").status, 0);
  EXPECT_EQ(ReadBytes(file), "; kept\n[Sec]\nKey=two words\r\n");
  EXPECT_EQ(Kwlib("ini set /no/such/folder/x.ini s k v").status, 1);
  for (const char* bad : {"ini", "ini get x.ini s", "ini frob x.ini", "ini set x.ini s k"}) EXPECT_EQ(Kwlib(bad).status, 2) << bad;
  std::remove(file.c_str());
}

// Files that are not what the command needs are named as such, once; a line break
// that would turn into a key of its own is refused.
TEST(KwlibIni, SaysWhatIsWrongWithTheFile) {
  const kwtest::TempDir dir("kwlib-ini");
  const std::string file = dir.At("s.ini");
  kwtest::WriteBytes(file, "[s]\nk=v\n");
  const std::string folder = dir.At("folder");
  ASSERT_TRUE(std::filesystem::create_directory(folder));
  for (const std::string& action : {"get " + folder + " s k", "--xml get " + folder + " s k", "keys " + folder + " s",
                                    "set " + folder + " s k v", "delete " + folder + " s"}) {
    const Result r = Kwlib("ini " + action);
    EXPECT_EQ(r.status, 1) << action;
    EXPECT_EQ(r.err, "kwlib ini: " + folder + ": Is a directory\n") << action;
  }
  const Result missing = Kwlib("ini get " + folder + "/none.ini s k");
  EXPECT_EQ(missing.err, "kwlib ini: " + folder + "/none.ini: No such file or directory\n");
  if (geteuid() != 0) {  // root reads any file
    std::filesystem::permissions(file, std::filesystem::perms::none);
    EXPECT_EQ(Kwlib("ini get " + file + " s k").err, "kwlib ini: " + file + ": Permission denied\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  EXPECT_EQ(Kwlib("ini get '' s k").status, 2);
  for (const char* broken : {"'a\nb'", "'a\rb'"}) {
    EXPECT_EQ(Kwlib("ini set " + file + " s k " + broken).status, 2) << broken;
    EXPECT_EQ(Kwlib("ini set " + file + " s " + broken + " v").status, 2) << broken;
  }
  EXPECT_EQ(ReadBytes(file), "[s]\nk=v\n");
  // Errors from whole-file reads name the file once.
  const Result pack = Kwlib("pack --rle " + folder + " " + file + ".out");
  EXPECT_EQ(pack.status, 1);
  EXPECT_EQ(pack.err, "kwlib pack: " + folder + ": Is a directory\n");
  EXPECT_EQ(Kwlib("options dump " + folder).err, "kwlib options: " + folder + ": Is a directory\n");
}

TEST(KwlibPath, SplitPurifyCd) {
  Result r = Kwlib("path split --json /a/b/c.tar.gz /");
  Json::Value v;
  ASSERT_TRUE(Json::Reader().parse(r.out, v)) << r.out;
  EXPECT_EQ(v[0]["extension"].asString(), "gz");
  EXPECT_EQ(v[0]["subdirectory"].asString(), "b");
  EXPECT_TRUE(v[1]["root"].asBool());
  EXPECT_EQ(Kwlib("path purify '/a|b/c?d.t*t' 'x<y'").out, "/a b/c d.t t\n/x y\n");
  EXPECT_EQ(Kwlib("path cd /a/b/f.txt ..").out, "/a/f.txt\n");
  EXPECT_EQ(Kwlib("path cd /a/f.txt /z").out, "/z/f.txt\n");
  EXPECT_EQ(Kwlib("path cd f.txt ..").status, 2);
  EXPECT_EQ(Kwlib("path").status, 2);
}

}  // namespace

namespace {

TEST(KwlibIni, TheXmlForm) {
  const std::string file = TempFile("");
  std::remove(file.c_str());
  EXPECT_EQ(Kwlib("ini --xml set " + file + " Sec k 'v 1'").status, 0);
  EXPECT_EQ(Kwlib("ini --xml set " + file + " Sec j 2").status, 0);
  EXPECT_EQ(Kwlib("ini --xml get " + file + " Sec k").out, "v 1\n");
  EXPECT_EQ(Kwlib("ini --xml keys " + file + " Sec").out, "k\nj\n");
  EXPECT_EQ(Kwlib("ini --xml delete " + file + " Sec k").status, 0);
  EXPECT_EQ(Kwlib("ini --xml get " + file + " Sec k").status, 1);
  EXPECT_NE(ReadBytes(file).find("<Key Name=\"j\">2</Key>"), std::string::npos) << ReadBytes(file);
  std::remove(file.c_str());
}

}  // namespace

namespace {

TEST(KwlibOptions, FromXmlAndBack) {
  const std::string xml = TempFile("<Options><n Type=\"int\">42</n><sub Type=\"SubBloc\"><x Type=\"double\">1.5</x></sub></Options>");
  const std::string block = TempFile("");
  ASSERT_EQ(Kwlib("options from-xml " + xml + " " + block).status, 0);
  EXPECT_EQ(ReadBytes(block).substr(0, 11), "DRIVER-BLOC");
  Result r = Kwlib("options dump " + block);
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("<n Type=\"int\">42</n>"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("<x Type=\"double\">1.5</x>"), std::string::npos) << r.out;
  r = Kwlib("options dump --json " + block);
  Json::Value v;
  ASSERT_TRUE(Json::Reader().parse(r.out, v)) << r.out;
  EXPECT_EQ(v["sub"]["block"]["x"]["double"].asDouble(), 1.5);
  r = Kwlib("options dump " + xml);  // XML is not a data block
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("not an options block"), std::string::npos);
  const std::string broken = TempFile("<Options><n>");
  EXPECT_EQ(Kwlib("options from-xml " + broken + " " + block).status, 1);
  EXPECT_EQ(Kwlib("options").status, 2);
  for (const std::string& f : {xml, block, broken}) std::remove(f.c_str());
}

}  // namespace

namespace {

TEST(KwlibFind, FilesByMaskOnceEach) {
  const kwtest::TempDir dir("kwlib-find");
  const std::string& root = dir.Path();
  ASSERT_TRUE(std::filesystem::create_directories(root + "/A/B"));
  for (const char* file : {"/r.txt", "/A/a.TXT", "/A/B/b.txt", "/A/B/c.dat"}) kwtest::WriteBytes(root + file, "");
  Result r = Kwlib("find -r '*.txt' " + root);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, root + "/A/B/b.txt\n" + root + "/A/a.TXT\n" + root + "/r.txt\n");
  EXPECT_EQ(Kwlib("find '*.*' " + root).out, root + "/r.txt\n");
  EXPECT_EQ(Kwlib("find '*' " + root + "/missing").status, 1);
  EXPECT_EQ(Kwlib("find onlymask").status, 2);
}

TEST(KwlibOsversion, ReportsTheSystemAndTheLibrary) {
  const Result r = Kwlib("osversion --json");
  ASSERT_EQ(r.status, 0) << r.err;
  Json::Value v;
  std::istringstream in(r.out);
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &v, nullptr)) << r.out;
  EXPECT_EQ(v["name"].asString().rfind("Microsoft Windows ", 0), 0u);
  EXPECT_NE(v["library"].asString().find("libkwlib63.so"), std::string::npos);
  EXPECT_EQ(v["libraryVersion"].asString(), KWLIB_VERSION_MAJOR_MINOR);
  EXPECT_EQ(Kwlib("osversion extra").status, 2);
}

}  // namespace

namespace {

TEST(KwlibRun, PassesStreamsAndExitStatusOn) {
  Result r = Kwlib("run -- sh -c 'echo out; echo err >&2; echo \"50%\"; exit 4'");
  EXPECT_EQ(r.status, 4);
  EXPECT_EQ(r.out, "out\n50%\n");
  EXPECT_EQ(r.err, "err\n");
  r = Kwlib("run --cwd /tmp -- pwd");
  EXPECT_EQ(r.out, "/tmp\n");
  r = Kwlib("run -- /nonexistent/program");
  EXPECT_EQ(r.status, 127);
  EXPECT_EQ(r.out, "Unable to start /nonexistent/program\n");
  r = Kwlib("run --progress -- sh -c 'echo 30%; echo 60%'");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.err.find("60%"), std::string::npos) << r.err;  // plain lines: not a terminal
  EXPECT_EQ(Kwlib("run").status, 2);
  EXPECT_EQ(Kwlib("run --frob -- true").status, 2);
  EXPECT_EQ(Kwlib("run --").status, 2);
}

}  // namespace
