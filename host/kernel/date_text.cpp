// Date-time to text through the classic pattern language, and text back to date-times, for
// narrow texts (host code page) and wide ones (UTF-16) alike: one template serves both widths.
#include <vkl/kernel.h>
#include <vkl/vk_dates.h>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "date_parts.h"

using namespace vkl::kernel::dates;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const VKL_FormatSettings& settings_or_defaults(const VKL_FormatSettings* fs) {
  return fs ? *fs : *VKL_GetGFormat(nullptr);
}

template <class C>
std::basic_string_view<C> text_view(const C* s, int64_t len) {
  if (!s) return {};
  if (len < 0) return std::basic_string_view<C>(s);
  return {s, static_cast<size_t>(len)};
}

// A narrow text of the settings in the width C (wide: through the host code page).
template <class C>
std::basic_string<C> widen(std::string_view s);
template <>
std::string widen<char>(std::string_view s) {
  return std::string(s);
}
template <>
std::u16string widen<char16_t>(std::string_view s) {
  const auto n = static_cast<int64_t>(s.size());
  const int64_t units = n ? VKL_MultiByteToWide(0, s.data(), n, nullptr, 0) : 0;
  if (units <= 0) return {};
  std::u16string w(static_cast<size_t>(units), u'\0');
  VKL_MultiByteToWide(0, s.data(), n, w.data(), units);
  return w;
}

// The index after the character at i: a double-byte character of the host code page is one.
inline size_t next_char(std::string_view s, size_t i) {
  const int64_t next =
      VKL_NextCharIndex(s.data(), static_cast<int64_t>(s.size()), static_cast<int64_t>(i));
  return next > static_cast<int64_t>(i) ? static_cast<size_t>(next) : i + 1;
}
inline size_t next_char(std::u16string_view, size_t i) { return i + 1; }

template <class C>
C ascii_upper(C c) {
  return c >= 'a' && c <= 'z' ? static_cast<C>(c - 32) : c;
}

// True when `s` from `at` starts with `word` (of either width), ignoring ASCII case.
template <class C, class W>
bool starts_with_nocase(std::basic_string_view<C> s, size_t at, std::basic_string_view<W> word) {
  if (word.empty() || s.size() - at < word.size()) return false;
  for (size_t i = 0; i < word.size(); ++i)
    if (ascii_upper(s[at + i]) != static_cast<C>(ascii_upper(word[i]))) return false;
  return true;
}
template <class C>
bool starts_with_nocase(std::basic_string_view<C> s, size_t at, const char* ascii) {
  return starts_with_nocase(s, at, std::string_view(ascii));
}

// One run of the pattern language over one date-time.
template <class C>
class Formatter {
 public:
  using View = std::basic_string_view<C>;

  Formatter(double dt, const VKL_FormatSettings& fs) : dt_(dt), fs_(fs) {}

