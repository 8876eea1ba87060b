// Calendar routines of the kernel: the clock, encoding and decoding, day of week, month steps,
// ISO week dates and Unix file dates. Invalid input answers NaN or 0, never a trap.
#include <vkl/vk_dates.h>

#include <cmath>
#include <ctime>
#include <limits>

#include "date_parts.h"

namespace vkl::kernel::dates {

namespace {

constexpr int kMonthDays[2][12] = {{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                                   {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};
constexpr int64_t kDays400 = 146'097, kDays100 = 36'524, kDays4 = 1'461;

}  // namespace

bool is_leap(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int days_in_month(int year, int month) { return kMonthDays[is_leap(year)][month - 1]; }

bool to_stamp(double dt, Stamp* out) {
  // Beyond this no valid date lies, and the millisecond count cannot overflow.
  if (!(std::fabs(dt) < 4e6)) return false;
  const auto ms = static_cast<int64_t>(std::nearbyint(dt * kMsPerDay));
  const int64_t day = kDateDelta + ms / kMsPerDay;
  if (day < 1 || day > kMaxDay) return false;
  *out = {day, (ms < 0 ? -ms : ms) % kMsPerDay};
  return true;
}

Ymd day_to_ymd(int64_t day) {
  int64_t t = day - 1;
  int64_t year = 1 + t / kDays400 * 400;
  t %= kDays400;
  int64_t n = t / kDays100;
  t %= kDays100;
  if (n == 4) --n, t += kDays100;  // the last day of a 400-year cycle
  year += n * 100 + t / kDays4 * 4;
  t %= kDays4;
  n = t / 365;
  t %= 365;
  if (n == 4) --n, t += 365;  // the last day of a leap cycle
  year += n;
  const int y = static_cast<int>(year);
  int month = 1;
  while (t >= days_in_month(y, month)) t -= days_in_month(y, month++);
  return {y, month, static_cast<int>(t) + 1};
}

int64_t ymd_to_day(int year, int month, int day) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > days_in_month(year, month))
    return 0;
  const int64_t y = year - 1;
  int64_t n = y * 365 + y / 4 - y / 100 + y / 400 + day;
  for (int m = 1; m < month; ++m) n += days_in_month(year, m);
  return n;
}

}  // namespace vkl::kernel::dates

using namespace vkl::kernel::dates;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double now_parts(bool date, bool time) {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm local{};
  if (!localtime_r(&ts.tv_sec, &local)) return kNaN;
  double result = 0;
  if (date) result = VK_EncodeDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  if (time)
    result += VK_EncodeTime(local.tm_hour, local.tm_min, local.tm_sec % 60,
                            static_cast<int>(ts.tv_nsec / 1'000'000));
  return result;
}

// ISO day of week, 1 Monday .. 7 Sunday; 0001-01-01 was a Monday.
int iso_day_of_week(int64_t day) { return static_cast<int>((day - 1) % 7) + 1; }

int weeks_in_year(int year) {
  const int jan1 = iso_day_of_week(ymd_to_day(year, 1, 1));
  return jan1 == 4 || (jan1 == 3 && is_leap(year)) ? 53 : 52;
}

}  // namespace

double VK_Now(void) { return now_parts(true, true); }
double VK_Date(void) { return now_parts(true, false); }
double VK_Time(void) { return now_parts(false, true); }
double VK_Today(void) { return VK_Date(); }
double VK_Yesterday(void) { return VK_Date() - 1; }
double VK_Tomorrow(void) { return VK_Date() + 1; }

uint16_t VK_CurrentYear(void) {
  uint16_t year = 0, month = 0, day = 0;
  VK_DecodeDate(VK_Date(), &year, &month, &day);
  return year;
}

int VK_IsLeapYear(int year) { return is_leap(year) ? 1 : 0; }

double VK_EncodeDate(int year, int month, int day) {
  const int64_t n = ymd_to_day(year, month, day);
  return n ? static_cast<double>(n - kDateDelta) : kNaN;
}

double VK_EncodeTime(int hour, int minute, int second, int msec) {
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 ||
      msec < 0 || msec > 999)
    return kNaN;
  const int64_t ms = ((hour * 60LL + minute) * 60 + second) * 1000 + msec;
  return static_cast<double>(ms) / kMsPerDay;
}

int VK_TryEncodeDate(int year, int month, int day, double* out) {
  const double d = VK_EncodeDate(year, month, day);
  if (std::isnan(d)) return 0;
  *out = d;
  return 1;
}

int VK_TryEncodeTime(int hour, int minute, int second, int msec, double* out) {
  const double t = VK_EncodeTime(hour, minute, second, msec);
  if (std::isnan(t)) return 0;
  *out = t;
  return 1;
}

