// Kernel dates: what a script cannot see through the library's handlers (NaN answers, Try
// outputs left alone, text written into cells with the payload count kept, settings other
// than the defaults), plus the calendar walked day by day against year, month and day.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "kernel_fixture.h"
#include "vkl/format_settings.h"
#include "vkl/vk_dates.h"

namespace {

using DatesTest = KernelTest;

TEST(DatesCalendar, EveryDayRoundTripsAndStepsTheWeek) {
  int expected_dow = 2;  // 0001-01-01 was a Monday
  for (int day = -693593; day <= 2958465; ++day) {
    uint16_t y, m, d, dow;
    // 18:00 of the day: before 1899-12-30 the fraction is subtracted
    VK_DecodeDateFully(day >= 0 ? day + 0.75 : day - 0.75, &y, &m, &d, &dow);
    ASSERT_EQ(VK_EncodeDate(y, m, d), day) << y << "-" << m << "-" << d;
    ASSERT_EQ(dow, expected_dow) << day;
    expected_dow = expected_dow % 7 + 1;
  }
  EXPECT_EQ(VK_EncodeDate(1899, 12, 30), 0);
  EXPECT_EQ(VK_EncodeDate(2000, 2, 29), 36585);
}

TEST(DatesCalendar, InvalidPartsAnswerNaNAndTryLeavesItsOutput) {
  for (auto [y, m, d] : {std::array{0, 1, 1}, {10000, 1, 1}, {2023, 2, 29}, {2024, 13, 1},
                          {2024, 0, 1}, {2024, 4, 31}, {-5, 1, 1}}) {
    EXPECT_TRUE(std::isnan(VK_EncodeDate(y, m, d))) << y << "-" << m << "-" << d;
    double out = 123.0;
    EXPECT_EQ(VK_TryEncodeDate(y, m, d, &out), 0);
    EXPECT_EQ(out, 123.0);
  }
  double out = 5.0;
  EXPECT_EQ(VK_TryEncodeTime(24, 0, 0, 0, &out), 0);
  EXPECT_EQ(VK_TryEncodeTime(1, -1, 0, 0, &out), 0);
  EXPECT_EQ(out, 5.0);
  EXPECT_EQ(VK_TryStrToDate("not a date", -1, nullptr, &out), 0);
  EXPECT_EQ(out, 5.0);
  EXPECT_TRUE(std::isnan(VK_StrToDateTime("2024-01-01 25:00", -1, nullptr)));
  EXPECT_TRUE(std::isnan(VK_IncMonth(NAN, 1)));
  EXPECT_TRUE(std::isnan(VK_IncMonth(VK_EncodeDate(9999, 12, 1), 1)));
  EXPECT_EQ(VK_DayOfWeek(1e300), 0);
  uint16_t y = 1, m = 1, d = 1, dow = 1;
  EXPECT_EQ(VK_DecodeDateFully(NAN, &y, &m, &d, &dow), 0);
  EXPECT_EQ(y + m + d + dow, 0);
}

TEST(DatesCalendar, IncAMonthWorksOnSixteenBitParts) {
  uint16_t y = 2024, m = 13, d = 31;
  EXPECT_EQ(VK_IncAMonth(&y, &m, &d, 1), 0);
  EXPECT_EQ(y, 2024);
  m = 1;
  EXPECT_EQ(VK_IncAMonth(&y, &m, &d, 1), 1);
  EXPECT_EQ(y * 10000 + m * 100 + d, 20240229);
  EXPECT_EQ(VK_IncAMonth(&y, &m, &d, -14), 1);
  EXPECT_EQ(y * 10000 + m * 100 + d, 20221229);
}

TEST(DatesCalendar, FileDatesAreUnixTimesInLocalTime) {
  const double dt = VK_EncodeDate(2021, 6, 15) + VK_EncodeTime(13, 45, 10, 0);
  const int64_t t = VK_DateTimeToFileDate(dt);
  EXPECT_GT(t, 1600000000);
  EXPECT_DOUBLE_EQ(VK_FileDateToDateTime(t), dt);
  EXPECT_EQ(VK_DateTimeToFileDate(VK_EncodeDate(1969, 12, 1)), 0);
  EXPECT_EQ(VK_DateTimeToFileDate(VK_EncodeDate(2039, 1, 1)), 0);
}

// A kernel-made text as a string, the buffer released.
template <class C>
std::basic_string<C> taken(C* p, const int64_t& len) {  // len read after the call
  EXPECT_NE(p, nullptr);
  std::basic_string<C> s(p, static_cast<size_t>(len));
  EXPECT_EQ(p[len], 0);
  VKL_Free(p);
  return s;
}

TEST(DatesText, BuffersOfEitherWidth) {
  const double dt = VK_EncodeDate(2024, 3, 5) + VK_EncodeTime(14, 7, 9, 45);
  int64_t n = -1;
  const char* f = "dddd d mmmm yyyy h:nn am/pm";
  EXPECT_EQ(taken(VK_FormatDateTime(f, -1, dt, nullptr, &n), n), "Tuesday 5 March 2024 2:07 pm");
  EXPECT_EQ(taken(VK_FormatDateTimeW(u"'\u65e5' yy/mm/dd hh:nn:ss.zzz", -1, dt, nullptr, &n), n),
            u"\u65e5 24-03-05 14:07:09.045");
  // An embedded zero is text like any other.
  EXPECT_EQ(taken(VK_FormatDateTime("d\0m", 3, dt, nullptr, &n), n), std::string("5\0" "3", 3));
  EXPECT_EQ(taken(VK_DateTimeToStr(VK_EncodeDate(2024, 3, 5), nullptr, &n), n), "2024-03-05");
}

TEST_F(DatesTest, DateTimeToStringWritesTheCellAndCountsIt) {
  const double dt = VK_EncodeDate(2024, 3, 5) + 0.5;
  ASSERT_EQ(VK_DateTimeToString(L, &cells[0], "", 0, dt, nullptr), 1);
  EXPECT_STREQ(VKL_AsString(&cells[0]), "2024-03-05 12:00:00");
  EXPECT_GT(VKL_GetMemUsed(L), 0);
  ASSERT_EQ(VK_DateTimeToStringW(L, &cells[0], u"hh", -1, dt, nullptr), 1);
  EXPECT_EQ(std::u16string(VKL_AsWString(&cells[0])), u"12");
}

TEST(DatesText, SettingsDecideOrderSeparatorsNamesAndTheYearWindow) {
  VKL_FormatSettings fs;
  VKL_DefaultGFormat(&fs);
  strcpy(fs.shortDateFormat, "dd/mm/yy");
  fs.dateSeparator = '.';
  fs.timeSeparator = 'h';
  strcpy(fs.longMonthNames[2], "Maerz");
  const double dt = VK_EncodeDate(2024, 3, 5) + VK_EncodeTime(9, 30, 0, 0);
  int64_t n = 0;
  EXPECT_EQ(taken(VK_DateTimeToStr(dt, &fs, &n), n), "05.03.24 09h30h00");
  EXPECT_EQ(taken(VK_FormatDateTime("mmmm", -1, dt, &fs, &n), n), "Maerz");
  double out = 0;
  ASSERT_EQ(VK_TryStrToDate("5.3.24", -1, &fs, &out), 1);
  EXPECT_EQ(out, VK_EncodeDate(2024, 3, 5));
  ASSERT_EQ(VK_TryStrToDateTime("5.3.2024 9h30", -1, &fs, &out), 1);
  EXPECT_EQ(out, dt);
  fs.twoDigitYearCenturyWindow = 0;  // no window: the current century
  ASSERT_EQ(VK_TryStrToDate("5.3.99", -1, &fs, &out), 1);
  EXPECT_EQ(out, VK_EncodeDate(VK_CurrentYear() / 100 * 100 + 99, 3, 5));
}

}  // namespace