  // Patterns of the settings (ddddd, c, t ...) nest at most two levels, so a pattern that
  // names itself ends.
  void append_format(View f, int depth) {
    if (depth >= 2) return;
    C last_letter = ' ';
    bool twelve_hour = false;
    size_t i = 0;
    while (i < f.size()) {
      const size_t next = next_char(f, i);
      if (next > i + 1) {  // a double-byte character is never a pattern letter
        out.append(f.substr(i, next - i));
        i = next;
        continue;
      }
      const C starter = f[i];
      i = next;
      C token = ascii_upper(starter);
      if (token >= 'A' && token <= 'Z') {
        if (token == 'M' && last_letter == 'H') token = 'N';  // minutes after the hour
        last_letter = token;
      }
      auto count = [&] {
        int n = 1;
        while (i < f.size() && f[i] == starter) ++i, ++n;
        return n;
      };
      switch (token) {
        case 'Y': {
          const int n = count();
          decode_date();
          if (n <= 2)
            append_number(year_ % 100, 2);
          else
            append_number(year_, 4);
          break;
        }
        case 'G':  // the era: none in the Gregorian calendar
          count();
          break;
        case 'E':
          decode_date();
          append_number(year_, count() == 1 ? 1 : 2);
          break;
        case 'M': {
          const int n = count();
          decode_date();
          if (n <= 2)
            append_number(month_, n);
          else if (month_ >= 1)
            append_setting(n == 3 ? fs_.shortMonthNames[month_ - 1]
                                  : fs_.longMonthNames[month_ - 1]);
          break;
        }
        case 'D': {
          const int n = count();
          if (n <= 2) {
            decode_date();
            append_number(day_, n);
          } else if (n <= 4) {
            append_day_name(n == 3);
          } else {
            append_setting_pattern(n == 5 ? fs_.shortDateFormat : fs_.longDateFormat, depth);
          }
          break;
        }
        case 'H': {
          int n = count();
          decode_time();
          twelve_hour = twelve_hour || twelve_hour_ahead(f, i);
          int h = hour_;
          if (twelve_hour) h = h == 0 ? 12 : h > 12 ? h - 12 : h;
          append_number(h, n > 2 ? 2 : n);
          break;
        }
        case 'N': {
          const int n = count();
          decode_time();
          append_number(minute_, n > 2 ? 2 : n);
          break;
        }
        case 'S': {
          const int n = count();
          decode_time();
          append_number(second_, n > 2 ? 2 : n);
          break;
        }
        case 'Z': {
          const int n = count();
          decode_time();
          append_number(msec_, n > 3 ? 3 : n);
          break;
        }
        case 'T':
          append_setting_pattern(count() == 1 ? fs_.shortTimeFormat : fs_.longTimeFormat, depth);
          break;
        case 'A':
          twelve_hour = append_am_pm(f, i) || twelve_hour;
          break;
        case 'C':
          count();
          append_setting_pattern(fs_.shortDateFormat, depth);
          decode_time();
          if (hour_ != 0 || minute_ != 0 || second_ != 0) {
            out.push_back(' ');
            append_setting_pattern(fs_.longTimeFormat, depth);
          }
          break;
        case '/':
          if (fs_.dateSeparator) append_setting(std::string_view(&fs_.dateSeparator, 1));
          break;
        case ':':
          if (fs_.timeSeparator) append_setting(std::string_view(&fs_.timeSeparator, 1));
          break;
        case '\'':
        case '"': {
          const size_t start = i;
          while (i < f.size() && f[i] != starter) i = next_char(f, i);
          out.append(f.substr(start, (i < f.size() ? i : f.size()) - start));
          if (i < f.size()) ++i;
          break;
        }
        default:
          out.push_back(starter);
      }
    }
  }

  std::basic_string<C> out;

 private:
  void decode_date() {
    if (date_done_) return;
    uint16_t y, m, d;
    VK_DecodeDate(dt_, &y, &m, &d);
    year_ = y, month_ = m, day_ = d;
    date_done_ = true;
  }
  void decode_time() {
    if (time_done_) return;
    uint16_t h, n, s, z;
    VK_DecodeTime(dt_, &h, &n, &s, &z);
    hour_ = h, minute_ = n, second_ = s, msec_ = z;
    time_done_ = true;
  }

  void append_number(int value, int digits) {
    char buf[16];
    int n = 0;
    do buf[n++] = static_cast<char>('0' + value % 10), value /= 10;
    while (value > 0);
    for (int pad = digits - n; pad > 0; --pad) out.push_back('0');
    while (n > 0) out.push_back(static_cast<C>(buf[--n]));
  }

  template <size_t N>
  void append_setting(const char (&field)[N]) {
    append_setting(std::string_view(field, strnlen(field, N)));
  }
  void append_setting(std::string_view s) { out.append(widen<C>(s)); }

  template <size_t N>
  void append_setting_pattern(const char (&field)[N], int depth) {
    const std::basic_string<C> pattern = widen<C>(std::string_view(field, strnlen(field, N)));
    append_format(View(pattern), depth + 1);
  }

  void append_day_name(bool short_name) {
    const int dow = VK_DayOfWeek(dt_);
    if (dow >= 1) append_setting(short_name ? fs_.shortDayNames[dow - 1] : fs_.longDayNames[dow - 1]);
  }

  // Whether an am/pm marker follows the hour before the next hour or the end; quoted text is
  // skipped.
  static bool twelve_hour_ahead(View f, size_t i) {
    C quote = 0;
    for (; i < f.size(); i = next_char(f, i)) {
      const C c = f[i];
      if (quote) {
        if (c == quote) quote = 0;
      } else if (c == '\'' || c == '"') {
        quote = c;
      } else if (c == 'h' || c == 'H') {
        return false;
      } else if (c == 'a' || c == 'A') {
        return starts_with_nocase(f, i, "AM/PM") || starts_with_nocase(f, i, "A/P") ||
               starts_with_nocase(f, i, "AMPM");
      }
    }
    return false;
  }

