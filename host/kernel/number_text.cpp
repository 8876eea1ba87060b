// Numbers to text: integers, hexadecimal, booleans, reals and currency (general format and
// patterns) and Str, as VKL_Malloc'd texts of either width.
#include <vkl/kernel.h>
#include <vkl/vk_numbers.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace vkl {
namespace {

template <class Char>
Char* new_text(const Char* s, int64_t n, int64_t* len) {
  auto* p = static_cast<Char*>(VKL_Malloc(static_cast<size_t>(n + 1) * sizeof(Char)));
  if (!p) return nullptr;
  std::copy(s, s + n, p);
  p[n] = Char(0);
  if (len) *len = n;
  return p;
}

template <class Char>
Char* new_ascii(std::string_view s, int64_t* len) {
  Char wide[64];
  const size_t n = std::min(s.size(), sizeof wide / sizeof(Char));
  for (size_t i = 0; i < n; ++i) wide[i] = static_cast<Char>(s[i]);
  return new_text(wide, static_cast<int64_t>(n), len);
}

template <class Char, class Int>
Char* decimal_text(Int value, int64_t* len) {
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, value);
  return new_ascii<Char>({buf, static_cast<size_t>(r.ptr - buf)}, len);
}

// `bits`-bit pattern of `value` in upper-case hexadecimal, at least `digits` digits.
template <class Char>
Char* hex_text(uint64_t value, int bits, int digits, int64_t* len) {
  if (bits < 64) value &= (uint64_t{1} << bits) - 1;
  char buf[40];
  const auto r = std::to_chars(buf, buf + 16, value, 16);
  const int n = static_cast<int>(r.ptr - buf);
  const int width = std::clamp(digits, n, 32);
  char out[40];
  std::memset(out, '0', static_cast<size_t>(width - n));
  for (int i = 0; i < n; ++i)
    out[width - n + i] = static_cast<char>(buf[i] >= 'a' ? buf[i] - 'a' + 'A' : buf[i]);
  return new_ascii<Char>({out, static_cast<size_t>(width)}, len);
}

// A formatter's output in a new text: tried in a stack buffer, measured and redone when
// longer.
template <class Char, class Format>
Char* formatted(Format&& format, int64_t* len) {
  Char buf[128];
  const int64_t n = format(buf, int64_t{128});
  if (n < 0) return nullptr;
  if (n <= 128) return new_text(buf, n, len);
  auto* p = static_cast<Char*>(VKL_Malloc(static_cast<size_t>(n + 1) * sizeof(Char)));
  if (!p) return nullptr;
  format(p, n);
  p[n] = Char(0);
  if (len) *len = n;
  return p;
}

// General format: 15 significant digits for a double, all of a currency's.
template <class Char>
Char* float_general(const void* value, int type, const VKL_FormatSettings* fs, int64_t* len) {
  const int precision = type == VK_fvCurrency ? 0 : 15;
  return formatted<Char>(
      [&](Char* buf, int64_t cap) {
        if constexpr (sizeof(Char) == 1)
          return FloatToTextA(buf, cap, value, type, VK_ffGeneral, precision, 0, fs);
        else
          return FloatToTextW(buf, cap, value, type, VK_ffGeneral, precision, 0, fs);
      },
      len);
}

template <class Char>
Char* float_pattern(const Char* f, int64_t flen, const void* value, int type,
                    const VKL_FormatSettings* fs, int64_t* len) {
  return formatted<Char>(
      [&](Char* buf, int64_t cap) {
        if constexpr (sizeof(Char) == 1)
          return FloatToTextFmtA(buf, cap, value, type, f, flen, fs);
        else
          return FloatToTextFmtW(buf, cap, value, type, f, flen, fs);
      },
      len);
}

const VKL_FormatSettings& plain_settings() {
  static const VKL_FormatSettings plain = [] {
    VKL_FormatSettings f;
    VKL_DefaultGFormat(&f);
    return f;
  }();
  return plain;
}

template <class Char>
Char* str_real(double x, int64_t* len) {
  Char buf[40];
  int64_t n = 0;
  if (!std::signbit(x)) buf[n++] = Char(' ');
  if constexpr (sizeof(Char) == 1)
    n += FloatToTextA(buf + n, 40 - n, &x, VK_fvDouble, VK_ffExponent, 15, 4, &plain_settings());
  else
    n += FloatToTextW(buf + n, 40 - n, &x, VK_fvDouble, VK_ffExponent, 15, 4, &plain_settings());
  return new_text(buf, std::min<int64_t>(n, 40), len);
}

