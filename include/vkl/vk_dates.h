/* Dates and times of the kernel (libvklkrnl.so).
 *
 * A date-time is a double: the integer part counts days from 1899-12-30, the fraction is the
 * time of day (one day is 86,400 seconds). Before 1899-12-30 the fraction still counts forward
 * from midnight: -1.25 is 1899-12-29 06:00. Times are read to the millisecond, rounded half to
 * even. Valid dates run from 0001-01-01 (-693593) to 9999-12-31 (2958465).
 *
 * The routines follow the classic Object Pascal run-time library (SysUtils, DateUtils): the
 * same names, arguments, patterns and results. Where that library raises a conversion error,
 * the routines here answer NaN (numbers) or 0 (int results). Month and day numbers, hours and
 * the like are 16-bit values in that library; negative inputs are never valid here.
 *
 * Text results come in a zero-terminated buffer from VKL_Malloc, their length in *outLen
 * (unless null), for the caller to own (a cell takes it with VKL_SetString2 / VKL_SetWString2);
 * null when out of memory. Narrow forms work in the host code page, W forms in UTF-16. Text
 * conversions take the format settings of <vkl/format_settings.h> (null: the process
 * defaults). Input texts are (pointer, length in bytes or units); a negative length means up
 * to the terminating zero.
 */
#ifndef VKL_VK_DATES_H
#define VKL_VK_DATES_H

#include <vkl/format_settings.h>
#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The clock (local time) ---- */

VKL_API double VK_Now(void);
VKL_API double VK_Date(void);      /* today at midnight */
VKL_API double VK_Time(void);      /* the time of day alone */
VKL_API double VK_Today(void);     /* as VK_Date */
VKL_API double VK_Yesterday(void);
VKL_API double VK_Tomorrow(void);
VKL_API uint16_t VK_CurrentYear(void);

/* ---- Calendar ---- */

VKL_API int VK_IsLeapYear(int year);
/* Year 1..9999, month 1..12, day within the month: the date, else NaN. */
VKL_API double VK_EncodeDate(int year, int month, int day);
/* Hour < 24, minute and second < 60, millisecond < 1000: the fraction of the day, else NaN. */
VKL_API double VK_EncodeTime(int hour, int minute, int second, int msec);
/* As the Encode forms: 1 and *out set, or 0 with *out unchanged. */
VKL_API int VK_TryEncodeDate(int year, int month, int day, double* out);
VKL_API int VK_TryEncodeTime(int hour, int minute, int second, int msec, double* out);
/* The ISO week date: day of week 1 (Monday) .. 7 (Sunday), week 1 .. 52 or 53; the week
 * holding the year's first Thursday is week 1. 1 and *out set, or 0 with *out unchanged. */
VKL_API int VK_TryEncodeDateWeek(int year, int week, int dayOfWeek, double* out);

/* The parts of a date-time; a value that is not a valid date (NaN, out of range) gives zeros.
 * DecodeDateFully also gives the day of week (1 Sunday .. 7 Saturday) and returns 1 for a
 * leap year. */
VKL_API void VK_DecodeDate(double dt, uint16_t* year, uint16_t* month, uint16_t* day);
VKL_API int VK_DecodeDateFully(double dt, uint16_t* year, uint16_t* month, uint16_t* day,
                               uint16_t* dayOfWeek);
VKL_API void VK_DecodeTime(double dt, uint16_t* hour, uint16_t* minute, uint16_t* second,
                           uint16_t* msec);
/* 1 Sunday .. 7 Saturday; 0 for a value that is not a valid date. */
VKL_API int VK_DayOfWeek(double dt);
/* The date `months` months later (earlier when negative), the day clamped to the month's
 * last, the time of day kept; NaN when the result leaves years 1..9999. */
VKL_API double VK_IncMonth(double dt, int months);
/* The same on the parts, which are updated in place (16-bit arithmetic, as the classic
 * routine); returns 0 and changes nothing when *month is not 1..12. */
VKL_API int VK_IncAMonth(uint16_t* year, uint16_t* month, uint16_t* day, int months);

