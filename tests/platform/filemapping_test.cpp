// CreateFileMappingW and MapViewOfFile called directly on real files: an empty
// file, views that end exactly at the end or go past it, offsets off the
// granularity, and the access a handle opened for reading (or writing) allows.
// The CFileMapping classes above them are tested in tests/persist.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/platform/filemapping.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/uniquefd.h>

#include "support/tempdir.h"

namespace {

constexpr std::size_t kGranularity = 65536;
constexpr std::size_t kFileSize = 3 * kGranularity + 100;
constexpr DWORD kJunk = 0x5A5A5A5A;

class FileMappingCalls : public ::testing::Test {
 protected:
  // Bytes whose value is their offset modulo 251, so a view at the wrong place shows.
  static std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 251);
    return bytes;
  }
  kwplat::UniqueFd Open(int flags) const { return kwplat::UniqueFd(open(m_path.c_str(), flags | O_CLOEXEC)); }
  // A mapping of the file opened with `flags`, the descriptor closed at once (the
  // mapping holds its own); null with the last error on failure.
  HANDLE Map(int flags, DWORD protect, unsigned long long size = 0) const {
    const kwplat::UniqueFd fd = Open(flags);
    EXPECT_TRUE(fd);
    return kwplat::CreateFileMappingW(kwplat::HandleFromFd(fd.Get()), nullptr, protect, static_cast<DWORD>(size >> 32),
                                      static_cast<DWORD>(size), nullptr);
  }
  // The last error of a call that must fail, kJunk when it succeeded.
  static DWORD ErrorOfView(HANDLE mapping, DWORD access, unsigned long long offset, std::size_t bytes) {
    kwplat::SetLastError(kJunk);
    void* view = kwplat::MapViewOfFile(mapping, access, static_cast<DWORD>(offset >> 32), static_cast<DWORD>(offset), bytes);
    if (view == nullptr) return kwplat::GetLastError();
    kwplat::UnmapViewOfFile(view);
    return kJunk;
  }
  static DWORD ErrorOfMapping(HANDLE mapping) {
    if (mapping == nullptr) return kwplat::GetLastError();
    kwplat::CloseHandle(mapping);
    return kJunk;
  }

  kwtest::TempDir m_dir{"kwlib-platmap"};
  std::string m_path = m_dir.At("mapped.bin");
};

