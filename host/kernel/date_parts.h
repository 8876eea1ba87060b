// The calendar arithmetic shared by the date routines: a date-time split into whole days and
// milliseconds, and days converted to and from year, month and day.
#pragma once

#include <cstdint>

namespace vkl::kernel::dates {

constexpr int64_t kMsPerDay = 86'400'000;
// Days from 0001-01-01 (day 1) to 1899-12-30 (date-time 0).
constexpr int64_t kDateDelta = 693'594;
// The last valid day, 9999-12-31, counted from 0001-01-01 as day 1.
constexpr int64_t kMaxDay = 3'652'059;

// A date-time split: `day` counts from 0001-01-01 as 1, `ms` is the time of day.
struct Stamp {
  int64_t day;
  int64_t ms;
};

// False for NaN, infinities and values beyond the valid dates.
bool to_stamp(double dt, Stamp* out);

struct Ymd {
  int year, month, day;
};

bool is_leap(int year);
int days_in_month(int year, int month);
// Day `day` (1 .. kMaxDay) as year, month and day.
Ymd day_to_ymd(int64_t day);
// 0 when the parts are not a valid date, else the day counted as in Stamp.
int64_t ymd_to_day(int year, int month, int day);

}  // namespace vkl::kernel::dates