  // The a-patterns at f[i - 1]; advances i past them. True when the marker is an am/pm one.
  bool append_am_pm(View f, size_t& i) {
    const size_t at = i - 1;
    decode_time();
    const bool pm = hour_ >= 12;
    if (starts_with_nocase(f, at, "AM/PM")) {
      out.append(f.substr(at + (pm ? 3 : 0), 2));  // the marker keeps the pattern's case
      i = at + 5;
      return true;
    }
    if (starts_with_nocase(f, at, "A/P")) {
      out.push_back(f[at + (pm ? 2 : 0)]);
      i = at + 3;
      return true;
    }
    if (starts_with_nocase(f, at, "AMPM")) {
      append_setting(pm ? fs_.timePMString : fs_.timeAMString);
      i = at + 4;
      return true;
    }
    if (starts_with_nocase(f, at, "AAAA") || starts_with_nocase(f, at, "AAA")) {
      const bool long_name = starts_with_nocase(f, at, "AAAA");
      append_day_name(!long_name);
      i = at + (long_name ? 4 : 3);
      return false;
    }
    out.push_back(f[at]);
    return false;
  }

  double dt_;
  const VKL_FormatSettings& fs_;
  bool date_done_ = false, time_done_ = false;
  int year_ = 0, month_ = 0, day_ = 0, hour_ = 0, minute_ = 0, second_ = 0, msec_ = 0;
};

template <class C>
std::basic_string<C> format_text(std::basic_string_view<C> format, double dt,
                                 const VKL_FormatSettings* fs) {
  Formatter<C> f(dt, settings_or_defaults(fs));
  static constexpr C kDateAndTime[] = {'c', 0};
  f.append_format(format.empty() ? std::basic_string_view<C>(kDateAndTime) : format, 0);
  return std::move(f.out);
}

// The text in a zero-terminated VKL_Malloc buffer for the caller to own; null without memory.
template <class C>
C* hand_out(const std::basic_string<C>& s, int64_t* outLen) {
  auto* p = static_cast<C*>(VKL_Malloc((s.size() + 1) * sizeof(C)));
  if (!p) return nullptr;
  s.copy(p, s.size());
  p[s.size()] = 0;
  if (outLen) *outLen = static_cast<int64_t>(s.size());
  return p;
}

template <class C>
C* format_out(std::basic_string_view<C> format, double dt, const VKL_FormatSettings* fs,
              int64_t* outLen) {
  return hand_out(format_text(format, dt, fs), outLen);
}

// Formats with one of the settings' patterns (short date, long time).
template <class C, size_t N>
C* format_setting(const char (&field)[N], double dt, const VKL_FormatSettings* fs,
                  int64_t* outLen) {
  const std::basic_string<C> pattern = widen<C>(std::string_view(field, strnlen(field, N)));
  return format_out<C>(pattern, dt, fs, outLen);
}

// Reads dates and times in the order and with the separators of the settings.
template <class C>
class Scanner {
 public:
  Scanner(std::basic_string_view<C> s, const VKL_FormatSettings& fs) : s_(s), fs_(fs) {}

  bool at_end() const { return pos_ >= s_.size(); }
  void rewind() { pos_ = 0; }

  bool date(double* out) {
    int n1, n2, n3, len1, len2, len3;
    if (!number(&n1, &len1) || !skip_char(fs_.dateSeparator) || !number(&n2, &len2)) return false;
    int y, m, d;
    const char order = date_order();
    if (skip_char(fs_.dateSeparator)) {
      if (!number(&n3, &len3)) return false;
      int year_len;
      if (order == 'Y')
        y = n1, year_len = len1, m = n2, d = n3;
      else if (order == 'D')
        y = n3, year_len = len3, m = n2, d = n1;
      else
        y = n3, year_len = len3, m = n1, d = n2;
      if (year_len <= 2) y = in_year_window(y);
    } else {
      y = VK_CurrentYear();
      if (order == 'D')
        d = n1, m = n2;
      else
        m = n1, d = n2;
    }
    skip_char(fs_.dateSeparator);
    skip_blanks();
    return VK_TryEncodeDate(y, m, d, out) == 1;
  }

