// CTime: broken-down times inside the range Windows converts, and failures outside.
#include <gtest/gtest.h>

#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/exception.h>

namespace {

TEST(CTime, FieldsOfALocalTime) {  // the tests run with TZ=UTC
  const CTime t(2024, 3, 5, 14, 7, 9);
  EXPECT_EQ(t.GetTime(), 1709647629);
  EXPECT_EQ(t.GetYear(), 2024);
  EXPECT_EQ(t.GetMonth(), 3);
  EXPECT_EQ(t.GetDay(), 5);
  EXPECT_EQ(t.GetHour(), 14);
  EXPECT_EQ(t.GetMinute(), 7);
  EXPECT_EQ(t.GetSecond(), 9);
  EXPECT_EQ(t.GetDayOfWeek(), 3);  // Tuesday, counting Sunday as 1
  EXPECT_LT(CTime(1), t);
}

TEST(CTime, ConversionsFailOutsideTheWindowsRange) {
  struct tm tm;
  EXPECT_EQ(CTime(-1).GetLocalTm(&tm), nullptr);
  EXPECT_EQ(CTime(32535216000LL).GetGmtTm(&tm), nullptr);
  EXPECT_NE(CTime(32535215999LL).GetGmtTm(&tm), nullptr);
  EXPECT_EQ(tm.tm_year, 1100);
  EXPECT_EQ(CTime(-1).GetYear(), 0);
}

TEST(CTime, InvalidDatesRaiseInvalidArg) {
  for (auto make : {+[] { CTime(2024, 13, 1, 0, 0, 0); }, +[] { CTime(1969, 12, 31, 0, 0, 0); },
                    +[] { CTime(2024, 1, 1, 24, 0, 0); }}) {
    bool thrown = false;
    try {
      make();
    } catch (CInvalidArgException* e) {
      thrown = true;
      e->Delete();
    }
    EXPECT_TRUE(thrown);
  }
}

}  // namespace
