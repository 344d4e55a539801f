#include <kwlib63/framework/ctime.h>

#include <kwlib63/framework/exception.h>

namespace {
bool InRange(__int64 t) { return t >= 0 && t <= CTime::kMaxTime; }
}  // namespace

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int dst) {
  if (year < 1900 || month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 59) {
    AfxThrowInvalidArgException();
  }
  struct tm t = {};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  t.tm_isdst = dst;
  const time_t made = mktime(&t);
  if (made == time_t(-1) || !InRange(made)) AfxThrowInvalidArgException();
  m_time = made;
}

CTime CTime::GetCurrentTime() { return CTime(static_cast<__int64>(time(nullptr))); }

struct tm* CTime::GetLocalTm(struct tm* tm) const {
  if (tm == nullptr || !InRange(m_time)) return nullptr;
  const time_t t = static_cast<time_t>(m_time);
  return localtime_r(&t, tm);
}

struct tm* CTime::GetGmtTm(struct tm* tm) const {
  if (tm == nullptr || !InRange(m_time)) return nullptr;
  const time_t t = static_cast<time_t>(m_time);
  return gmtime_r(&t, tm);
}

int CTime::LocalField(int tm::*field, int offset) const {
  struct tm t;
  return GetLocalTm(&t) != nullptr ? t.*field + offset : 0;
}

int CTime::GetYear() const { return LocalField(&tm::tm_year, 1900); }
int CTime::GetMonth() const { return LocalField(&tm::tm_mon, 1); }
int CTime::GetDay() const { return LocalField(&tm::tm_mday, 0); }
int CTime::GetHour() const { return LocalField(&tm::tm_hour, 0); }
int CTime::GetMinute() const { return LocalField(&tm::tm_min, 0); }
int CTime::GetSecond() const { return LocalField(&tm::tm_sec, 0); }
int CTime::GetDayOfWeek() const { return LocalField(&tm::tm_wday, 1); }