  bool time(double* out) {
    int base_hour = am_pm();
    int hour, minute = 0, second = 0, msec = 0, digits;
    if (!number(&hour, &digits)) return false;
    if (skip_char(fs_.timeSeparator)) {
      if (!number(&minute, &digits)) return false;
      if (skip_char(fs_.timeSeparator)) {
        if (!number(&second, &digits)) return false;
        if (skip_char(fs_.decimalSeparator) && !number(&msec, &digits)) return false;
      }
    }
    if (base_hour < 0) base_hour = am_pm();
    if (base_hour >= 0) {
      if (hour == 0 || hour > 12) return false;
      hour = hour % 12 + base_hour;
    }
    skip_blanks();
    return VK_TryEncodeTime(hour, minute, second, msec, out) == 1;
  }

 private:
  void skip_blanks() {
    while (pos_ < s_.size() && s_[pos_] == ' ') ++pos_;
  }
  // Digits while the value stays below four digits' worth, as the classic scanner.
  bool number(int* value, int* digits) {
    skip_blanks();
    int n = 0, len = 0;
    while (pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '9' && n < 1000)
      n = n * 10 + (s_[pos_++] - '0'), ++len;
    if (!len) return false;
    *value = n, *digits = len;
    return true;
  }
  bool skip_char(char c) {
    skip_blanks();
    if (pos_ < s_.size() && c && s_[pos_] == static_cast<C>(static_cast<unsigned char>(c))) {
      ++pos_;
      return true;
    }
    return false;
  }
  bool skip_word(std::string_view word) {
    skip_blanks();
    const std::basic_string<C> w = widen<C>(word);
    if (!starts_with_nocase(s_, pos_, std::basic_string_view<C>(w))) return false;
    pos_ += w.size();
    return true;
  }
  template <size_t N>
  bool skip_setting(const char (&field)[N]) {
    return skip_word(std::string_view(field, strnlen(field, N)));
  }
  // 0 after an AM marker, 12 after a PM marker, -1 when there is none.
  int am_pm() {
    int base = -1;
    if (skip_setting(fs_.timeAMString) || skip_word("AM"))
      base = 0;
    else if (skip_setting(fs_.timePMString) || skip_word("PM"))
      base = 12;
    if (base >= 0) skip_blanks();
    return base;
  }
  // 'Y' year first, 'M' month first, 'D' day first: the first of those letters in the short
  // date pattern (an era year counts as the year).
  char date_order() const {
    for (char c : std::string_view(fs_.shortDateFormat, strnlen(fs_.shortDateFormat, 32))) {
      const char u = ascii_upper(c);
      if (u == 'Y' || u == 'E') return 'Y';
      if (u == 'M' || u == 'D') return u;
    }
    return 'M';
  }
  // A year of one or two digits within the hundred years that the window ends.
  int in_year_window(int y) const {
    const int window = fs_.twoDigitYearCenturyWindow;
    const int base = VK_CurrentYear() - window;
    y += base / 100 * 100;
    if (window > 0 && y < base) y += 100;
    return y;
  }

  std::basic_string_view<C> s_;
  const VKL_FormatSettings& fs_;
  size_t pos_ = 0;
};

enum class Parse { Date, Time, DateTime };

template <class C>
bool parse(Parse what, const C* s, int64_t len, const VKL_FormatSettings* fs, double* out) {
  Scanner<C> scan(text_view(s, len), settings_or_defaults(fs));
  double date = 0, time = 0;
  switch (what) {
    case Parse::Date:
      if (!scan.date(&date) || !scan.at_end()) return false;
      *out = date;
      return true;
    case Parse::Time:
      if (!scan.time(&time) || !scan.at_end()) return false;
      *out = time;
      return true;
    case Parse::DateTime:
      if (scan.date(&date) && (scan.at_end() || (scan.time(&time) && scan.at_end()))) {
        *out = date >= 0 ? date + time : date - time;
        return true;
      }
      return parse(Parse::Time, s, len, fs, out);
  }
  return false;
}

template <class C>
int try_parse(Parse what, const C* s, int64_t len, const VKL_FormatSettings* fs, double* out) {
  double v;
  if (!out || !parse(what, s, len, fs, &v)) return 0;
  *out = v;
  return 1;
}

template <class C>
double parse_or(Parse what, const C* s, int64_t len, double fallback,
                const VKL_FormatSettings* fs) {
  double v;
  return parse(what, s, len, fs, &v) ? v : fallback;
}

}  // namespace

