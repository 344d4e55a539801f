// CFitxerINI and the typed functions of CFitxerSettings on real files: the number
// forms, whole sections, enumeration, deleting one key, and the UTF-16 mark.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/profile.h>
#include <kwlib63/settings/fitxerini.h>
#include <kwlib63/settings/pathstring.h>

#include "support/locales.h"
#include "support/tempdir.h"
#include "support/throws.h"
#include "support/stopwatch.h"

namespace {

class FitxerIniTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = m_dir + "/sub/app.ini";  // the folder is made by the first write
    m_ini.SetFitxer(kwfw::Utf8ToWide(m_path).c_str());
  }
  std::string Bytes() const { return kwtest::ReadBytes(m_path); }
  kwtest::TempDir m_tmp{"kwlib-fini"};
  std::string m_dir = m_tmp.Path(), m_path;
  CFitxerINI m_ini{L"unused"};
};

TEST_F(FitxerIniTest, StringsNumbersAndTheMark) {
  EXPECT_EQ(m_ini.TestFitxer(), 0);
  EXPECT_EQ(m_ini.GetString(L"s", L"k", L"d"), CString(L"d"));
  EXPECT_EQ(m_ini.SetString(L"s", L"empty", L""), 1);
  EXPECT_EQ(Bytes().substr(0, 2), "\xFF\xFE");  // a new file is UTF-16 with its mark
  EXPECT_EQ(m_ini.GetString(L"s", L"empty", L"d"), CString(L"d"));
  m_ini.SetInt(L"s", L"suffix", -255, 16, L"h", 1);
  EXPECT_EQ(m_ini.GetString(L"s", L"suffix", L""), CString(L"-ffh"));
  m_ini.SetInt(L"s", L"prefix", -255, 16, L"0x", 0);
  EXPECT_EQ(m_ini.GetString(L"s", L"prefix", L""), CString(L"-0xff"));
  EXPECT_EQ(m_ini.GetInt(L"s", L"prefix", 7), 0);  // the hex prefix counts only at the very start
  m_ini.SetString(L"s", L"hex", L"0x1A");
  m_ini.SetString(L"s", L"mixed", L"12abc");
  m_ini.SetString(L"s", L"word", L"abc");
  EXPECT_EQ(m_ini.GetInt(L"s", L"hex", 7), 26);
  EXPECT_EQ(m_ini.GetInt(L"s", L"mixed", 7), 12);
  EXPECT_EQ(m_ini.GetInt(L"s", L"word", 7), 0);
  EXPECT_EQ(m_ini.GetInt(L"s", L"none", 7), 7);
  m_ini.SetInt(L"s", L"min", -2147483647 - 1);
  EXPECT_EQ(m_ini.GetString(L"s", L"min", L""), CString(L"-2147483648"));
  m_ini.SetDouble(L"s", L"pi", 3.25);
  EXPECT_EQ(m_ini.GetString(L"s", L"pi", L""), CString(L"3.250000"));
  EXPECT_EQ(m_ini.GetDouble(L"s", L"pi", 0), 3.25);
  EXPECT_EQ(m_ini.GetDouble(L"s", L"none", 1.5), 1.5);
  EXPECT_EQ(m_ini.BorrarValor(L"s", L"word"), 1);
  EXPECT_EQ(m_ini.GetString(L"s", L"word", L"gone"), CString(L"gone"));

  CMultiString sections, keys;
  m_ini.SetString(L"t", L"a", L"1");
  EXPECT_EQ(m_ini.GetSeccions(sections), 1);
  EXPECT_EQ(sections.GetNumStr(), 2);
  EXPECT_EQ(m_ini.GetClausSeccio(L"t", keys), 1);
  EXPECT_STREQ(keys[0], L"a");
  EXPECT_EQ(m_ini.BorrarSeccio(L"t"), 1);
  EXPECT_EQ(m_ini.GetClausSeccio(L"t", keys), 0);
}

