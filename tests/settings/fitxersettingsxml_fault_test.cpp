// XML settings saved under injected disk faults: every call of a SetString's save
// fails in turn; the caller gets 0 and the file keeps its old content, or gets 1
// and the whole new content.
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/settings/fitxersettingsxml.h>

#include "support/faultplan.h"
#include "support/tempdir.h"

namespace {

using kwtest::Fault;
using kwtest::FaultPlan;

TEST(XmlSettingsFault, SaveLosesNothingAtAnyCall) {
  const kwtest::TempDir dir("kwlib-xmlfault");
  const std::string path = dir.At("settings.xml");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  ASSERT_EQ(CFitxerSettingsXML(wide.c_str()).SetString(L"Colours", L"Ink", L"black"), 1);
  const std::string before = kwtest::ReadBytes(path);
  std::string after;  // the file of the fault-free run
  const auto counts = kwtest::RunEveryFault<int>(
      [&] { kwtest::WriteBytes(path, before); },
      [&] {
        const int result = CFitxerSettingsXML(wide.c_str()).SetString(L"Colours", L"Ink", L"blue");
        if (after.empty()) after = kwtest::ReadBytes(path);
        return result;
      },
      [&](const Fault& fault, const int& result, const FaultPlan& plan) {
        EXPECT_TRUE(result == 0 || result == 1) << result;
        kwtest::ExpectReplaced(fault, result == 1, plan, path, before, after);
      });
  EXPECT_NE(after.find("blue"), std::string::npos) << after;
  EXPECT_EQ(after.find("black"), std::string::npos) << after;
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(kwtest::Call::kWrite)], 0);
}

}  // namespace
