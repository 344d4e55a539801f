// CFileBuffer on real files: lengths before a flush, short reads, the refused
// read-write mode, and data crossing many small blocks.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/filebuffer.h>

#include "support/largepages.h"
#include "support/tempdir.h"
#include "support/throws.h"

namespace {

class FileBufferTest : public ::testing::Test {
 protected:
  std::string Contents() const { return kwtest::ReadBytes(m_tmp.At("f.bin")); }
  kwtest::TempDir m_tmp{"kwlib-fb"};
  std::string m_dir = m_tmp.Path();
  std::wstring m_path = kwfw::Utf8ToWide(m_tmp.At("f.bin"));
};

constexpr UINT kWrite = CFile::modeCreate | CFile::modeWrite | CFile::typeBinary;
constexpr UINT kRead = CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary;

TEST_F(FileBufferTest, LengthBeforeFlushAndAfterClose) {
  CFileBuffer f(m_path.c_str(), kWrite, 4096);
  f.Write("0123456789", 10);
  EXPECT_EQ(f.GetLength(), 10u);
  EXPECT_EQ(Contents(), "");  // nothing on disk yet
  EXPECT_EQ(f.GetPosition(), 10u);
  f.Close();
  EXPECT_EQ(Contents(), "0123456789");
}

TEST_F(FileBufferTest, ReadsAreShortAtTheEnd) {
  std::ofstream(m_dir + "/f.bin") << "abcdef";
  CFileBuffer f(m_path.c_str(), kRead, 4);
  char buf[16] = {};
  EXPECT_EQ(f.Read(buf, 3), 3u);
  EXPECT_EQ(f.Read(buf + 3, 16), 3u);  // across the block's end, then short
  EXPECT_STREQ(buf, "abcdef");
  EXPECT_EQ(f.Read(buf, 1), 0u);
  EXPECT_EQ(f.Seek(-2, CFile::end), 4u);
  EXPECT_EQ(f.Read(buf, 16), 2u);
  EXPECT_EQ(std::string(buf, 2), "ef");
}

TEST_F(FileBufferTest, ReadWriteModeReadsAndWritesNothing) {
  std::ofstream(m_dir + "/f.bin") << "abc";
  CFileBuffer f(m_path.c_str(), CFile::modeReadWrite, 64);
  char buf[4] = {};
  EXPECT_EQ(f.Read(buf, 3), 0u);
  f.Write("xyz", 3);
  f.Close();
  EXPECT_EQ(Contents(), "abc");
}

TEST_F(FileBufferTest, ManySmallWritesThroughSmallBlocks) {
  std::mt19937 rng(2);
  std::string expected;
  {
    CFileBuffer f(m_path.c_str(), kWrite, 7);
    for (int i = 0; i < 500; ++i) {
      std::string piece(rng() % 12, 'a');
      for (char& c : piece) c = static_cast<char>('a' + rng() % 26);
      f.Write(piece.data(), static_cast<UINT>(piece.size()));
      expected += piece;
    }
  }  // written by the destructor
  EXPECT_EQ(Contents(), expected);
  CFileBuffer f(m_path.c_str(), kRead, 5);
  std::string back(expected.size(), '\0');
  EXPECT_EQ(f.Read(back.data(), static_cast<UINT>(back.size())), expected.size());
  EXPECT_EQ(back, expected);
}

TEST_F(FileBufferTest, MemoryFollowsTheDataUpToTheBlockSize) {
  constexpr unsigned long kBlock = 8388608;
  {
    CFileBuffer f(m_path.c_str(), kWrite, kBlock);
    f.Write("0123456789", 10);
    EXPECT_LE(f.AllocatedBlockSize(), 4096u);
    const std::string big(20000, 'b');
    f.Write(big.data(), static_cast<UINT>(big.size()));
    EXPECT_GE(f.AllocatedBlockSize(), 20010u);
    EXPECT_LE(f.AllocatedBlockSize(), 65536u);
  }
  CFileBuffer f(m_path.c_str(), kRead, kBlock);
  char buf[16] = {};
  EXPECT_EQ(f.Read(buf, 10), 10u);
  EXPECT_EQ(std::string(buf, 10), "0123456789");
  EXPECT_LE(f.AllocatedBlockSize(), 32768u);  // the file's 20010 bytes, rounded up
  // A caller given the block's address may use all of it.
  ASSERT_NE(f.getActualBufferPosition(), nullptr);
  EXPECT_EQ(f.AllocatedBlockSize(), kBlock);
}

// A block of megabytes is taken on large pages, whole: a new one otherwise costs a
// page fault per 4 KiB each time a file is opened.
TEST_F(FileBufferTest, ABlockOfMegabytesLiesOnLargePages) {
  constexpr unsigned long kLarge = 2ul << 20;
  const std::string data(3 * kLarge / 2, 'r');
  CFileBuffer f(m_path.c_str(), kWrite, 4 * kLarge);
  f.Write(data.data(), static_cast<UINT>(data.size()));
  const unsigned char* at = f.getActualBufferPosition();
  ASSERT_NE(at, nullptr);
  const unsigned char* block = at - data.size();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kLarge, 0u);
  EXPECT_TRUE(kwtest::MarkedForLargePages(block));
  EXPECT_TRUE(kwtest::MarkedForLargePages(block + 4 * kLarge - 1));
  f.Close();
  EXPECT_EQ(Contents(), data);
}

