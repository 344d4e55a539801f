// CFileMapping and CMapViewOfFile on real files: the alignment inside a view, views
// that write through or copy, the platform calls' refusals with their codes, and
// objects that outlive what they came from.
#include <fcntl.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/file.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/filemapping.h>
#include <kwlib63/persist/mapviewoffile.h>
#include <kwlib63/platform/lasterror.h>

#include "support/tempdir.h"

namespace {

class FileMappingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = m_dir + "/f.bin";
  }
  void WriteBytes(const std::string& bytes) const { kwtest::WriteBytes(m_path, bytes); }
  std::string Contents() const { return kwtest::ReadBytes(m_path); }
  // 200000 bytes, each its offset modulo 251.
  static std::string Pattern() {
    std::string s(200000, '\0');
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = static_cast<char>(i % 251);
    return s;
  }
  std::wstring Path() const { return kwfw::Utf8ToWide(m_path); }

  kwtest::TempDir m_tmp{"kwlib-map"};
  std::string m_dir = m_tmp.Path(), m_path;
};

TEST_F(FileMappingTest, ViewAlignsDownToTheGranularity) {
  WriteBytes(Pattern());
  CFile file(Path().c_str(), CFile::modeRead);
  CFileMapping mapping(file);
  EXPECT_EQ(mapping.GetAllocationGranularity(), 65536u);
  ASSERT_EQ(mapping.Open(PAGE_READONLY, 0, L"pattern"), 1);
  EXPECT_EQ(mapping.GetName(), CString(L"pattern"));
  CMapViewOfFile view(&mapping);
  ASSERT_EQ(view.Open(70000, 100, FILE_MAP_READ), 1);
  EXPECT_EQ(view.GetMappedOffset(), 65536u);
  EXPECT_EQ(view.GetMappedLength(), 4564u);
  EXPECT_EQ(view.GetData(), static_cast<unsigned char*>(view.GetBase()) + 4464);
  EXPECT_EQ(std::memcmp(view.GetData(), Pattern().data() + 70000, 100), 0);

  // A new range replaces the old view; closing twice is harmless.
  ASSERT_EQ(view.Open(199990, 10, FILE_MAP_READ), 1);
  EXPECT_EQ(static_cast<unsigned char*>(view.GetData())[9], 199999 % 251);
  EXPECT_EQ(view.Close(), 1);
  EXPECT_EQ(view.GetData(), nullptr);
  EXPECT_EQ(view.Close(), 1);
  // Past the end of the mapping: refused.
  EXPECT_EQ(view.Open(199990, 11, FILE_MAP_READ), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
}

TEST_F(FileMappingTest, WritesReachTheFileAndCopiesDoNot) {
  WriteBytes("0123456789");
  CFile file(Path().c_str(), CFile::modeReadWrite);
  CFileMapping mapping(file);
  ASSERT_EQ(mapping.Open(PAGE_READWRITE, 16, nullptr), 1);  // larger than the file: extends it
  EXPECT_EQ(Contents().size(), 16u);
  {
    CMapViewOfFile view(&mapping);
    ASSERT_EQ(view.Open(2, 3, FILE_MAP_WRITE), 1);
    std::memcpy(view.GetData(), "abc", 3);
    CMapViewOfFile copy(&mapping);
    ASSERT_EQ(copy.Open(0, 4, FILE_MAP_COPY), 1);
    std::memcpy(copy.GetData(), "zz", 2);
  }
  EXPECT_EQ(Contents().substr(0, 10), "01abc56789");

  // The mapping outlives the file object and a view outlives the mapping.
  file.Close();
  CMapViewOfFile view(&mapping);
  ASSERT_EQ(view.Open(0, 5, FILE_MAP_READ), 1);
  EXPECT_EQ(mapping.Close(), 1);
  EXPECT_EQ(mapping.Close(), 1);
  EXPECT_EQ(std::string(static_cast<char*>(view.GetData()), 5), "01abc");
}

TEST_F(FileMappingTest, RefusalsCarryWindowsCodes) {
  WriteBytes("");
  CFile empty(Path().c_str(), CFile::modeRead);
  CFileMapping none(empty);
  EXPECT_EQ(none.Open(PAGE_READONLY, 0, nullptr), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_INVALID);
  EXPECT_EQ(none.Open(PAGE_READONLY, 10, nullptr), 0);  // cannot grow a file it only reads
  EXPECT_EQ(kwplat::GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(none.Open(PAGE_READWRITE, 10, nullptr), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(none.Open(0x1234, 10, nullptr), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(none.Close(), 1);
  empty.Close();

  WriteBytes(Pattern());
  CFile file(Path().c_str(), CFile::modeRead);
  CFileMapping mapping(file);
  ASSERT_EQ(mapping.Open(), 1);
  CMapViewOfFile view(&mapping);
  EXPECT_EQ(view.Open(0, 10, FILE_MAP_WRITE), 0);  // a read-only mapping
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(kwplat::MapViewOfFile(mapping.GetHandle(), FILE_MAP_READ, 0, 4096, 10), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_MAPPED_ALIGNMENT);
  int local = 0;
  EXPECT_FALSE(kwplat::UnmapViewOfFile(&local));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_ADDRESS);
  EXPECT_EQ(kwplat::MapViewOfFile(&local, FILE_MAP_READ, 0, 0, 10), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(kwplat::CloseHandle(static_cast<HANDLE>(file)));  // files close through their CFile
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_HANDLE);
  CFileMapping closedFile(INVALID_HANDLE_VALUE);
  EXPECT_EQ(closedFile.Open(PAGE_READWRITE, 0, nullptr), 0);  // an anonymous block needs a size
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(FileMapping, AnonymousBlockAndSystemInfo) {
  CFileMapping block(INVALID_HANDLE_VALUE);
  ASSERT_EQ(block.Open(PAGE_READWRITE, 3 * 65536 + 5, nullptr), 1);
  CMapViewOfFile view(&block);
  ASSERT_EQ(view.Open(3 * 65536, 5, FILE_MAP_ALL_ACCESS), 1);
  EXPECT_EQ(static_cast<char*>(view.GetData())[4], 0);  // a new block is zeroed
  std::memcpy(view.GetData(), "hello", 5);
  CMapViewOfFile again(&block);
  ASSERT_EQ(again.Open(3 * 65536 + 1, 4, FILE_MAP_READ), 1);
  EXPECT_EQ(std::string(static_cast<char*>(again.GetData()), 4), "ello");  // views share the block

  SYSTEM_INFO info;
  kwplat::GetSystemInfo(&info);
  EXPECT_EQ(info.dwPageSize, static_cast<DWORD>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(info.dwAllocationGranularity, 65536u);
  EXPECT_EQ(info.dwNumberOfProcessors, static_cast<DWORD>(sysconf(_SC_NPROCESSORS_ONLN)));
}

}  // namespace