int VK_TryEncodeDateWeek(int year, int week, int dayOfWeek, double* out) {
  if (year < 1 || year > 9999 || week < 1 || week > weeks_in_year(year) || dayOfWeek < 1 ||
      dayOfWeek > 7)
    return 0;
  const int64_t jan1 = ymd_to_day(year, 1, 1);
  const int start = iso_day_of_week(jan1);
  // Week 1 starts on the Monday on or before January 1st when that is a Monday to Thursday,
  // else on the Monday after.
  const int64_t monday1 = start <= 4 ? jan1 - (start - 1) : jan1 + (8 - start);
  const int64_t day = monday1 + (week - 1) * 7 + (dayOfWeek - 1);
  if (day < 1 || day > kMaxDay) return 0;
  *out = static_cast<double>(day - kDateDelta);
  return 1;
}

int VK_DecodeDateFully(double dt, uint16_t* year, uint16_t* month, uint16_t* day,
                       uint16_t* dayOfWeek) {
  Stamp s{};
  if (!to_stamp(dt, &s)) {
    *year = *month = *day = *dayOfWeek = 0;
    return 0;
  }
  const Ymd d = day_to_ymd(s.day);
  *year = static_cast<uint16_t>(d.year);
  *month = static_cast<uint16_t>(d.month);
  *day = static_cast<uint16_t>(d.day);
  *dayOfWeek = static_cast<uint16_t>(s.day % 7 + 1);
  return is_leap(d.year) ? 1 : 0;
}

void VK_DecodeDate(double dt, uint16_t* year, uint16_t* month, uint16_t* day) {
  uint16_t dayOfWeek = 0;
  VK_DecodeDateFully(dt, year, month, day, &dayOfWeek);
}

void VK_DecodeTime(double dt, uint16_t* hour, uint16_t* minute, uint16_t* second,
                   uint16_t* msec) {
  Stamp s{};
  if (!to_stamp(dt, &s)) s.ms = 0;
  *hour = static_cast<uint16_t>(s.ms / 3'600'000);
  *minute = static_cast<uint16_t>(s.ms / 60'000 % 60);
  *second = static_cast<uint16_t>(s.ms / 1000 % 60);
  *msec = static_cast<uint16_t>(s.ms % 1000);
}

int VK_DayOfWeek(double dt) {
  Stamp s{};
  return to_stamp(dt, &s) ? static_cast<int>(s.day % 7) + 1 : 0;
}

double VK_IncMonth(double dt, int months) {
  Stamp s{};
  if (!to_stamp(dt, &s)) return kNaN;
  const Ymd d = day_to_ymd(s.day);
  const int64_t total = d.year * 12LL + (d.month - 1) + months;
  if (total < 12 || total >= 10000 * 12LL) return kNaN;
  const int year = static_cast<int>(total / 12), month = static_cast<int>(total % 12) + 1;
  const int day = d.day < days_in_month(year, month) ? d.day : days_in_month(year, month);
  const double date = static_cast<double>(ymd_to_day(year, month, day) - kDateDelta);
  // The time of day counts forward from midnight on either side of 1899-12-30.
  const double time = std::fabs(dt - std::trunc(dt));
  return date >= 0 ? date + time : date - time;
}

int VK_IncAMonth(uint16_t* year, uint16_t* month, uint16_t* day, int months) {
  if (*month < 1 || *month > 12) return 0;
  const int sign = months >= 0 ? 1 : -1;
  auto y = static_cast<uint16_t>(*year + months / 12);
  auto m = static_cast<uint16_t>(*month + months % 12);
  if (static_cast<uint16_t>(m - 1) > 11) {
    y = static_cast<uint16_t>(y + sign);
    m = static_cast<uint16_t>(m - 12 * sign);
  }
  const int last = days_in_month(y, m);
  if (*day > last) *day = static_cast<uint16_t>(last);
  *year = y;
  *month = m;
  return 1;
}

double VK_FileDateToDateTime(int64_t fileDate) {
  const auto t = static_cast<time_t>(fileDate);
  tm local{};
  if (!localtime_r(&t, &local)) return kNaN;
  return VK_EncodeDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) +
         VK_EncodeTime(local.tm_hour, local.tm_min, local.tm_sec % 60, 0);
}

int64_t VK_DateTimeToFileDate(double dt) {
  Stamp s{};
  if (!to_stamp(dt, &s)) return 0;
  const Ymd d = day_to_ymd(s.day);
  if (d.year < 1970 || d.year > 2038) return 0;
  tm local{};
  local.tm_year = d.year - 1900;
  local.tm_mon = d.month - 1;
  local.tm_mday = d.day;
  local.tm_hour = static_cast<int>(s.ms / 3'600'000);
  local.tm_min = static_cast<int>(s.ms / 60'000 % 60);
  local.tm_sec = static_cast<int>(s.ms / 1000 % 60);
  local.tm_isdst = -1;  // let the zone decide summer time
  const time_t t = mktime(&local);
  return t == static_cast<time_t>(-1) ? 0 : static_cast<int64_t>(t);
}