template <class Char>
Char* bool_text(int value, int use_bool_strs, int64_t* len) {
  if (use_bool_strs) return new_ascii<Char>(value ? "True" : "False", len);
  return new_ascii<Char>(value ? "-1" : "0", len);
}

}  // namespace
}  // namespace vkl

using vkl::decimal_text;
using vkl::hex_text;

char* VK_IntToStr(int32_t v, int64_t* len) { return decimal_text<char>(v, len); }
vkl_wchar* VK_IntToStrW(int32_t v, int64_t* len) { return decimal_text<vkl_wchar>(v, len); }
char* VK_Int64ToStr(int64_t v, int64_t* len) { return decimal_text<char>(v, len); }
vkl_wchar* VK_Int64ToStrW(int64_t v, int64_t* len) { return decimal_text<vkl_wchar>(v, len); }
char* VK_UIntToStr(uint32_t v, int64_t* len) { return decimal_text<char>(v, len); }
vkl_wchar* VK_UIntToStrW(uint32_t v, int64_t* len) { return decimal_text<vkl_wchar>(v, len); }
char* VK_UInt64ToStr(uint64_t v, int64_t* len) { return decimal_text<char>(v, len); }
vkl_wchar* VK_UInt64ToStrW(uint64_t v, int64_t* len) { return decimal_text<vkl_wchar>(v, len); }

char* VK_IntToHex(int32_t v, int digits, int64_t* len) {
  return hex_text<char>(static_cast<uint32_t>(v), 32, digits, len);
}
vkl_wchar* VK_IntToHexW(int32_t v, int digits, int64_t* len) {
  return hex_text<vkl_wchar>(static_cast<uint32_t>(v), 32, digits, len);
}
char* VK_Int64ToHex(int64_t v, int digits, int64_t* len) {
  return hex_text<char>(static_cast<uint64_t>(v), 64, digits, len);
}
vkl_wchar* VK_Int64ToHexW(int64_t v, int digits, int64_t* len) {
  return hex_text<vkl_wchar>(static_cast<uint64_t>(v), 64, digits, len);
}

char* VK_BoolToStr(int value, int useBoolStrs, int64_t* len) {
  return vkl::bool_text<char>(value, useBoolStrs, len);
}
vkl_wchar* VK_BoolToStrW(int value, int useBoolStrs, int64_t* len) {
  return vkl::bool_text<vkl_wchar>(value, useBoolStrs, len);
}

char* VK_FloatToStr(double value, const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_general<char>(&value, VK_fvDouble, fs, len);
}
vkl_wchar* VK_FloatToStrW(double value, const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_general<vkl_wchar>(&value, VK_fvDouble, fs, len);
}
char* VK_CurrToStr(VK_Currency value, const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_general<char>(&value, VK_fvCurrency, fs, len);
}
vkl_wchar* VK_CurrToStrW(VK_Currency value, const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_general<vkl_wchar>(&value, VK_fvCurrency, fs, len);
}

char* VK_FormatFloat(const char* f, int64_t flen, double value, const VKL_FormatSettings* fs,
                     int64_t* len) {
  return vkl::float_pattern(f, flen, &value, VK_fvDouble, fs, len);
}
vkl_wchar* VK_FormatFloatW(const vkl_wchar* f, int64_t flen, double value,
                           const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_pattern(f, flen, &value, VK_fvDouble, fs, len);
}
char* VK_FormatCurr(const char* f, int64_t flen, VK_Currency value, const VKL_FormatSettings* fs,
                    int64_t* len) {
  return vkl::float_pattern(f, flen, &value, VK_fvCurrency, fs, len);
}
vkl_wchar* VK_FormatCurrW(const vkl_wchar* f, int64_t flen, VK_Currency value,
                          const VKL_FormatSettings* fs, int64_t* len) {
  return vkl::float_pattern(f, flen, &value, VK_fvCurrency, fs, len);
}

char* VK_StrReal(double value, int64_t* len) { return vkl::str_real<char>(value, len); }
vkl_wchar* VK_StrRealW(double value, int64_t* len) {
  return vkl::str_real<vkl_wchar>(value, len);
}