// A block size beyond any memory is no memory: the block is not there, and
// nothing is written outside one.
TEST_F(FileBufferTest, ABlockBeyondAnyMemoryIsRefused) {
  for (const unsigned long size : {0xFFFFFFFFFFFFFFC0ul, 0xFFFFFFFFFFE00001ul, 0xFFFFFFFFFFFFFFFFul}) {
    CFileBuffer f(m_path.c_str(), kWrite, size);
    f.Write("abc", 3);
    f.Seek(0, CFile::begin);
    EXPECT_EQ(f.getActualBufferPosition(), nullptr) << std::hex << size;
  }
}

// Seeks that only the file can judge still go to it: after Abort, and on a pipe,
// whose block never holds data (it has no length to fill one from).
TEST_F(FileBufferTest, SeeksTheBlockCannotAnswerGoToTheFile) {
  std::ofstream(m_dir + "/f.bin") << "abcdef";
  {
    CFileBuffer f(m_path.c_str(), kRead, 4);
    char c = 0;
    ASSERT_EQ(f.Read(&c, 1), 1u);
    f.Abort();
    EXPECT_TRUE(kwtest::Throws<CFileException>([&] { f.Seek(2, CFile::begin); }));
  }
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "xyz", 3), 3);
  close(ends[1]);
  const std::wstring input = kwfw::Utf8ToWide("/proc/self/fd/" + std::to_string(ends[0]));
  CFileBuffer f(input.c_str(), kRead, 16);
  char got[4] = {};
  f.Read(got, sizeof got);  // a pipe cannot fill a block
  EXPECT_TRUE(kwtest::Throws<CFileException>([&] { f.Seek(0, CFile::begin); }));
  EXPECT_TRUE(kwtest::Throws<CFileException>([&] { f.Seek(0, CFile::current); }));
  f.Close();
  close(ends[0]);
}

// A writer's block that moved on holds the earlier block's bytes in memory until
// someone may see them: whichever way the block is then handed out (its address,
// after a flush in place, bytes marked without being written), it shows zeros
// beyond what was written.
TEST_F(FileBufferTest, ABlockHandedOutHoldsZerosBeyondTheWrittenBytes) {
  const std::string written = std::string(20, 'a');  // with blocks of 16, the second starts at 16
  const std::string seen = std::string(4, 'a') + std::string(12, '\0');
  {
    CFileBuffer f(m_path.c_str(), kWrite, 16);
    f.Write(written.data(), 20);
    const unsigned char* at = f.getActualBufferPosition();
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(at) - 4, 16), seen);
  }
  {
    CFileBuffer f(m_path.c_str(), kWrite, 16);
    f.Write(written.data(), 20);
    f.Flush();
    const unsigned char* at = f.getActualBufferPosition();
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(at) - 4, 16), seen);
  }
  {
    CFileBuffer f(m_path.c_str(), kWrite, 16);
    f.Write(written.data(), 20);
    f.updateWriteBlockLimits(3);
  }
  EXPECT_EQ(Contents(), written + std::string(3, '\0'));
}