// Size 0 means "the file's size", which an empty file does not have; a size given
// grows it, in zeros, and the view of the whole mapping writes through.
TEST_F(FileMappingCalls, AnEmptyFileMapsOnlyWithASizeThatGrowsIt) {
  kwtest::WriteBytes(m_path, "");
  EXPECT_EQ(ErrorOfMapping(Map(O_RDWR, PAGE_READWRITE)), ERROR_FILE_INVALID);
  HANDLE mapping = Map(O_RDWR, PAGE_READWRITE, 5000);
  ASSERT_NE(mapping, nullptr) << kwplat::GetLastError();
  EXPECT_EQ(kwtest::ReadBytes(m_path), std::string(5000, '\0'));
  auto* view = static_cast<char*>(kwplat::MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
  ASSERT_NE(view, nullptr);
  view[4999] = 'z';
  EXPECT_TRUE(kwplat::UnmapViewOfFile(view));
  EXPECT_TRUE(kwplat::CloseHandle(mapping));
  EXPECT_EQ(kwtest::ReadBytes(m_path), std::string(4999, '\0') + "z");
}

// Views that end exactly at the mapping's end are whole; one byte more, an offset
// past the end, or a length that would wrap around is refused.
TEST_F(FileMappingCalls, ViewsEndAtTheMappingsEndAndNoFurther) {
  kwtest::WriteBytes(m_path, Pattern(kFileSize));
  HANDLE whole = Map(O_RDONLY, PAGE_READONLY);
  HANDLE part = Map(O_RDONLY, PAGE_READONLY, 2 * kGranularity);  // shorter than the file
  ASSERT_NE(whole, nullptr);
  ASSERT_NE(part, nullptr);
  const struct {
    HANDLE mapping;
    unsigned long long offset;
    std::size_t bytes;  // 0: to the end
    std::size_t expected;  // the view's length, or 0 for a refusal
  } cases[] = {
      {whole, 2 * kGranularity, kGranularity + 100, kGranularity + 100},
      {whole, 3 * kGranularity, 100, 100},
      {whole, 3 * kGranularity, 0, 100},
      {whole, 0, 0, kFileSize},
      {whole, 3 * kGranularity, 101, 0},
      {whole, 0, kFileSize + 1, 0},
      {whole, 4 * kGranularity, 0, 0},
      {whole, 4 * kGranularity, 1, 0},
      {whole, kGranularity, SIZE_MAX, 0},
      {whole, 1ull << 32, 1, 0},
      {part, kGranularity, kGranularity, kGranularity},
      {part, kGranularity, 0, kGranularity},
      {part, kGranularity, kGranularity + 1, 0},  // the file has it, the mapping does not
      {part, 2 * kGranularity, 0, 0},              // nothing left to map
  };
  const std::string pattern = Pattern(kFileSize);
  for (const auto& c : cases) {
    const std::string label = (c.mapping == whole ? "whole " : "part ") + std::to_string(c.offset) + "+" + std::to_string(c.bytes);
    if (c.expected == 0) {
      EXPECT_EQ(ErrorOfView(c.mapping, FILE_MAP_READ, c.offset, c.bytes), ERROR_ACCESS_DENIED) << label;
      continue;
    }
    const void* view = kwplat::MapViewOfFile(c.mapping, FILE_MAP_READ, static_cast<DWORD>(c.offset >> 32),
                                             static_cast<DWORD>(c.offset), c.bytes);
    ASSERT_NE(view, nullptr) << label << ": error " << kwplat::GetLastError();
    EXPECT_EQ(std::memcmp(view, pattern.data() + c.offset, c.expected), 0) << label;
    EXPECT_TRUE(kwplat::UnmapViewOfFile(view)) << label;
  }
  kwplat::CloseHandle(whole);
  kwplat::CloseHandle(part);
}

TEST_F(FileMappingCalls, OffsetsOffTheGranularityAreRefused) {
  kwtest::WriteBytes(m_path, Pattern(kFileSize));
  HANDLE mapping = Map(O_RDONLY, PAGE_READONLY);
  ASSERT_NE(mapping, nullptr);
  for (const unsigned long long offset : {1ull, 512ull, 65535ull, 65537ull, 2ull * kGranularity + 8192}) {
    EXPECT_EQ(ErrorOfView(mapping, FILE_MAP_READ, offset, 10), ERROR_MAPPED_ALIGNMENT) << offset;
  }
  kwplat::CloseHandle(mapping);
}

// A handle opened for reading gives read and copy-on-write mappings, never one that
// writes to the file; one opened only for writing gives none, since a mapping reads.
TEST_F(FileMappingCalls, AHandleGivesOnlyTheAccessItWasOpenedFor) {
  kwtest::WriteBytes(m_path, Pattern(100));
  const struct {
    int flags;
    DWORD protect;
    DWORD error;  // kJunk: the mapping is made
  } cases[] = {
      {O_RDONLY, PAGE_READONLY, kJunk},
      {O_RDONLY, PAGE_WRITECOPY, kJunk},
      {O_RDONLY, PAGE_EXECUTE_READ, kJunk},
      {O_RDONLY, PAGE_EXECUTE_READWRITE, ERROR_ACCESS_DENIED},
      {O_WRONLY, PAGE_READONLY, ERROR_ACCESS_DENIED},
      {O_WRONLY, PAGE_READWRITE, ERROR_ACCESS_DENIED},
  };
  for (const auto& c : cases) {
    kwplat::SetLastError(kJunk);
    EXPECT_EQ(ErrorOfMapping(Map(c.flags, c.protect, 0)), c.error) << c.flags << " " << c.protect;
  }
}

// A copy-on-write mapping of a file opened for reading: views write only their own
// copy; a view that would write the file is refused, and so is one asking for
// every access, which includes writing.
TEST_F(FileMappingCalls, ACopyOnWriteMappingNeverWritesTheFile) {
  kwtest::WriteBytes(m_path, Pattern(100));
  HANDLE mapping = Map(O_RDONLY, PAGE_WRITECOPY);
  ASSERT_NE(mapping, nullptr);
  EXPECT_EQ(ErrorOfView(mapping, FILE_MAP_WRITE, 0, 0), ERROR_ACCESS_DENIED);
  EXPECT_EQ(ErrorOfView(mapping, FILE_MAP_ALL_ACCESS, 0, 0), ERROR_ACCESS_DENIED);
  auto* copy = static_cast<char*>(kwplat::MapViewOfFile(mapping, FILE_MAP_COPY, 0, 0, 0));
  ASSERT_NE(copy, nullptr);
  std::memset(copy, 'w', 100);
  const auto* read = static_cast<const char*>(kwplat::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(std::string(read, 100), Pattern(100)) << "another view saw the copy's writes";
  kwplat::UnmapViewOfFile(copy);
  kwplat::UnmapViewOfFile(read);
  kwplat::CloseHandle(mapping);
  EXPECT_EQ(kwtest::ReadBytes(m_path), Pattern(100));
}

// FILE_MAP_ALL_ACCESS holds the copy bit among others, yet is a writing view.
TEST_F(FileMappingCalls, AllAccessWritesThroughToTheFile) {
  kwtest::WriteBytes(m_path, Pattern(100));
  HANDLE mapping = Map(O_RDWR, PAGE_READWRITE);
  ASSERT_NE(mapping, nullptr);
  auto* view = static_cast<char*>(kwplat::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
  ASSERT_NE(view, nullptr);
  view[0] = 'A';
  kwplat::UnmapViewOfFile(view);
  kwplat::CloseHandle(mapping);
  EXPECT_EQ(kwtest::ReadBytes(m_path), "A" + Pattern(100).substr(1));
}

// The high half of the size counts: a read-only file cannot grow past 4 GiB.
TEST_F(FileMappingCalls, TheHighHalfOfTheSizeCounts) {
  kwtest::WriteBytes(m_path, Pattern(100));
  EXPECT_EQ(ErrorOfMapping(Map(O_RDONLY, PAGE_READONLY, 1ull << 32)), ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(kwtest::ReadBytes(m_path).size(), 100u);
}

TEST_F(FileMappingCalls, OnlyAViewsBaseUnmapsItAndOnlyOnce) {
  kwtest::WriteBytes(m_path, Pattern(kFileSize));
  HANDLE mapping = Map(O_RDONLY, PAGE_READONLY);
  ASSERT_NE(mapping, nullptr);
  auto* view = static_cast<const char*>(kwplat::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  ASSERT_NE(view, nullptr);
  EXPECT_FALSE(kwplat::UnmapViewOfFile(view + 1));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_ADDRESS);
  EXPECT_EQ(view[kFileSize - 1], static_cast<char>((kFileSize - 1) % 251)) << "a refused unmap took the view";
  EXPECT_TRUE(kwplat::UnmapViewOfFile(view));
  EXPECT_FALSE(kwplat::UnmapViewOfFile(view));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_ADDRESS);
  kwplat::CloseHandle(mapping);
}

TEST_F(FileMappingCalls, AClosedDescriptorIsAnInvalidHandle) {
  kwtest::WriteBytes(m_path, Pattern(100));
  const int fd = Open(O_RDONLY).Release();
  close(fd);
  EXPECT_EQ(kwplat::CreateFileMappingW(kwplat::HandleFromFd(fd), nullptr, PAGE_READONLY, 0, 0, nullptr), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace
