// The float formatter's output side, shared by the fixed formats and the pattern language: a
// bounded writer that keeps counting past its capacity, and the separators and currency string
// of the settings in the writer's width.
#pragma once

#include <vkl/format_settings.h>
#include <vkl/kernel.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace vkl {

template <class Char>
struct TextOut {
  Char* buf;
  int64_t cap;
  int64_t n = 0;

  void put(Char c) {
    if (n < cap) buf[n] = c;
    ++n;
  }
  void put_ascii(std::string_view s) {
    if constexpr (sizeof(Char) == 1) {
      put(std::basic_string_view<Char>(s.data(), s.size()));
    } else {
      for (char c : s) put(static_cast<Char>(c));
    }
  }
  void put(std::basic_string_view<Char> s) {
    if (n < cap) std::char_traits<Char>::copy(buf + n, s.data(), std::min<size_t>(s.size(), cap - n));
    n += static_cast<int64_t>(s.size());
  }
  void fill(Char c, int64_t count) {
    if (count <= 0) return;
    if (n < cap) std::char_traits<Char>::assign(buf + n, std::min(count, cap - n), c);
    n += count;
  }
};

// The settings' separators as the output width sees them.
template <class Char>
struct Separators {
  Char decimal;
  Char thousands;  // 0: none
  const VKL_FormatSettings* settings;

  explicit Separators(const VKL_FormatSettings* s) : settings(s ? s : VKL_GetGFormat(nullptr)) {
    decimal = widen(settings->decimalSeparator);
    thousands = widen(settings->thousandSeparator);
  }

 private:
  static Char widen(char c) {
    if constexpr (sizeof(Char) == 1) return c;
    vkl_wchar w = 0;
    return VKL_MultiByteToWide(0, &c, 1, &w, 1) == 1 ? static_cast<Char>(w) : Char('?');
  }
};

// The separators and the currency string.
template <class Char>
struct NumberSymbols : Separators<Char> {
  Char currency[16];
  int currency_len;

  explicit NumberSymbols(const VKL_FormatSettings* s) : Separators<Char>(s) {
    const char* cs = this->settings->currencyString;
    int len = 0;
    while (len < static_cast<int>(sizeof this->settings->currencyString) && cs[len]) ++len;
    if constexpr (sizeof(Char) == 1) {
      for (int i = 0; i < len; ++i) currency[i] = cs[i];
      currency_len = len;
    } else {
      currency_len = static_cast<int>(VKL_MultiByteToWide(0, cs, len, currency, 16));
      if (currency_len < 0 || currency_len > 16) currency_len = 0;
    }
  }
  std::basic_string_view<Char> currency_text() const {
    return {currency, static_cast<size_t>(currency_len)};
  }
};

}  // namespace vkl
