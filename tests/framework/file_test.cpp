// CFile: reading, writing and seeking a real file, its errors, and share modes
// kept by advisory locks between two open files.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/file.h>
#include <kwlib63/framework/textconv.h>

#include "support/tempdir.h"

namespace {

class FileTest : public ::testing::Test {
 protected:
  // The cause of the CFileException that `f` raises, or -1.
  template <typename F>
  static int CauseOf(F&& f) {
    try {
      f();
    } catch (CFileException* e) {
      const int cause = e->m_cause;
      e->Delete();
      return cause;
    }
    return -1;
  }

  kwtest::TempDir m_tmp{"kwlib-file"};
  std::string m_dir = m_tmp.Path();
  std::wstring m_path = kwfw::Utf8ToWide(m_tmp.At("dades.bin"));
};

TEST_F(FileTest, WriteSeekReadAndStatus) {
  {
    CFile f(m_path.c_str(), CFile::modeCreate | CFile::modeWrite | CFile::typeBinary);
    EXPECT_EQ(36865u, CFile::modeCreate | CFile::modeWrite | CFile::typeBinary);
    f.Write("hello world", 11);
    EXPECT_EQ(f.GetPosition(), 11u);
    EXPECT_EQ(f.Seek(-5, CFile::current), 6u);
    f.Write("WORLD", 5);
    EXPECT_EQ(f.GetLength(), 11u);
    f.SetLength(20);
    EXPECT_EQ(f.SeekToEnd(), 20u);
    f.Close();
    EXPECT_EQ(f.m_hFile, CFile::hFileNull);
  }
  CFile f;
  ASSERT_TRUE(f.Open(m_path.c_str(), CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary));
  char buf[32] = {};
  EXPECT_EQ(f.Read(buf, 32), 20u);  // short at the end
  EXPECT_STREQ(buf, "hello WORLD");
  EXPECT_EQ(f.Read(buf, 32), 0u);
  CFileStatus status;
  ASSERT_TRUE(f.GetStatus(status));
  EXPECT_EQ(status.m_size, 20u);
  EXPECT_EQ(f.GetFileName(), L"dades.bin");
  EXPECT_TRUE(CFile::GetStatus(m_path.c_str(), status));
  EXPECT_FALSE(CFile::GetStatus((m_path + L".no").c_str(), status));
  EXPECT_EQ(CauseOf([&] { f.Seek(-1, CFile::begin); }), CFileException::badSeek);
}

TEST_F(FileTest, OpenErrors) {
  CFile f;
  CFileException error;
  EXPECT_FALSE(f.Open((m_path + L".missing").c_str(), CFile::modeRead, &error));
  EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
  EXPECT_EQ(error.m_lOsError, 2);
  EXPECT_FALSE(f.Open(kwfw::Utf8ToWide(m_dir).c_str(), CFile::modeRead, &error));
  EXPECT_EQ(error.m_cause, CFileException::accessDenied);
  EXPECT_FALSE(f.Open(kwfw::Utf8ToWide(m_dir + "/no/such/dir/x").c_str(), CFile::modeCreate | CFile::modeWrite, &error));
  EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
  EXPECT_EQ(CauseOf([&] { CFile g((m_path + L".missing").c_str(), CFile::modeRead); }), CFileException::fileNotFound);
  EXPECT_EQ(CauseOf([&] { CFile::Remove((m_path + L".missing").c_str()); }), CFileException::fileNotFound);
}

TEST_F(FileTest, ShareModesExcludeEachOther) {
  {
    CFile create(m_path.c_str(), CFile::modeCreate | CFile::modeWrite);
    create.Write("keep", 4);
  }
  CFile reader(m_path.c_str(), CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary);
  CFile other;
  CFileException error;
  // A writer is refused, and the file is not truncated by the attempt.
  EXPECT_FALSE(other.Open(m_path.c_str(), CFile::modeCreate | CFile::modeWrite, &error));
  EXPECT_EQ(error.m_cause, CFileException::sharingViolation);
  EXPECT_EQ(reader.GetLength(), 4u);
  // Another reader is welcome.
  EXPECT_TRUE(other.Open(m_path.c_str(), CFile::modeRead | CFile::shareDenyNone));
  other.Close();
  // Exclusive use is refused while someone reads; granted once nobody does.
  EXPECT_FALSE(other.Open(m_path.c_str(), CFile::modeRead | CFile::shareExclusive, &error));
  reader.Close();
  EXPECT_TRUE(other.Open(m_path.c_str(), CFile::modeReadWrite | CFile::shareExclusive));
  CFile third;
  EXPECT_FALSE(third.Open(m_path.c_str(), CFile::modeRead | CFile::shareDenyNone, &error));
  other.LockRange(0, 2);
  other.UnlockRange(0, 2);
}

// A FIFO read to its end: the file holds no descriptor of its own that writes to
// it, so once the last writer goes a read sees the end instead of waiting for ever.
TEST_F(FileTest, AFifoReachesItsEndWhenItsWritersGo) {
  const std::string fifo = m_tmp.At("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);  // never blocks, unlike a write-only open
  ASSERT_GE(writer, 0);
  CFile reader(kwfw::Utf8ToWide(fifo).c_str(), CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary);
  ASSERT_EQ(write(writer, "abc", 3), 3);
  close(writer);
  pollfd end{reader.m_hFile, POLLIN, 0};
  ASSERT_EQ(poll(&end, 1, 0), 1);
  // Checked before reading: with a writer left, the read would wait for ever.
  ASSERT_NE(end.revents & POLLHUP, 0) << "a writer is left on the FIFO";
  char got[8] = {};
  EXPECT_EQ(reader.Read(got, sizeof got), 3u);
  EXPECT_EQ(std::string(got, 3), "abc");
  EXPECT_EQ(reader.Read(got, sizeof got), 0u);
}

}  // namespace
