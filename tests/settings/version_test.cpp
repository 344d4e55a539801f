// Version notes: the library's and this program's own, read from their files; the
// text forms with their suffixes, from small ELF files written here; and files
// without a note or not ELF at all.
#include <unistd.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/versioninfo.h>
#include <kwlib63/settings/pathstring.h>

KW_VERSION_INFO(KW_VERSION(2, 1, 3, 7), KW_VERSION(4, 5, 0, 0), VS_FF_DEBUG, 0x040C, 1252,
                "CompanyName\0Proves \xC3\xA0 Tormel\0ProductName\0settings test\0");

#include "support/locales.h"
#include "support/tempdir.h"

namespace {

template <std::size_t N>
void Append(std::vector<unsigned char>& out, const unsigned char (&bytes)[N]) {
  out.insert(out.end(), bytes, bytes + N);
}

void Put(std::vector<unsigned char>& out, std::size_t at, std::uint64_t value, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) out[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

// A 64-bit ELF file holding only a header, one note section and its section table.
template <std::size_t N>
std::string WriteElf(const std::string& dir, const std::string& name, const kwver::Note<N>& note) {
  std::vector<unsigned char> file(64, 0);
  std::memcpy(file.data(), "\x7F" "ELF\x02\x01\x01", 7);
  const std::size_t noteAt = file.size();
  const auto* bytes = reinterpret_cast<const unsigned char*>(&note);
  file.insert(file.end(), bytes, bytes + sizeof note);
  const std::size_t shoff = file.size();
  file.resize(shoff + 2 * 64, 0);  // a null section, then the note section
  Put(file, shoff + 64 + 4, 7, 4);  // SHT_NOTE
  Put(file, shoff + 64 + 24, noteAt, 8);
  Put(file, shoff + 64 + 32, sizeof note, 8);
  Put(file, 40, shoff, 8);
  Put(file, 58, 64, 2);  // e_shentsize
  Put(file, 60, 2, 2);   // e_shnum
  const std::string path = dir + "/" + name;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(file.data(), 1, file.size(), f);
  std::fclose(f);
  return path;
}

CString Text(const std::string& path, bool product) {
  const CPathString p(kwfw::Utf8ToWide(path).c_str(), nullptr);
  CString s;
  if (product) {
    p.GetProductVersion(s);
  } else {
    p.GetFileVersion(s, 1);
  }
  return s;
}

class VersionTest : public ::testing::Test {
 protected:
  kwtest::TempDir m_tmp{"kwlib-ver"};
  std::string m_dir = m_tmp.Path();
};

TEST_F(VersionTest, OwnNotesOfTheProgramAndTheLibrary) {
  const CPathString exe;  // this program
  CInfoVersio v;
  ASSERT_EQ(CPathString::GetFileVersion(exe, v), 1);
  EXPECT_EQ(v.nMajor, 2u);
  EXPECT_EQ(v.nMinor, 1u);
  EXPECT_EQ(v.nRelease, 3u);
  EXPECT_EQ(v.nBuild, 7u);
  EXPECT_EQ(v.bDebug, 1u);
  EXPECT_EQ(v.bPreRelease, 0u);
  CString s;
  EXPECT_EQ(exe.GetFileVersion(s, 0), 1);
  EXPECT_EQ(s, CString(L"2.1.3"));
  EXPECT_EQ(exe.GetProductVersion(s), 1);
  EXPECT_EQ(s, CString(L"4.5"));
  EXPECT_EQ(CPathString::GetStringInformacio(exe, L"companyname", s), 1);  // keys without regard to case
  EXPECT_EQ(s, CString(L"Proves \u00E0 Tormel"));
  EXPECT_EQ(CPathString::GetStringInformacio(exe, L"Missing", s), 0);

  const CPathString library(kwplat::GetModuleFromAddress(reinterpret_cast<const void*>(&kwplat::GetFileVersionInfoW)));
  ASSERT_EQ(CPathString::GetProductVersion(library, v), 1);
  EXPECT_EQ(v.nMajor, 6u);
  EXPECT_EQ(CPathString::GetStringInformacio(library, L"ProductName", s), 1);
  EXPECT_EQ(s, CString(L"kwlib63"));
}

TEST_F(VersionTest, TextSuffixes) {
  const struct {
    unsigned release, build;
    DWORD flags;
    const wchar_t* text;
  } cases[] = {{0, 0, 0, L"2.1"},          {3, 7, 0, L"2.1.3-beta.7"}, {3, 99, 0, L"2.1.3-rc"},
               {3, 102, 0, L"2.1.3-rc.2"}, {3, 100, 0, L"2.1.3-beta.100"}, {0, 0, VS_FF_PRERELEASE, L"2.1-beta"}};
  for (const auto& c : cases) {
    const auto note = kwver::MakeNote(KW_VERSION(2, 1, c.release, c.build), KW_VERSION(2, 1, c.release, c.build), c.flags,
                                      0x0409, 1200, "K\0V\0");
    const std::string path = WriteElf(m_dir, "v" + std::to_string(c.build), note);
    EXPECT_EQ(Text(path, true), CString(c.text)) << c.build;
    EXPECT_EQ(Text(path, false), CString(c.text)) << c.build;
  }
}

// String keys are found by the library's case fold, whatever the locale.
TEST_F(VersionTest, NonAsciiKeysMatchTheSameInEveryLocale) {
  const auto note = kwver::MakeNote(KW_VERSION(1, 0, 0, 0), KW_VERSION(1, 0, 0, 0), 0, 0x040C, 1200,
                                    "Donn\xC3\xA9" "es\0un\0FileDescription\0deux\0\xC4\xB0\0trois\0");
  const std::wstring path = kwfw::Utf8ToWide(WriteElf(m_dir, "keys", note));
  const struct {
    const wchar_t* key;
    const wchar_t* value;
  } cases[] = {{L"DONN\u00C9ES", L"un"}, {L"FILEDESCRIPTION", L"deux"}, {L"\u0130", L"trois"}, {L"i", nullptr}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) {
      CString s;
      EXPECT_EQ(CPathString::GetStringInformacio(path.c_str(), c.key, s), c.value != nullptr ? 1 : 0) << locale << " " << (&c - cases);
      if (c.value != nullptr) {
        EXPECT_EQ(s, CString(c.value)) << locale << " " << (&c - cases);
      }
    }
  }
}

TEST_F(VersionTest, FilesWithoutANote) {
  const std::string text = m_dir + "/text";
  std::FILE* f = std::fopen(text.c_str(), "w");
  std::fputs("not an ELF file at all, but long enough to hold a header of sixty-four bytes...", f);
  std::fclose(f);
  DWORD handle = 1;
  EXPECT_EQ(kwplat::GetFileVersionInfoSizeW(kwfw::Utf8ToWide(text).c_str(), &handle), 0u);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_TYPE_NOT_FOUND);
  EXPECT_EQ(kwplat::GetFileVersionInfoSizeW(L"/no/such/file", &handle), 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);
  // A note whose length runs past the end of its section is not read.
  auto note = kwver::MakeNote(KW_VERSION(1, 0, 0, 0), KW_VERSION(1, 0, 0, 0), 0, 0x0409, 1200, "K\0V\0");
  note.descsz = 0x7FFFFFF0;
  EXPECT_EQ(kwplat::GetFileVersionInfoSizeW(kwfw::Utf8ToWide(WriteElf(m_dir, "bad", note)).c_str(), &handle), 0u);
  CInfoVersio v;
  EXPECT_EQ(CPathString::GetFileVersion(kwfw::Utf8ToWide(text).c_str(), v), 0);
}

