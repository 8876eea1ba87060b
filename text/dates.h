// The date functions: the system group's dates (encodedate ... formatdatetime, the file dates,
// the w twins of the date texts) and the clock and calendar functions with their own handler.
#pragma once

#include <vkl/coded.h>
#include <vkl/kernel.h>
#include <vkl/vk_dates.h>

#include "text/coded.h"

namespace vkl::text {

int date_routine(VKL_State* L, TObject* args, TObject* result, int code);

inline constexpr int32_t kNum3[] = {VKL_ARG_NUMBER, VKL_ARG_NUMBER, VKL_ARG_NUMBER};
inline constexpr int32_t kNum4[] = {VKL_ARG_NUMBER, VKL_ARG_NUMBER, VKL_ARG_NUMBER,
                                    VKL_ARG_NUMBER};

inline constexpr CodedFunction kDateFunctions[] = {
    {"encodedate", "encodedate(year, month, day)", "the date of year, month and day",
     number_fn(32, 3, date_routine)},
    {"encodetime", "encodetime(hour, minute, second, msec)", "the time of day as a fraction",
     number_fn(33, 4, date_routine)},
    {"tryencodedate", "tryencodedate(year, month, day, date)",
     "1 and the date in date when the parts make one, else 0",
     text_fn(34, kNum3, date_routine, 1)},
    {"tryencodetime", "tryencodetime(hour, minute, second, msec, time)",
     "1 and the time in time when the parts make one, else 0",
     text_fn(35, kNum4, date_routine, 1)},
    {"decodedate", "decodedate(date, year, month, day)", "the parts of a date",
     text_fn(36, kNum, date_routine, 3, kNoResult)},
    {"decodedatefully", "decodedatefully(date, year, month, day, dayofweek)",
     "the parts of a date and its day of week (1 Sunday)",
     text_fn(37, kNum, date_routine, 4, kNoResult)},
    {"decodetime", "decodetime(date, hour, minute, second, msec)", "the parts of a time",
     text_fn(38, kNum, date_routine, 4, kNoResult)},
    {"dayofweek", "dayofweek(date)", "1 Sunday .. 7 Saturday", number_fn(39, 1, date_routine)},
    {"incmonth", "incmonth(date, months)", "the date months later, the day clamped",
     number_fn(40, 2, date_routine)},
    {"isleapyear", "isleapyear(year)", "1 for a leap year", number_fn(41, 1, date_routine)},
    {"datetostr", "datetostr(date)", "the date in the short date format",
     text_fn(42, kNum, date_routine)},
    {"timetostr", "timetostr(date)", "the time in the long time format",
     text_fn(43, kNum, date_routine)},
    {"datetimetostr", "datetimetostr(date)", "the date, and the time unless midnight",
     text_fn(44, kNum, date_routine)},
    {"strtodate", "strtodate(s)", "the date in s; fails when there is none",
     text_fn(45, kStr, date_routine)},
    {"strtodatedef", "strtodatedef(s, default)", "the date in s, or default",
     text_fn(46, kStrNum, date_routine)},
    {"trystrtodate", "trystrtodate(s, date)", "1 and the date of s in date, or 0",
     text_fn(47, kStr, date_routine, 1)},
    {"strtotime", "strtotime(s)", "the time in s; fails when there is none",
     text_fn(48, kStr, date_routine)},
    {"strtotimedef", "strtotimedef(s, default)", "the time in s, or default",
     text_fn(49, kStrNum, date_routine)},
    {"trystrtotime", "trystrtotime(s, time)", "1 and the time of s in time, or 0",
     text_fn(50, kStr, date_routine, 1)},
    {"strtodatetime", "strtodatetime(s)", "the date and time in s; fails when there is none",
     text_fn(51, kStr, date_routine)},
    {"strtodatetimedef", "strtodatetimedef(s, default)", "the date and time in s, or default",
     text_fn(52, kStrNum, date_routine)},
    {"trystrtodatetime", "trystrtodatetime(s, date)", "1 and the date-time of s in date, or 0",
     text_fn(53, kStr, date_routine, 1)},
    {"formatdatetime", "formatdatetime(format, date)", "the date as the pattern format says",
     text_fn(54, kStrNum, date_routine)},
    {"filedatetodatetime", "filedatetodatetime(filedate)", "a Unix file time as a local date",
     number_fn(66, 1, date_routine)},
    {"datetimetofiledate", "datetimetofiledate(date)",
     "a local date as a Unix file time (0 outside 1970..2038)", number_fn(67, 1, date_routine)},
    {"datetostrw", "datetostrw(date)", "datetostr as a wide string",
     text_fn(99, kNum, date_routine)},
    {"timetostrw", "timetostrw(date)", "timetostr as a wide string",
     text_fn(100, kNum, date_routine)},
    {"datetimetostrw", "datetimetostrw(date)", "datetimetostr as a wide string",
     text_fn(101, kNum, date_routine)},
};

inline constexpr auto kDateCodedRows = coded_rows<kDateFunctions, ExtensionModule::CoreAux2>();

// The functions with their own handler.

// date(), time(), now(), today(), yesterday(), tomorrow(): the clock as a date-time
template <double (*Clock)()>
int clock_handler(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  VKL_SetReal(L, result, Clock());
  return 1;
}

int date_currentyear(VKL_State* L, TObject* args, int nargs, TObject* result);
int date_incamonth(VKL_State* L, TObject* args, int nargs, TObject* result);
int date_datetimetostring(VKL_State* L, TObject* args, int nargs, TObject* result);
int date_tryencodedateweek(VKL_State* L, TObject* args, int nargs, TObject* result);

inline constexpr FunctionRow kDateOwnRows[] = {
    {"date", clock_handler<VK_Date>, "date()", "today at midnight"},
    {"time", clock_handler<VK_Time>, "time()", "the time of day"},
    {"now", clock_handler<VK_Now>, "now()", "the date and time now"},
    {"today", clock_handler<VK_Today>, "today()", "today at midnight"},
    {"yesterday", clock_handler<VK_Yesterday>, "yesterday()", "yesterday at midnight"},
    {"tomorrow", clock_handler<VK_Tomorrow>, "tomorrow()", "tomorrow at midnight"},
    {"currentyear", date_currentyear, "currentyear()", "this year"},
    {"incamonth", date_incamonth, "incamonth(year, month, day, months)",
     "steps year, month and day (by reference) by months, the day clamped"},
    {"datetimetostring", date_datetimetostring, "datetimetostring(target, format, date)",
     "formatdatetime into target (by reference)"},
    {"tryencodedateweek", date_tryencodedateweek, "tryencodedateweek(year, week, dayofweek, date)",
     "1 and the date of an ISO week day (1 Monday) in date, or 0"},
};

}  // namespace vkl::text