TEST_F(FitxerIniTest, AFileWithoutTheMarkKeepsOnlyTheFirstKey) {
  CPathString::CrearCarpeta(kwfw::Utf8ToWide(m_dir + "/sub").c_str());
  std::ofstream(m_path, std::ios::binary) << "[old]\r\nx=1\r\n";
  EXPECT_EQ(m_ini.SetString(L"new", L"k", L"v"), 1);
  CMultiString sections;
  ASSERT_EQ(m_ini.GetSeccions(sections), 1);
  EXPECT_EQ(sections.GetNumStr(), 1);
  EXPECT_STREQ(sections[0], L"new");
  EXPECT_EQ(m_ini.GetString(L"old", L"x", L"gone"), CString(L"gone"));

  // A file that exists but cannot be opened (a socket) is left alone.
  const std::string socketPath = m_dir + "/sock.ini";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(CFitxerINI::ConvertIniFileIntoUnicode(kwfw::Utf8ToWide(socketPath).c_str()), 0);
  EXPECT_EQ(CFitxerINI::VerifyAndCreateUnicodeFile(kwfw::Utf8ToWide(socketPath).c_str()), 0);
  close(fd);
}

// Records the pairs it is given; answers -1 at `stopAt`.
struct Enumerated {
  std::vector<std::wstring> pairs;
  int stopAt = -1;
  static int Callback(const wchar_t* key, const wchar_t* value, __int64 lParam) {
    auto* self = reinterpret_cast<Enumerated*>(lParam);
    self->pairs.push_back(std::wstring(key) + L"|" + value);
    return static_cast<int>(self->pairs.size()) == self->stopAt ? -1 : 5;
  }
};

TEST_F(FitxerIniTest, SectionsAsPairs) {
  CMultiString lines;
  lines += L"k=a;b";
  lines += L"blank=";
  lines += L"two words=x";
  lines += L"K=last";
  ASSERT_EQ(m_ini.SetSeccio(L"p", lines), 1);
  CMultiString keys, values;
  ASSERT_EQ(m_ini.GetValorsSeccio(L"p", keys, values), 1);
  ASSERT_EQ(keys.GetNumStr(), 3);  // the line with an empty value is skipped
  EXPECT_STREQ(keys[0], L"k");
  EXPECT_STREQ(values[0], L"a");  // cut at the semicolon
  EXPECT_STREQ(keys[1], L"two");  // a key ends at a blank
  EXPECT_STREQ(values[1], L"words=x");

  Enumerated all;
  EXPECT_EQ(m_ini.EnumSeccio(L"p", &Enumerated::Callback, reinterpret_cast<__int64>(&all)), 5);
  EXPECT_EQ(all.pairs.size(), 3u);
  Enumerated stopped;
  stopped.stopAt = 2;
  EXPECT_EQ(m_ini.EnumSeccio(L"p", &Enumerated::Callback, reinterpret_cast<__int64>(&stopped)), -1);
  EXPECT_EQ(stopped.pairs.size(), 2u);
  EXPECT_EQ(m_ini.EnumSeccio(L"missing", &Enumerated::Callback, 0), -3);

  // The last "k" goes; the other lines come back as "key = value".
  EXPECT_EQ(m_ini.BorrarClau(L"p", L"k"), 1);
  CMultiString after;
  ASSERT_EQ(m_ini.GetSeccio(L"p", after), 1);
  ASSERT_EQ(after.GetNumStr(), 2);
  EXPECT_STREQ(after[0], L"k=a");
  EXPECT_STREQ(after[1], L"two=words=x");
  EXPECT_EQ(m_ini.BorrarClau(L"p", L"none"), 0);

  CMultiString shortValues;
  shortValues += L"only";
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { m_ini.SetValorsSeccio(L"p", keys, shortValues); }));
}

// The strings of a double-zero-terminated list.
std::vector<std::wstring> List(const wchar_t* p) {
  std::vector<std::wstring> out;
  for (; *p != 0; p += std::wcslen(p) + 1) out.emplace_back(p);
  return out;
}