char* VK_FormatDateTime(const char* format, int64_t len, double dt,
                        const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_out(text_view(format, len), dt, fs, outLen);
}
vkl_wchar* VK_FormatDateTimeW(const vkl_wchar* format, int64_t len, double dt,
                              const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_out(text_view(format, len), dt, fs, outLen);
}
int VK_DateTimeToString(VKL_State* L, TObject* target, const char* format, int64_t len,
                        double dt, const VKL_FormatSettings* fs) {
  const std::string text = format_text(text_view(format, len), dt, fs);
  return VKL_SetStringEx(L, target, text.data(), static_cast<int64_t>(text.size()));
}
int VK_DateTimeToStringW(VKL_State* L, TObject* target, const vkl_wchar* format, int64_t len,
                         double dt, const VKL_FormatSettings* fs) {
  const std::u16string text = format_text(text_view(format, len), dt, fs);
  return VKL_SetWStringEx(L, target, text.data(), static_cast<int64_t>(text.size()));
}

char* VK_DateToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_setting<char>(settings_or_defaults(fs).shortDateFormat, dt, fs, outLen);
}
vkl_wchar* VK_DateToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_setting<char16_t>(settings_or_defaults(fs).shortDateFormat, dt, fs, outLen);
}
char* VK_TimeToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_setting<char>(settings_or_defaults(fs).longTimeFormat, dt, fs, outLen);
}
vkl_wchar* VK_TimeToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return format_setting<char16_t>(settings_or_defaults(fs).longTimeFormat, dt, fs, outLen);
}
char* VK_DateTimeToStr(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return VK_FormatDateTime("", 0, dt, fs, outLen);
}
vkl_wchar* VK_DateTimeToStrW(double dt, const VKL_FormatSettings* fs, int64_t* outLen) {
  return VK_FormatDateTimeW(u"", 0, dt, fs, outLen);
}

int VK_TryStrToDate(const char* s, int64_t len, const VKL_FormatSettings* fs, double* out) {
  return try_parse(Parse::Date, s, len, fs, out);
}
int VK_TryStrToDateW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                     double* out) {
  return try_parse(Parse::Date, s, len, fs, out);
}
double VK_StrToDate(const char* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Date, s, len, kNaN, fs);
}
double VK_StrToDateW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Date, s, len, kNaN, fs);
}
double VK_StrToDateDef(const char* s, int64_t len, double def, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Date, s, len, def, fs);
}
double VK_StrToDateDefW(const vkl_wchar* s, int64_t len, double def,
                        const VKL_FormatSettings* fs) {
  return parse_or(Parse::Date, s, len, def, fs);
}

int VK_TryStrToTime(const char* s, int64_t len, const VKL_FormatSettings* fs, double* out) {
  return try_parse(Parse::Time, s, len, fs, out);
}
int VK_TryStrToTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                     double* out) {
  return try_parse(Parse::Time, s, len, fs, out);
}
double VK_StrToTime(const char* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Time, s, len, kNaN, fs);
}
double VK_StrToTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Time, s, len, kNaN, fs);
}
double VK_StrToTimeDef(const char* s, int64_t len, double def, const VKL_FormatSettings* fs) {
  return parse_or(Parse::Time, s, len, def, fs);
}
double VK_StrToTimeDefW(const vkl_wchar* s, int64_t len, double def,
                        const VKL_FormatSettings* fs) {
  return parse_or(Parse::Time, s, len, def, fs);
}

int VK_TryStrToDateTime(const char* s, int64_t len, const VKL_FormatSettings* fs, double* out) {
  return try_parse(Parse::DateTime, s, len, fs, out);
}
int VK_TryStrToDateTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs,
                         double* out) {
  return try_parse(Parse::DateTime, s, len, fs, out);
}
double VK_StrToDateTime(const char* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::DateTime, s, len, kNaN, fs);
}
double VK_StrToDateTimeW(const vkl_wchar* s, int64_t len, const VKL_FormatSettings* fs) {
  return parse_or(Parse::DateTime, s, len, kNaN, fs);
}
double VK_StrToDateTimeDef(const char* s, int64_t len, double def,
                           const VKL_FormatSettings* fs) {
  return parse_or(Parse::DateTime, s, len, def, fs);
}
double VK_StrToDateTimeDefW(const vkl_wchar* s, int64_t len, double def,
                            const VKL_FormatSettings* fs) {
  return parse_or(Parse::DateTime, s, len, def, fs);
}
