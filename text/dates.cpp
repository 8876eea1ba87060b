// The date functions. Failure policy: a malformed call fails (the driver's or the handler's 0);
// a date that cannot be encoded, a step out of the years 1..9999 and a text that is not a date
// fail the call too (the kernel's conversion error); the def forms answer their default and
// the try forms 0, leaving their output as it was. Decoding a value that is not a date gives
// zero parts. Text conversions use the state's format settings.
#include "text/dates.h"

#include <vkl/format_settings.h>

#include <cmath>

#include "text/text_args.h"

namespace vkl::text {

namespace {

double date_at(TObject* args, int i) { return VKL_AsDouble(coded_arg(args, i)); }
int count_at(TObject* args, int i) { return VKL_AsInt(coded_arg(args, i)); }

// A date-time result; NaN (the kernel's refusal) fails the call.
int set_date(VKL_State* L, TObject* result, double d) {
  if (std::isnan(d)) return 0;
  VKL_SetReal(L, result, d);
  return 1;
}

int set_flag(VKL_State* L, TObject* result, int flag) {
  VKL_SetInt(L, result, flag ? 1 : 0);
  return 1;
}

// Writes 16-bit parts into the output arguments from index `first` on.
template <size_t N>
int set_parts(VKL_State* L, TObject* args, int first, const uint16_t (&parts)[N]) {
  for (size_t i = 0; i < N; ++i) VKL_SetInt(L, coded_arg(args, first + static_cast<int>(i)), parts[i]);
  return 1;
}

// The three kernel conversions of a date-time to text, narrow and wide.
struct DateText {
  char* (*narrow)(double, const VKL_FormatSettings*, int64_t*);
  vkl_wchar* (*wide)(double, const VKL_FormatSettings*, int64_t*);
};
constexpr DateText kDateTexts[] = {{VK_DateToStr, VK_DateToStrW},
                                   {VK_TimeToStr, VK_TimeToStrW},
                                   {VK_DateTimeToStr, VK_DateTimeToStrW}};

int date_to_text(VKL_State* L, TObject* args, TObject* result, const DateText& t, bool wide) {
  const VKL_FormatSettings* fs = VKL_GetGFormat(L);
  const double d = date_at(args, 0);
  int64_t n = 0;
  if (wide) {
    vkl_wchar* text = t.wide(d, fs, &n);
    return take_text(L, result, text, n);
  }
  char* text = t.narrow(d, fs, &n);
  return take_text(L, result, text, n);
}

// Calls the narrow or the wide form of a kernel operation on the text of `s` (either width),
// with `extra` after the text.
template <class Narrow, class Wide, class... Extra>
auto on_text(const TObject* s, Narrow narrow, Wide wide, Extra... extra) {
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    return wide(w.data(), length_of(w), extra...);
  }
  const std::string_view a = narrow_of(s);
  return narrow(a.data(), length_of(a), extra...);
}

// The plain, def and try forms of one kind of text (date, time, date-time), narrow and wide.
struct TextToDate {
  double (*plain)(const char*, int64_t, const VKL_FormatSettings*);
  double (*plain_w)(const vkl_wchar*, int64_t, const VKL_FormatSettings*);
  double (*with_default)(const char*, int64_t, double, const VKL_FormatSettings*);
  double (*with_default_w)(const vkl_wchar*, int64_t, double, const VKL_FormatSettings*);
  int (*attempt)(const char*, int64_t, const VKL_FormatSettings*, double*);
  int (*attempt_w)(const vkl_wchar*, int64_t, const VKL_FormatSettings*, double*);
};
constexpr TextToDate kTextToDates[] = {
    {VK_StrToDate, VK_StrToDateW, VK_StrToDateDef, VK_StrToDateDefW, VK_TryStrToDate,
     VK_TryStrToDateW},
    {VK_StrToTime, VK_StrToTimeW, VK_StrToTimeDef, VK_StrToTimeDefW, VK_TryStrToTime,
     VK_TryStrToTimeW},
    {VK_StrToDateTime, VK_StrToDateTimeW, VK_StrToDateTimeDef, VK_StrToDateTimeDefW,
     VK_TryStrToDateTime, VK_TryStrToDateTimeW}};

// strtoX (form 0), strtoXdef (1), trystrtoX (2).
int text_to_date(VKL_State* L, TObject* args, TObject* result, const TextToDate& p, int form) {
  const TObject* s = coded_arg(args, 0);
  const VKL_FormatSettings* fs = VKL_GetGFormat(L);
  if (form == 0) return set_date(L, result, on_text(s, p.plain, p.plain_w, fs));
  if (form == 1)
    return set_date(L, result, on_text(s, p.with_default, p.with_default_w, date_at(args, 1), fs));
  double d = 0;
  const int ok = on_text(s, p.attempt, p.attempt_w, fs, &d);
  if (ok) VKL_SetReal(L, coded_arg(args, 1), d);
  return set_flag(L, result, ok);
}

}  // namespace