// The data a size query read is handed to the read that follows with its handle,
// so the file is parsed once: gone in between, it still answers through the handle.
TEST_F(VersionTest, TheReadAfterASizeQueryUsesItsData) {
  const auto note = kwver::MakeNote(KW_VERSION(3, 2, 0, 0), KW_VERSION(3, 2, 0, 0), 0, 0x0409, 1200, "Key\0once\0");
  const std::string path = WriteElf(m_dir, "once", note);
  const std::wstring wide = kwfw::Utf8ToWide(path);
  DWORD handle = 0;
  const DWORD size = kwplat::GetFileVersionInfoSizeW(wide.c_str(), &handle);
  ASSERT_GT(size, 0u);
  EXPECT_NE(handle, 0u);
  ASSERT_EQ(std::remove(path.c_str()), 0);
  std::vector<unsigned char> block(size, 0xCD);
  EXPECT_FALSE(kwplat::GetFileVersionInfoW(wide.c_str(), 0, size, block.data()));  // no handle: read now
  ASSERT_TRUE(kwplat::GetFileVersionInfoW(wide.c_str(), handle, size, block.data()));
  void* value = nullptr;
  UINT length = 0;
  ASSERT_TRUE(kwplat::VerQueryValueW(block.data(), L"\\StringFileInfo\\040904b0\\Key", &value, &length));
  EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(value)), L"once");
  // The handle serves one read.
  EXPECT_FALSE(kwplat::GetFileVersionInfoW(wide.c_str(), handle, size, block.data()));
}

