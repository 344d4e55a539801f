// Record files written under injected disk faults: every call of the open, the
// writes and the close fails in turn. The caller is told (a result code or an
// error shown) of every failure that costs data, and a run told of nothing leaves
// a file that reads back whole.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>

#include "filefault_support.h"
#include "support/recorders.h"
#include "support/tempdir.h"

namespace {

using kwtest::Call;
using kwtest::Fault;
using kwtest::FaultPlan;

struct Outcome {
  bool opened = false;
  int header = -1;
  int record = -1;
  std::size_t shown = 0;  // errors shown to the user
  bool Told() const { return !opened || header != 0 || record != 0 || shown != 0; }
};

TEST(SerializerFault, WriteAndCloseTellEveryFault) {
  const kwtest::TempDir dir("kwlib-recordfault");
  const std::string path = dir.At("records.dat");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  const std::string before = "an older file";
  char payload[] = "the record's data";
  std::string written;  // the file of a fault-free run
  const auto counts = kwtest::RunEveryFault<Outcome>(
      [&] { kwtest::WriteBytes(path, before); },
      [&] {
        kwtest::MessageBoxRecorder boxes;
        Outcome out;
        TSerializer* s = TSerializer::Open(wide.c_str(), 1);
        out.opened = s != nullptr;
        if (s != nullptr) {
          out.header = s->CreateHeader(7, 1, 2, 3);
          s->Push();
          out.record = s->WriteRecord(payload, sizeof payload, 42);
          TSerializer::Close(s);
        }
        out.shown = boxes.boxes.size();
        if (written.empty() && !out.Told()) written = kwtest::ReadBytes(path);
        return out;
      },
      [&](const Fault& fault, const Outcome& result, const FaultPlan&) {
        const Call c = fault.call;
        if (kwtest::Transient(fault)) {
          EXPECT_FALSE(result.Told());
        } else if (c == Call::kWrite || c == Call::kLseek || c == Call::kFtruncate) {
          EXPECT_TRUE(result.Told());
        }
        const std::string content = kwtest::ReadBytes(path);
        if (!result.Told()) {
          EXPECT_EQ(content, written);
        }
        // Opening for writing empties the file only once the open has succeeded.
        if (!result.opened) {
          EXPECT_EQ(content, before);
        }
      });
  ASSERT_EQ(written.size(), KW_SER_FILEHEADER + KW_SER_RECORDHEADER + sizeof payload);
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kWrite)], 0);
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kClose)], 0);
}

}  // namespace
