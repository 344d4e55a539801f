// CFileBuffer appends under injected disk faults: every call of open, write,
// flush and close fails in turn; the caller gets the CFileException and the bytes
// already in the file stay.
#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/filebuffer.h>

#include "filefault_support.h"
#include "support/tempdir.h"

namespace {

using kwtest::Call;
using kwtest::Fault;
using kwtest::FaultPlan;

struct Outcome {
  bool ok = true;
  int cause = -1;
  LONG osError = 0;
};

TEST(FileBufferFault, FlushReportsEveryFaultAndKeepsTheFile) {
  const kwtest::TempDir dir("kwlib-bufferfault");
  const std::string path = dir.At("data.bin");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  const std::string before = "first block of data\n";
  const std::string appended = "second block, appended\n";
  const auto counts = kwtest::RunEveryFault<Outcome>(
      [&] { kwtest::WriteBytes(path, before); },
      [&] {
        try {
          CFileBuffer file(wide.c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite, 4096);
          file.Seek(0, CFile::end);
          file.Write(appended.data(), static_cast<UINT>(appended.size()));
          file.Flush();
          file.Close();
          return Outcome{};
        } catch (CFileException* e) {
          const Outcome told{false, e->m_cause, e->m_lOsError};
          e->Delete();
          return told;
        }
      },
      [&](const Fault& fault, const Outcome& result, const FaultPlan&) {
        const Call c = fault.call;
        const std::string content = kwtest::ReadBytes(path);
        if (kwtest::Transient(fault)) {
          EXPECT_TRUE(result.ok);
        } else if (c == Call::kWrite || c == Call::kFsync || c == Call::kLseek ||
                   (c == Call::kOpen && fault.position == 1)) {
          EXPECT_FALSE(result.ok);
        }
        if (result.ok) {
          EXPECT_EQ(content, before + appended);
        } else {
          EXPECT_EQ(result.cause, kwtest::CauseOf(fault));
          EXPECT_EQ(result.osError, kwtest::OsErrorOf(fault));
          // The destructor writes what the failed flush left, so either is whole.
          EXPECT_TRUE(content == before || content == before + appended) << content;
        }
      });
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kWrite)], 0);
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kFsync)], 0);
}

// A block that moves on while its write fails keeps what it held and is shown
// with zeros around the bytes written into it afterwards, as a block that never
// held anything: the earlier block's bytes reach neither the caller nor the file.
TEST(FileBufferFault, AFailedMoveShowsNoEarlierBytes) {
  const kwtest::TempDir dir("kwlib-bufferfault");
  const std::string path = dir.At("data.bin");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  {
    CFileBuffer file(wide.c_str(), CFile::modeCreate | CFile::modeWrite, 16);
    file.Write(std::string(16, 'A').data(), 16);
    file.Write(std::string(4, 'B').data(), 4);  // a second block, holding the first's bytes
    file.Seek(32, CFile::begin);
    {
      const kwtest::FaultPlan plan(kwtest::Fault{kwtest::Call::kWrite, 1, ENOSPC});
      file.Write("C", 1);  // moving the block fails: the write is dropped
      ASSERT_TRUE(plan.Fired());
    }
    file.Seek(16, CFile::begin);
    const unsigned char* at = file.getActualBufferPosition();
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(at), 16), std::string(4, 'B') + std::string(12, '\0'));
    file.updateWriteBlockLimits(16);
    try {
      file.Close();
    } catch (CFileException* e) {
      e->Delete();  // the dropped write is reported here
    }
  }
  EXPECT_EQ(kwtest::ReadBytes(path), std::string(16, 'A') + std::string(4, 'B') + std::string(12, '\0'));
}

}  // namespace