// A 10 MB file whose 65535 section headers and 65535 program headers all name
// different 1 MiB stretches of empty notes: the search stops at its bounds instead
// of scanning some hundred gigabytes. The note it would find last is not reached.
TEST_F(VersionTest, HostileHeadersCostBoundedWork) {
  constexpr std::size_t kEntries = 65535, kArea = 1 << 20, kNotes = 64, kNotesBytes = 2 * kArea;
  const std::size_t shoff = kNotes + kNotesBytes, phoff = shoff + kEntries * 64, noteAt = phoff + kEntries * 56;
  const auto note = kwver::MakeNote(KW_VERSION(1, 0, 0, 0), KW_VERSION(1, 0, 0, 0), 0, 0x0409, 1200, "K\0V\0");
  std::vector<unsigned char> file(noteAt + sizeof note, 0);  // zeros are empty notes
  std::memcpy(file.data(), "\x7F" "ELF\x02\x01\x01", 7);
  Put(file, 32, phoff, 8);
  Put(file, 40, shoff, 8);
  Put(file, 54, 56, 2);
  Put(file, 56, kEntries, 2);
  Put(file, 58, 64, 2);
  Put(file, 60, kEntries, 2);
  for (std::size_t i = 0; i < kEntries; ++i) {
    Put(file, shoff + i * 64 + 4, 7, 4);  // SHT_NOTE
    Put(file, shoff + i * 64 + 24, kNotes + 12 * (i % 80000), 8);
    Put(file, shoff + i * 64 + 32, kArea, 8);
    Put(file, phoff + i * 56, 4, 4);  // PT_NOTE
    Put(file, phoff + i * 56 + 8, kNotes + 12 * ((i + 7) % 80000), 8);
    Put(file, phoff + i * 56 + 32, i + 1 < kEntries ? kArea : sizeof note, 8);
  }
  Put(file, phoff + (kEntries - 1) * 56 + 8, noteAt, 8);
  std::memcpy(&file[noteAt], &note, sizeof note);
  const std::string path = m_dir + "/hostile";
  std::FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(std::fwrite(file.data(), 1, file.size(), f), file.size());
  ASSERT_EQ(std::fclose(f), 0);

  const auto start = std::chrono::steady_clock::now();
  DWORD handle = 1;
  EXPECT_EQ(kwplat::GetFileVersionInfoSizeW(kwfw::Utf8ToWide(path).c_str(), &handle), 0u);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_TYPE_NOT_FOUND);
  EXPECT_EQ(handle, 0u);
  // The bounded search takes some 50 ms here under the sanitizers (the unbounded one
  // was still running after two minutes); the guard is about a hundred times that.
  EXPECT_LT(elapsed, std::chrono::seconds(5)) << std::chrono::duration<double>(elapsed).count() << " s";
}

}  // namespace
