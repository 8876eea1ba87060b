// The conversion steps that take leaves of any kind (see convert.h). The choice a user sees is
// written at each.
#include "numeric/convert.h"

#include <vkl/vk_dates.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace vkl::numeric::convert {
namespace {

bool is_text(const TObject* x) {
  return vkl_is_string_tag(x->tag) || x->tag == VKL_TWSTRING || x->tag == VKL_TBINARY;
}

// Values of the host's object kinds: a handle to data the host keeps.
bool is_handle(const TObject* x) {
  return vkl_is_box_tag(x->tag) && x->tag != VKL_TDEFERRED && x->tag != VKL_TREF;
}

// The bytes of a narrow string or binary.
std::string_view bytes_of(const TObject* x) {
  if (x->tag == VKL_TBINARY)
    return {static_cast<const char*>(vkl_ptr(x)), static_cast<size_t>(std::max(vkl_len(x), 0))};
  return {VKL_AsString(x), static_cast<size_t>(VKL_StringLen(x))};
}

std::u16string_view units_of(const TObject* x) {
  return {VKL_AsWString(x), static_cast<size_t>(VKL_WStringLen(x))};
}

// The text of a number: integers in decimal, reals as the shortest text that reads back as
// the same double ("3.5", "0.1", "1e+20", "nan", "inf").
std::string_view number_text(const TObject* x, char (&buf)[32]) {
  const std::to_chars_result r =
      with_number(x, [&](auto v) { return std::to_chars(buf, buf + sizeof buf, v); });
  return {buf, static_cast<size_t>(r.ptr - buf)};
}

// The whole number a non-number leaf stands for: a text parsed as a number by the kernel (0
// when it is none; a binary's bytes read as text), a handle-like value the address of the host
// data it holds. False for any other kind.
bool other_leaf_int64(VKL_State* L, const TObject* x, int64_t* v) {
  if (is_handle(x)) {
    const auto* box = static_cast<const VKL_Box*>(vkl_ptr(x));
    *v = box ? static_cast<int64_t>(reinterpret_cast<intptr_t>(box->data)) : 0;
    return true;
  }
  if (!is_text(x)) return false;
  if (x->tag != VKL_TBINARY) {
    *v = VKL_AsInt64(x);
    return true;
  }
  TObject text;
  vkl_put_nil(&text);
  const std::string_view bytes = bytes_of(x);
  if (!VKL_SetStringEx(L, &text, bytes.data(), static_cast<int64_t>(bytes.size()))) return false;
  *v = VKL_AsInt64(&text);
  VKL_FreeObjectContent(L, &text);
  return true;
}

}  // namespace

double date_of(int64_t yyyymmdd) {
  double date = std::nan("");
  if (yyyymmdd > 0 && yyyymmdd <= 99991231)
    VK_TryEncodeDate(static_cast<int>(yyyymmdd / 10000), static_cast<int>(yyyymmdd / 100 % 100),
                     static_cast<int>(yyyymmdd % 100), &date);
  return date;
}

int32_t yyyymmdd_of(double date) {
  uint16_t year = 0, month = 0, day = 0;
  VK_DecodeDate(date, &year, &month, &day);
  return year * 10000 + month * 100 + day;
}

// integer(x): numbers as clamped32; texts and handles as other_leaf_int64, clamped the same way.
bool to_integer(VKL_State* L, const TObject* x, TObject* out) {
  int64_t v = 0;
  if (vkl_is_number_tag(x->tag))
    v = with_number(x, [](auto n) { return clamped64(n); });
  else if (!other_leaf_int64(L, x, &v))
    return false;
  VKL_SetInt(L, out, clamped32(v));
  return true;
}

// int64(x): as integer, on 64 bits.
bool to_int64(VKL_State* L, const TObject* x, TObject* out) {
  int64_t v = 0;
  if (vkl_is_number_tag(x->tag))
    v = with_number(x, [](auto n) { return clamped64(n); });
  else if (!other_leaf_int64(L, x, &v))
    return false;
  VKL_SetInt64(L, out, v);
  return true;
}

// chr(x): the one-byte string of the low 8 bits of x (321 gives "A")
bool to_chr(VKL_State* L, const TObject* x, TObject* out) {
  if (!vkl_is_number_tag(x->tag)) return false;
  const char c = static_cast<char>(tolerant_int64(x) & 0xFF);
  return VKL_SetStringEx(L, out, &c, 1) != 0;
}

// widechr(x): the wide string of the character with code x. A code point beyond 0xFFFF up to
// 0x10FFFF becomes its surrogate pair; any other value keeps its low 16 bits as one unit, as
// chr keeps the low 8.
bool to_widechr(VKL_State* L, const TObject* x, TObject* out) {
  if (!vkl_is_number_tag(x->tag)) return false;
  const int64_t code = tolerant_int64(x);
  vkl_wchar units[2];
  int64_t n = 1;
  if (code > 0xFFFF && code <= 0x10FFFF) {
    units[0] = static_cast<vkl_wchar>(0xD800 + ((code - 0x10000) >> 10));
    units[1] = static_cast<vkl_wchar>(0xDC00 + ((code - 0x10000) & 0x3FF));
    n = 2;
  } else {
    units[0] = static_cast<vkl_wchar>(code & 0xFFFF);
  }
  return VKL_SetWStringEx(L, out, units, n) != 0;
}

