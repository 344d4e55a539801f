// CTime: an absolute time in seconds since 1970-01-01 UTC. Broken-down times are
// given for the range Windows converts, 1970-01-01 00:00:00 to 3000-12-31 23:59:59
// UTC; outside it the conversions fail.
#pragma once

#include <compare>
#include <ctime>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CTime {
 public:
  static constexpr __int64 kMaxTime = 32535215999LL;  // 3000-12-31 23:59:59 UTC, the last one converted

  CTime() = default;
  CTime(__int64 time) : m_time(time) {}
  // A local time; `dst` is 1 for summer time, 0 for standard time, -1 to let the
  // system decide. Raises CInvalidArgException for a date it cannot represent.
  CTime(int year, int month, int day, int hour, int minute, int second, int dst = -1);

  static CTime GetCurrentTime();

  __int64 GetTime() const { return m_time; }
  // Fills `tm` and returns it, or returns null when the time is out of range.
  struct tm* GetLocalTm(struct tm* tm) const;
  struct tm* GetGmtTm(struct tm* tm) const;

  // Fields of the local time (0 when out of range). Months and days count from 1,
  // the day of the week from 1 for Sunday.
  int GetYear() const;
  int GetMonth() const;
  int GetDay() const;
  int GetHour() const;
  int GetMinute() const;
  int GetSecond() const;
  int GetDayOfWeek() const;

  friend auto operator<=>(const CTime&, const CTime&) = default;

 private:
  int LocalField(int tm::*field, int offset) const;
  __int64 m_time = 0;
};