/* ---- File dates: a Unix time (seconds since 1970-01-01 UTC), read as local time ---- */

VKL_API double VK_FileDateToDateTime(int64_t fileDate);
/* 0 for a date outside 1970..2038 or not a valid date. */
VKL_API int64_t VK_DateTimeToFileDate(double dt);

/* ---- Date-time to text ----
 * Patterns: c d dd ddd dddd ddddd dddddd e ee g gg m mm mmm mmmm yy yyyy h hh n nn s ss z zzz
 * t tt am/pm a/p ampm aaa aaaa / : 'quoted' "quoted"; letters ignore case except in am/pm and
 * a/p, whose case is kept; m right after h or hh is the minute. An empty pattern is "c". The
 * era (g, gg) is empty in the Gregorian calendar and e, ee give its year. */

VKL_API char* VK_FormatDateTime(const char* format, int64_t len, double dt,
                                const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API vkl_wchar* VK_FormatDateTimeW(const vkl_wchar* format, int64_t len, double dt,
                                      const VKL_FormatSettings* fs, int64_t* outLen);
/* The procedure form: the same text written into the cell `target` (narrow or wide); 1, or 0
 * with the cell unchanged when out of memory. */
VKL_API int VK_DateTimeToString(VKL_State* L, TObject* target, const char* format, int64_t len,
                                double dt, const VKL_FormatSettings* fs);
VKL_API int VK_DateTimeToStringW(VKL_State* L, TObject* target, const vkl_wchar* format,
                                 int64_t len, double dt, const VKL_FormatSettings* fs);
/* The short date pattern; the long time pattern; "c" (the date, then the long time unless the
 * time is midnight). */
VKL_API char* VK_DateToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API vkl_wchar* VK_DateToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API char* VK_TimeToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API vkl_wchar* VK_TimeToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API char* VK_DateTimeToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen);
VKL_API vkl_wchar* VK_DateTimeToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen);

/* ---- Text to date-time ----
 * A date is two or three numbers joined by the date separator, in the order of the short date
 * pattern (year first, month first or day first); two numbers are month and day (day and month
 * in day-first order) of the current year; a year of one or two digits falls within the
 * two-digit year window. A time is hour[:minute[:second[.msec]]], with "AM"/"PM" (or the
 * settings' texts) before or after. A date-time is a date, then optionally a time, or a time
 * alone. Blanks around the parts are skipped; anything else left over fails.
 * Try: 1 and *out set, or 0 with *out unchanged. Plain: NaN when the text does not convert.
 * Def: `def` when it does not. */

VKL_API int VK_TryStrToDate(const char* s, int64_t len, const VKL_FormatSettings* fs,
                            double* out);
VKL_API int VK_TryStrToDateW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                             double* out);
VKL_API double VK_StrToDate(const char* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateDef(const char* s, int64_t len, double def,
                               const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateDefW(const vkl_wchar* s, int64_t len, double def,
                                const VKL_FormatSettings* fs);

VKL_API int VK_TryStrToTime(const char* s, int64_t len, const VKL_FormatSettings* fs,
                            double* out);
VKL_API int VK_TryStrToTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                             double* out);
VKL_API double VK_StrToTime(const char* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToTimeDef(const char* s, int64_t len, double def,
                               const VKL_FormatSettings* fs);
VKL_API double VK_StrToTimeDefW(const vkl_wchar* s, int64_t len, double def,
                                const VKL_FormatSettings* fs);

VKL_API int VK_TryStrToDateTime(const char* s, int64_t len, const VKL_FormatSettings* fs,
                                double* out);
VKL_API int VK_TryStrToDateTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                                 double* out);
VKL_API double VK_StrToDateTime(const char* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateTimeDef(const char* s, int64_t len, double def,
                                   const VKL_FormatSettings* fs);
VKL_API double VK_StrToDateTimeDefW(const vkl_wchar* s, int64_t len, double def,
                                    const VKL_FormatSettings* fs);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_DATES_H */