// string(x): a number's text (number_text); a narrow string is copied, a wide string converted
// to the host code page, a binary's bytes become the string's bytes.
bool to_string(VKL_State* L, const TObject* x, TObject* out) {
  if (vkl_is_number_tag(x->tag)) {
    char buf[32];
    const std::string_view text = number_text(x, buf);
    return VKL_SetStringEx(L, out, text.data(), static_cast<int64_t>(text.size())) != 0;
  }
  if (x->tag == VKL_TWSTRING) {
    const std::u16string_view w = units_of(x);
    return VKL_SetStringFromWStr(L, out, w.data(), static_cast<int64_t>(w.size())) != 0;
  }
  if (!is_text(x)) return false;
  const std::string_view bytes = bytes_of(x);
  return VKL_SetStringEx(L, out, bytes.data(), static_cast<int64_t>(bytes.size())) != 0;
}

// widestring(x): as string, as a wide string (narrow text and binaries read in the host code
// page).
bool to_widestring(VKL_State* L, const TObject* x, TObject* out) {
  if (x->tag == VKL_TWSTRING) {
    const std::u16string_view w = units_of(x);
    return VKL_SetWStringEx(L, out, w.data(), static_cast<int64_t>(w.size())) != 0;
  }
  std::string_view text;
  char buf[32];
  if (vkl_is_number_tag(x->tag))
    text = number_text(x, buf);
  else if (is_text(x))
    text = bytes_of(x);
  else
    return false;
  return VKL_SetWStringFromStr(L, out, text.data(), static_cast<int64_t>(text.size())) != 0;
}

// binary(x): the bytes the value holds: a narrow string's or binary's bytes, a wide string's
// UTF-16 units, an integer's 4 bytes, an int64's 8 and a real's 8 (IEEE double), in the
// machine's (little-endian) order.
bool to_binary(VKL_State* L, const TObject* x, TObject* out) {
  if (x->tag == VKL_TWSTRING) {
    const std::u16string_view w = units_of(x);
    return VKL_SetBin(L, out, w.data(), static_cast<int64_t>(w.size() * sizeof(vkl_wchar))) != 0;
  }
  if (is_text(x)) {
    const std::string_view bytes = bytes_of(x);
    return VKL_SetBin(L, out, bytes.data(), static_cast<int64_t>(bytes.size())) != 0;
  }
  if (!vkl_is_number_tag(x->tag)) return false;
  return with_number(x, [&](auto v) { return VKL_SetBin(L, out, &v, sizeof v) != 0; });
}

// ord(x): the code of the first character of a text: a byte of a narrow string or binary, a
// code point of a wide string (a surrogate pair counts as one). An empty text has no first
// character and is not converted. A number is its own ordinal: a real is read by the tolerant
// reading, and the result is an integer when it fits 32 bits, else an int64.
bool to_ord(VKL_State* L, const TObject* x, TObject* out) {
  if (vkl_is_number_tag(x->tag)) {
    put_narrowed(out, tolerant_int64(x));
    return true;
  }
  if (x->tag == VKL_TWSTRING) {
    const std::u16string_view w = units_of(x);
    if (w.empty()) return false;
    int32_t code = w[0];
    if (w.size() > 1 && (w[0] & 0xFC00) == 0xD800 && (w[1] & 0xFC00) == 0xDC00)
      code = 0x10000 + ((w[0] - 0xD800) << 10) + (w[1] - 0xDC00);
    VKL_SetInt(L, out, code);
    return true;
  }
  if (!is_text(x)) return false;
  const std::string_view bytes = bytes_of(x);
  if (bytes.empty()) return false;
  VKL_SetInt(L, out, static_cast<unsigned char>(bytes[0]));
  return true;
}

// inttodate(n): the date of the day written yyyymmdd (20240131 is 2024-01-31), as a date real
// counting days from 1899-12-30; a real n is read by the tolerant reading. A number that names
// no day is not converted.
bool int_to_date(VKL_State* L, const TObject* x, TObject* out) {
  if (!vkl_is_number_tag(x->tag)) return false;
  const double date = date_of(tolerant_int64(x));
  if (std::isnan(date)) return false;
  VKL_SetReal(L, out, date);
  return true;
}

// datetoint(d): the day of a date real written as the integer yyyymmdd; the time of day is
// ignored. A value that is no date of the years 1 to 9999 (NaN included) is not converted.
bool date_to_int(VKL_State* L, const TObject* x, TObject* out) {
  if (!vkl_is_number_tag(x->tag)) return false;
  const int32_t day = yyyymmdd_of(number_of(x));
  if (day == 0) return false;
  VKL_SetInt(L, out, day);
  return true;
}

}  // namespace vkl::numeric::convert
