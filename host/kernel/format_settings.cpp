// The format settings of states and the process defaults they start from.
#include <vkl/format_settings.h>

#include <cstring>

#include "internal.h"

namespace {

template <size_t N>
void put(char (&field)[N], const char* text) {
  std::strncpy(field, text, N - 1);
  field[N - 1] = '\0';
}

VKL_FormatSettings make_defaults() {
  static constexpr const char* kLongMonths[12] = {"January", "February", "March",     "April",
                                                  "May",     "June",     "July",      "August",
                                                  "September", "October", "November", "December"};
  static constexpr const char* kLongDays[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                               "Thursday", "Friday", "Saturday"};
  VKL_FormatSettings f{};
  f.decimalSeparator = '.';
  f.thousandSeparator = ',';
  f.dateSeparator = '-';
  f.timeSeparator = ':';
  f.listSeparator = ',';
  put(f.shortDateFormat, "yyyy-mm-dd");
  put(f.longDateFormat, "yyyy-mm-dd");
  put(f.shortTimeFormat, "hh:nn");
  put(f.longTimeFormat, "hh:nn:ss");
  put(f.timeAMString, "AM");
  put(f.timePMString, "PM");
  for (int m = 0; m < 12; ++m) {
    put(f.longMonthNames[m], kLongMonths[m]);
    std::memcpy(f.shortMonthNames[m], kLongMonths[m], 3);  // "Jan" ... "Dec"
  }
  for (int d = 0; d < 7; ++d) {
    put(f.longDayNames[d], kLongDays[d]);
    std::memcpy(f.shortDayNames[d], kLongDays[d], 3);  // "Sun" ... "Sat"
  }
  put(f.currencyString, "$");
  f.currencyFormat = 0;
  f.negCurrFormat = 1;
  f.currencyDecimals = 2;
  f.twoDigitYearCenturyWindow = 50;
  return f;
}

VKL_FormatSettings& process_defaults() {
  static VKL_FormatSettings defaults = make_defaults();
  return defaults;
}

}  // namespace

void VKL_DefaultGFormat(VKL_FormatSettings* settings) {
  if (settings) *settings = make_defaults();
}

const VKL_FormatSettings* VKL_GetGFormat(VKL_State* L) {
  if (L && L->format) return L->format.get();
  return &process_defaults();
}

void VKL_SetGFormat(VKL_State* L, const VKL_FormatSettings* settings) {
  if (!settings) return;
  if (!L) {
    process_defaults() = *settings;
    return;
  }
  if (!L->format) L->format = std::make_unique<VKL_FormatSettings>();
  *L->format = *settings;
}
