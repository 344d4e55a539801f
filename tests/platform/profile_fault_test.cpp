// INI writes under injected disk faults: every call of a WritePrivateProfileStringW
// fails in turn, and the file keeps its old content or gets the whole new one.
#include <cerrno>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/profile.h>

#include "support/faultplan.h"
#include "support/tempdir.h"

namespace {

using kwtest::Fault;
using kwtest::FaultPlan;

constexpr char kBefore[] = "[Colours]\r\nInk=black\r\nPaper=white\r\n";
constexpr char kAfter[] = "[Colours]\r\nInk=blue\r\nPaper=white\r\n";

struct Written {
  BOOL ok;
  DWORD error;
};

TEST(ProfileFault, WriteLosesNothingAtAnyCall) {
  const kwtest::TempDir dir("kwlib-inifault");
  const std::string path = dir.At("app.ini");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  const auto counts = kwtest::RunEveryFault<Written>(
      [&] { std::ofstream(path, std::ios::binary | std::ios::trunc) << kBefore; },
      [&] {
        kwplat::SetLastError(0);
        const BOOL ok = kwplat::WritePrivateProfileStringW(L"Colours", L"Ink", L"blue", wide.c_str());
        return Written{ok, kwplat::GetLastError()};
      },
      [&](const Fault& fault, const Written& result, const FaultPlan& plan) {
        kwtest::ExpectReplaced(fault, result.ok != FALSE, plan, path, kBefore, kAfter);
        if (!result.ok) {
          EXPECT_EQ(result.error, fault.error == ENOSPC ? ERROR_DISK_FULL : ERROR_IO_DEVICE);
        }
      });
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(kwtest::Call::kWrite)], 0);
  EXPECT_GT(counts[static_cast<std::size_t>(kwtest::Call::kRename)], 0);
}

}  // namespace