// Writes of all sizes with seeks anywhere, back into written data or past its end
// (gaps read as zeros), against a string holding what the file must hold; then
// reads at random places against it.
TEST_F(FileBufferTest, BehavesLikeAPlainFile) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    const unsigned long block = std::vector<unsigned long>{5, 64, 5000, 1 << 20}[seed % 4];
    std::string model;
    {
      CFileBuffer f(m_path.c_str(), kWrite, block);
      unsigned long long pos = 0;
      for (int step = 0; step < 60; ++step) {
        if (rng() % 5 == 0) {
          pos = rng() % (model.size() + 9000);
          ASSERT_EQ(f.Seek(static_cast<long long>(pos), CFile::begin), pos) << "seed " << seed << " step " << step;
          continue;
        }
        std::string piece(rng() % 3 == 0 ? rng() % 12000 : rng() % 20, '\0');
        for (char& c : piece) c = static_cast<char>('a' + rng() % 26);
        f.Write(piece.data(), static_cast<UINT>(piece.size()));
        if (!piece.empty()) {
          if (model.size() < pos + piece.size()) model.resize(pos + piece.size(), '\0');
          model.replace(pos, piece.size(), piece);
        }
        pos += piece.size();
        ASSERT_EQ(f.GetPosition(), pos) << "seed " << seed << " step " << step;
      }
    }
    const std::string written = Contents();
    const auto differ = std::mismatch(written.begin(), written.end(), model.begin(), model.end());
    ASSERT_TRUE(written == model) << "seed " << seed << ": " << written.size() << " bytes written, " << model.size()
                                  << " expected, first difference at " << (differ.first - written.begin());
    CFileBuffer f(m_path.c_str(), kRead, block);
    const auto size = static_cast<long long>(model.size());
    long long pos = 0;
    for (int step = 0; step < 40; ++step) {
      // Near the last read as often as anywhere: moves within the block and out of it.
      const long long at = rng() % 2 ? static_cast<long long>(rng() % (model.size() + 10))
                                     : std::max(0LL, pos + static_cast<long long>(rng() % 200) - 100);
      const UINT from = std::vector<UINT>{CFile::begin, CFile::current, CFile::end}[rng() % 3];
      const long long offset = at - (from == CFile::begin ? 0 : from == CFile::current ? pos : size);
      const UINT want = rng() % 2 ? rng() % 16 : rng() % 20000;
      ASSERT_EQ(f.Seek(offset, from), static_cast<unsigned long long>(at)) << "seed " << seed << " step " << step;
      std::string got(want, '#');
      const UINT n = f.Read(got.data(), want);
      const std::string expected = at < size ? model.substr(static_cast<std::size_t>(at), want) : "";
      ASSERT_EQ(got.substr(0, n), expected) << "seed " << seed << " step " << step;
      pos = at + n;
      ASSERT_EQ(f.GetPosition(), static_cast<unsigned long long>(pos)) << "seed " << seed << " step " << step;
    }
    // Before the start, from within the block.
    EXPECT_TRUE(kwtest::Throws<CFileException>([&] { f.Seek(-pos - 1, CFile::current); }));
  }
}

TEST_F(FileBufferTest, OpenFailureRaises) {
  bool thrown = false;
  try {
    CFileBuffer f((m_path + L".missing").c_str(), kRead, 16);
  } catch (CFileException* e) {
    thrown = e->m_cause == CFileException::fileNotFound;
    e->Delete();
  }
  EXPECT_TRUE(thrown);
}

}  // namespace