// A line without '=' is no key: the key list and look-ups pass it by, while the
// whole-section read keeps it, as the platform's profile functions do.
TEST_F(FitxerIniTest, ALineWithoutEqualsIsNoKey) {
  CPathString::CrearCarpeta(kwfw::Utf8ToWide(m_dir + "/sub").c_str());
  std::ofstream(m_path, std::ios::binary) << "[s]\r\nname1=a\r\nname2=x\r\nname3\r\nName4 = a\r\n[t]\r\nk=v\r\n";
  const std::wstring file = kwfw::Utf8ToWide(m_path);
  for (const char* locale : kwtest::kTextLocales) {
    const kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale << " is not generated (scripts/install-deps)";
    std::vector<wchar_t> buffer(1024, L'#');
    EXPECT_EQ(kwplat::GetPrivateProfileStringW(L"S", nullptr, L"", buffer.data(), 1024, file.c_str()), 18u) << locale;
    EXPECT_EQ(List(buffer.data()), (std::vector<std::wstring>{L"name1", L"name2", L"Name4"})) << locale;
    EXPECT_EQ(kwplat::GetPrivateProfileStringW(L"s", L"NAME3", L"def", buffer.data(), 1024, file.c_str()), 3u) << locale;
    EXPECT_STREQ(buffer.data(), L"def") << locale;
    EXPECT_EQ(kwplat::GetPrivateProfileStringW(L"s", L"name4", L"def", buffer.data(), 1024, file.c_str()), 1u) << locale;
    EXPECT_STREQ(buffer.data(), L"a") << locale;
    EXPECT_EQ(kwplat::GetPrivateProfileSectionW(L"s", buffer.data(), 1024, file.c_str()), 30u) << locale;
    EXPECT_EQ(List(buffer.data()), (std::vector<std::wstring>{L"name1=a", L"name2=x", L"name3", L"Name4=a"})) << locale;

    CMultiString keys, lines;
    EXPECT_EQ(m_ini.GetClausSeccio(L"s", keys), 1) << locale;
    ASSERT_EQ(keys.GetNumStr(), 3) << locale;
    EXPECT_STREQ(keys[2], L"Name4") << locale;
    EXPECT_EQ(m_ini.GetString(L"s", L"name3", L"d"), CString(L"d")) << locale;
    EXPECT_EQ(m_ini.GetSeccio(L"s", lines), 1) << locale;
    EXPECT_EQ(lines.GetNumStr(), 4) << locale;
  }
}

// A section of 100000 lines, read and written through the profile functions, and
// as many pairs through the typed functions: every step is linear in the size of
// the file. These take seconds under the sanitizers; a quadratic step, hours.
TEST_F(FitxerIniTest, AHugeSectionCostsLinearTime) {
  constexpr int kLines = 100000;
  CPathString::CrearCarpeta(kwfw::Utf8ToWide(m_dir + "/sub").c_str());
  {
    std::ofstream out(m_path, std::ios::binary);
    out << "[big]\r\n";
    for (int i = 0; i < kLines; ++i) out << "k" << i << "=v" << i << "\r\n";
    out << "[after]\r\nx=1\r\n";
  }
  const std::wstring file = kwfw::Utf8ToWide(m_path);
  std::vector<wchar_t> buffer(4000000);
  DWORD sectionSize = 0, keysSize = 0;
  EXPECT_LT(kwtest::SecondsTaken([&] {
    sectionSize = kwplat::GetPrivateProfileSectionW(L"big", buffer.data(), 4000000, file.c_str());
    keysSize = kwplat::GetPrivateProfileStringW(L"big", nullptr, L"", buffer.data(), 4000000, file.c_str());
    kwplat::WritePrivateProfileStringW(L"big", L"k99999", L"changed", file.c_str());
  }), 60.0);
  EXPECT_EQ(sectionSize, 1377780u);  // "kI=vI" and its zero for every I below 100000
  EXPECT_EQ(keysSize, 688890u);
  EXPECT_EQ(m_ini.GetString(L"big", L"k99999", L""), CString(L"changed"));
  EXPECT_EQ(m_ini.GetString(L"after", L"x", L""), CString(L"1"));

  // The pairs are gathered one at a time into the lists.
  CFitxerINI pairsFile(kwfw::Utf8ToWide(m_dir + "/sub/pairs.ini").c_str());
  CMultiString keys, values;
  int enumerated = 0;
  EXPECT_LT(kwtest::SecondsTaken([&] {
    for (int i = 0; i < kLines; ++i) {
      keys += (L"w" + std::to_wstring(i)).c_str();
      values += L"1";
    }
    pairsFile.SetValorsSeccio(L"p", keys, values);
    enumerated = pairsFile.EnumSeccio(L"p", [](const wchar_t*, const wchar_t*, __int64) { return 1; }, 0);
  }), 60.0);
  EXPECT_EQ(keys.GetNumStr(), kLines);
  EXPECT_EQ(enumerated, 1);
  EXPECT_EQ(pairsFile.GetString(L"p", L"w99999", L""), CString(L"1"));
}

TEST(FitxerIni, DefaultPathIsTheProgramsWithIni) {
  const CFitxerINI ini;
  EXPECT_EQ(ini.GetFitxer(), CString(CPathString()) + L".ini");
}

}  // namespace