int date_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  switch (code) {
    case 32:
      return set_date(L, result, VK_EncodeDate(count_at(args, 0), count_at(args, 1), count_at(args, 2)));
    case 33:
      return set_date(L, result,
                      VK_EncodeTime(count_at(args, 0), count_at(args, 1), count_at(args, 2),
                                    count_at(args, 3)));
    case 34: {
      double d = 0;
      const int ok = VK_TryEncodeDate(count_at(args, 0), count_at(args, 1), count_at(args, 2), &d);
      if (ok) VKL_SetReal(L, coded_arg(args, 3), d);
      return set_flag(L, result, ok);
    }
    case 35: {
      double t = 0;
      const int ok = VK_TryEncodeTime(count_at(args, 0), count_at(args, 1), count_at(args, 2),
                                      count_at(args, 3), &t);
      if (ok) VKL_SetReal(L, coded_arg(args, 4), t);
      return set_flag(L, result, ok);
    }
    case 36: {
      uint16_t p[3];
      VK_DecodeDate(date_at(args, 0), &p[0], &p[1], &p[2]);
      return set_parts(L, args, 1, p);
    }
    case 37: {
      uint16_t p[4];
      VK_DecodeDateFully(date_at(args, 0), &p[0], &p[1], &p[2], &p[3]);
      return set_parts(L, args, 1, p);
    }
    case 38: {
      uint16_t p[4];
      VK_DecodeTime(date_at(args, 0), &p[0], &p[1], &p[2], &p[3]);
      return set_parts(L, args, 1, p);
    }
    case 39:
      VKL_SetInt(L, result, VK_DayOfWeek(date_at(args, 0)));
      return 1;
    case 40:
      return set_date(L, result, VK_IncMonth(date_at(args, 0), count_at(args, 1)));
    case 41:
      return set_flag(L, result, VK_IsLeapYear(count_at(args, 0)));
    case 42:
    case 43:
    case 44:
      return date_to_text(L, args, result, kDateTexts[code - 42], false);
    case 99:
    case 100:
    case 101:
      return date_to_text(L, args, result, kDateTexts[code - 99], true);
    case 54:
      return map_text<VK_FormatDateTime, VK_FormatDateTimeW>(L, coded_arg(args, 0), result,
                                                             date_at(args, 1), VKL_GetGFormat(L));
    case 66:
      return set_date(L, result, VK_FileDateToDateTime(VKL_AsInt64(coded_arg(args, 0))));
    case 67:
      VKL_SetIntAuto(L, result, VK_DateTimeToFileDate(date_at(args, 0)));
      return 1;
    default:
      if (code >= 45 && code <= 53)
        return text_to_date(L, args, result, kTextToDates[(code - 45) / 3], (code - 45) % 3);
      return 0;
  }
}

// currentyear(): this year
int date_currentyear(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  VKL_SetInt(L, result, VK_CurrentYear());
  return 1;
}

// incamonth(year, month, day, months): the three parts, by reference, stepped by months
int date_incamonth(VKL_State* L, TObject* args, int nargs, TObject* result) {
  (void)result;  // a procedure: the parts are the answer
  if (nargs != 4) return 0;
  for (int i = 0; i < 4; ++i)
    if (!vkl_is_number_tag(coded_arg(args, i)->tag)) return 0;
  uint16_t p[3];
  for (int i = 0; i < 3; ++i) p[i] = static_cast<uint16_t>(count_at(args, i));
  if (!VK_IncAMonth(&p[0], &p[1], &p[2], count_at(args, 3))) return 0;
  return set_parts(L, args, 0, p);
}

// datetimetostring(target, format, date): formatdatetime into target, by reference
int date_datetimetostring(VKL_State* L, TObject* args, int nargs, TObject* result) {
  (void)result;
  if (nargs != 3) return 0;
  const TObject* format = coded_arg(args, 1);
  if (!VKL_StringCheckAll(format) || !vkl_is_number_tag(coded_arg(args, 2)->tag)) return 0;
  const double d = date_at(args, 2);
  const VKL_FormatSettings* fs = VKL_GetGFormat(L);
  TObject* target = coded_arg(args, 0);
  if (is_wide(format)) {
    const std::u16string_view w = wide_of(format);
    return VK_DateTimeToStringW(L, target, w.data(), length_of(w), d, fs);
  }
  const std::string_view a = narrow_of(format);
  return VK_DateTimeToString(L, target, a.data(), length_of(a), d, fs);
}

// tryencodedateweek(year, week, dayofweek, date): 1 and the ISO week date in date, or 0
int date_tryencodedateweek(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 4) return 0;
  for (int i = 0; i < 3; ++i)
    if (!vkl_is_number_tag(coded_arg(args, i)->tag)) return 0;
  double d = 0;
  const int ok = VK_TryEncodeDateWeek(count_at(args, 0), count_at(args, 1), count_at(args, 2), &d);
  if (ok) VKL_SetReal(L, coded_arg(args, 3), d);
  return set_flag(L, result, ok);
}

}  // namespace vkl::text
