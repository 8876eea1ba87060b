// The text formatter behind `format`: one pass over the format, in either character width.
// A text that outgrows the buffer is still measured to its end, so that a malformed format is
// reported as an error whatever the buffer's size.
#include <vkl/format_buf.h>
#include <vkl/kernel.h>
#include <vkl/vk_numbers.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "float_to_text.h"

namespace {

constexpr int kDefaultSignificant = 15;
constexpr int kMaxSignificant = 18;
// No index, width or precision written.
constexpr int64_t kAbsent = std::numeric_limits<int64_t>::min();

// One parsed specifier.
struct Conversion {
  bool left = false;
  int64_t width = 0;
  int64_t precision = -1;  // -1: none given
  char type = 0;           // lower case
};

// An integer argument: its value, and whether it is a 64-bit one (kind 20).
struct Integer {
  int64_t value;
  bool wide;
};

bool integer_of(const TObject* o, Integer* out) {
  if (o->tag == VKL_TINT) {
    *out = {vkl_int(o), false};
  } else if (o->tag == VKL_TINT64) {
    *out = {vkl_int64(o), true};
  } else {
    return false;
  }
  return true;
}

bool real_of(const TObject* o, double* out) {
  if (!vkl_is_number_tag(o->tag)) return false;
  *out = VKL_AsDouble(o);
  return true;
}

// An address: an integer, nil (0), or the pointer of a value held by pointer.
bool pointer_of(const TObject* o, uint64_t* out) {
  Integer i;
  if (integer_of(o, &i)) {
    *out = static_cast<uint64_t>(i.value);
    return true;
  }
  switch (o->tag) {
    case VKL_TNIL:
      *out = 0;
      return true;
    case VKL_TSTRING: case VKL_TSTRING2: case VKL_TWSTRING: case VKL_TBINARY: case VKL_TTABLE:
    case VKL_TMATRIX: case VKL_TFIXEDMATRIX: case VKL_TFMELEMENT:
      break;
    default:
      if (!vkl_is_box_tag(o->tag)) return false;
  }
  *out = reinterpret_cast<uintptr_t>(vkl_ptr(o));
  return true;
}

int64_t next_char(const char* s, int64_t len, int64_t i) { return VKL_NextCharIndex(s, len, i); }
int64_t next_char(const vkl_wchar* s, int64_t len, int64_t i) {
  return VKL_NextCharIndexW(s, len, i);
}

// The longest prefix of `text` of at most `limit` units that ends on a character boundary.
template <class Ch>
std::basic_string_view<Ch> cut(std::basic_string_view<Ch> text, int64_t limit) {
  if (limit < 0 || static_cast<size_t>(limit) >= text.size()) return text;
  const auto len = static_cast<int64_t>(text.size());
  int64_t end = 0;
  for (int64_t next; end < limit && (next = next_char(text.data(), len, end)) <= limit;) end = next;
  return text.substr(0, static_cast<size_t>(end));
}

template <class Ch>
class Formatter {
 public:
  Formatter(Ch* buf, int64_t capacity, const TObject* args, int nargs,
            const VKL_FormatSettings& fs)
      : out_{buf, capacity}, args_(args), nargs_(nargs), fs_(fs) {}

  int64_t run(const Ch* p, const Ch* end) {
    while (p < end) {
      const Ch* percent = p;
      while (percent < end && *percent != Ch('%')) ++percent;
      out_.put({p, static_cast<size_t>(percent - p)});
      if (percent == end) break;
      p = percent + 1;
      if (p < end && *p == Ch('%')) {
        out_.put(*p++);
        continue;
      }
      if (!specifier(p, end)) return VKL_FORMAT_ERROR;
    }
    return out_.n > out_.cap ? int64_t{VKL_FORMAT_SHORT} : out_.n;
  }

 private:
  // Parses and renders one specifier starting after its '%'; false when it is malformed or its
  // argument is missing or of the wrong kind.
  bool specifier(const Ch*& p, const Ch* end) {
    Conversion conv;
    int64_t n = kAbsent;
    if (!count(p, end, &n)) return false;
    if (p < end && *p == Ch(':')) {
      if (n < 0 || n >= nargs_) return false;
      next_arg_ = static_cast<int>(n);
      ++p;
      n = kAbsent;
      if (!count(p, end, &n)) return false;
    }
    if (n == kAbsent && p < end && *p == Ch('-')) {
      conv.left = true;
      ++p;
      if (!count(p, end, &n)) return false;
    }
    if (n != kAbsent) conv.width = n;
    if (p < end && *p == Ch('.')) {
      ++p;
      conv.precision = 0;  // "." alone is a precision of 0; a negative one taken is none
      if (!count(p, end, &conv.precision)) return false;
      if (conv.precision < 0) conv.precision = -1;
    }
    if (p >= end || *p > 0x7F) return false;
    conv.type = static_cast<char>(*p++ | 0x20);
    const TObject* arg = take_arg();
    return arg && render(conv, arg);
  }

  // Digits or '*' (an integer argument); `n` stays as it was when neither is there. A
  // negative width taken from an argument makes the field left-justified.
  bool count(const Ch*& p, const Ch* end, int64_t* n) {
    if (p < end && *p == Ch('*')) {
      ++p;
      const TObject* arg = take_arg();
      Integer i;
      if (!arg || !integer_of(arg, &i) || i.value > std::numeric_limits<int32_t>::max() ||
          i.value < -std::numeric_limits<int32_t>::max())
        return false;
      *n = i.value;
      return true;
    }
    if (p >= end || *p < Ch('0') || *p > Ch('9')) return true;
    int64_t v = 0;
    for (; p < end && *p >= Ch('0') && *p <= Ch('9'); ++p) {
      v = v * 10 + (*p - Ch('0'));
      if (v > std::numeric_limits<int32_t>::max()) return false;
    }
    *n = v;
    return true;
  }

  const TObject* take_arg() {
    if (next_arg_ >= nargs_) return nullptr;
    return vkl_follow(&args_[next_arg_++]);
  }

  bool render(Conversion conv, const TObject* arg) {
    if (conv.width < 0) {
      conv.left = true;
      conv.width = -conv.width;
    }
    switch (conv.type) {
      case 'd': case 'u': case 'x': return render_integer(conv, arg);
      case 'e': return render_real(conv, arg, VK_ffExponent);
      case 'f': return render_real(conv, arg, VK_ffFixed);
      case 'g': return render_real(conv, arg, VK_ffGeneral);
      case 'n': return render_real(conv, arg, VK_ffNumber);
      case 'm': return render_real(conv, arg, VK_ffCurrency);
      case 'p': return render_pointer(conv, arg);
      case 's': return render_string(conv, arg);
      default: return false;
    }
  }

  bool render_integer(const Conversion& conv, const TObject* arg) {
    Integer i;
    if (!integer_of(arg, &i)) return false;
    uint64_t magnitude;
    bool negative = false;
    if (conv.type == 'd') {
      negative = i.value < 0;
      magnitude = negative ? 0 - static_cast<uint64_t>(i.value) : static_cast<uint64_t>(i.value);
    } else {
      // u and x read the value's own bit pattern: 32 bits for a 32-bit integer.
      magnitude = i.wide ? static_cast<uint64_t>(i.value) : static_cast<uint32_t>(i.value);
    }
    char digits[24];
    const int len = unsigned_text(digits, magnitude, conv.type == 'x' ? 16 : 10);
    const int64_t zeros = conv.precision > len ? conv.precision - len : 0;
    emit(conv, negative ? "-" : "", zeros, {digits, static_cast<size_t>(len)});
    return true;
  }

  bool render_pointer(const Conversion& conv, const TObject* arg) {
    uint64_t address;
    if (!pointer_of(arg, &address)) return false;
    char digits[24];
    const int len = unsigned_text(digits, address, 16);
    emit(conv, "", 16 - len, {digits, static_cast<size_t>(len)});
    return true;
  }

  // The real's text is written in place; a right-justified field then moves it over to make
  // room for its padding.
  bool render_real(const Conversion& conv, const TObject* arg, int format) {
    double value;
    if (!real_of(arg, &value)) return false;
    int precision = kMaxSignificant;
    int digits;
    if (format == VK_ffExponent || format == VK_ffGeneral) {
      if (conv.precision >= 0) precision = static_cast<int>(std::clamp<int64_t>(conv.precision, 1, kMaxSignificant));
      else precision = kDefaultSignificant;
      digits = format == VK_ffExponent ? 3 : 0;
    } else {
      const int fallback = format == VK_ffCurrency ? fs_.currencyDecimals : 2;
      digits = conv.precision < 0 ? fallback
                                  : static_cast<int>(std::min<int64_t>(conv.precision, kMaxSignificant));
    }
    const int64_t start = out_.n;
    const int64_t room = std::max<int64_t>(out_.cap - start, 0);
    Ch* at = room > 0 ? out_.buf + start : nullptr;
    const int64_t len = float_text(at, room, value, format, precision, digits);
    if (len < 0) return false;
    out_.n = start + len;
    const int64_t pad = conv.width - len;
    if (pad <= 0) return true;
    if (conv.left) {
      out_.fill(Ch(' '), pad);
    } else {
      if (out_.n + pad <= out_.cap) {
        std::char_traits<Ch>::move(at + pad, at, static_cast<size_t>(len));
        std::char_traits<Ch>::assign(at, static_cast<size_t>(pad), Ch(' '));
      }
      out_.n += pad;
    }
    return true;
  }

  int64_t float_text(char* at, int64_t room, double value, int format, int precision, int digits) {
    return FloatToTextA(at, room, &value, VK_fvDouble, format, precision, digits, &fs_);
  }
  int64_t float_text(vkl_wchar* at, int64_t room, double value, int format, int precision,
                     int digits) {
    return FloatToTextW(at, room, &value, VK_fvDouble, format, precision, digits, &fs_);
  }

  bool render_string(const Conversion& conv, const TObject* arg) {
    std::basic_string_view<Ch> text;
    if (arg->tag == VKL_TWSTRING) {
      if (!in_width(VKL_AsWString(arg), VKL_WStringLen(arg), &text)) return false;
    } else if (vkl_is_string_tag(arg->tag)) {
      if (!in_width(VKL_AsString(arg), VKL_StringLen(arg), &text)) return false;
    } else {
      return false;
    }
    text = cut(text, conv.precision);
    pad_around(conv, static_cast<int64_t>(text.size()), [&] { out_.put(text); });
    return true;
  }

  static int unsigned_text(char* out, uint64_t v, int base) {
    const auto done = std::to_chars(out, out + 24, v, base);
    const int len = static_cast<int>(done.ptr - out);
    if (base == 16)
      for (int k = 0; k < len; ++k)
        if (out[k] >= 'a') out[k] = static_cast<char>(out[k] - 'a' + 'A');
    return len;
  }

  // Writes a sign, `zeros` zeros and ASCII digits as one padded field.
  void emit(const Conversion& conv, std::string_view sign, int64_t zeros, std::string_view digits) {
    pad_around(conv, static_cast<int64_t>(sign.size() + digits.size()) + zeros, [&] {
      out_.put_ascii(sign);
      out_.fill(Ch('0'), zeros);
      out_.put_ascii(digits);
    });
  }

  template <class Body>
  void pad_around(const Conversion& conv, int64_t len, Body body) {
    const int64_t pad = conv.width - len;
    if (!conv.left) out_.fill(Ch(' '), pad);
    body();
    if (conv.left) out_.fill(Ch(' '), pad);
  }

  // Text of either width as a view in this formatter's width; a conversion goes through the
  // host code page into scratch_. False when the conversion fails.
  template <class From>
  bool in_width(const From* s, int64_t len, std::basic_string_view<Ch>* out) {
    if constexpr (std::is_same_v<From, Ch>) {
      *out = {s, static_cast<size_t>(len)};
      return true;
    } else if constexpr (std::is_same_v<Ch, vkl_wchar>) {
      if (is_ascii(s, len)) {
        scratch_.assign(s, s + len);
      } else {
        const int64_t need = VKL_MultiByteToWide(0, s, len, nullptr, 0);
        if (need < 0) return false;
        scratch_.resize(static_cast<size_t>(need));
        VKL_MultiByteToWide(0, s, len, scratch_.data(), need);
      }
      *out = scratch_;
      return true;
    } else {
      const int64_t need = VKL_WideToMultiByte(0, s, len, nullptr, 0);
      if (need < 0) return false;
      scratch_.resize(static_cast<size_t>(need));
      VKL_WideToMultiByte(0, s, len, scratch_.data(), need);
      *out = scratch_;
      return true;
    }
  }

  static bool is_ascii(const char* s, int64_t len) {
    for (int64_t k = 0; k < len; ++k)
      if (static_cast<unsigned char>(s[k]) >= 0x80) return false;
    return true;
  }

  vkl::TextOut<Ch> out_;
  const TObject* args_;
  int nargs_;
  int next_arg_ = 0;
  const VKL_FormatSettings& fs_;
  std::basic_string<Ch> scratch_;
};

template <class Ch>
int64_t format_buf(Ch* buf, int64_t capacity, const Ch* format, int64_t format_len,
                   const TObject* args, int nargs, const VKL_FormatSettings* settings) {
  if (capacity < 0 || (!buf && capacity > 0) || format_len < 0 || (!format && format_len > 0) ||
      nargs < 0 || (!args && nargs > 0))
    return VKL_FORMAT_ERROR;
  try {
    Formatter<Ch> formatter(buf, capacity, args, nargs, settings ? *settings : *VKL_GetGFormat(nullptr));
    return formatter.run(format, format + format_len);
  } catch (const std::bad_alloc&) {
    return VKL_FORMAT_ERROR;
  }
}

}  // namespace

int64_t FormatBufA(char* buf, int64_t capacity, const char* format, int64_t formatLen,
                   const TObject* args, int nargs, const VKL_FormatSettings* settings) {
  return format_buf(buf, capacity, format, formatLen, args, nargs, settings);
}

int64_t FormatBufW(vkl_wchar* buf, int64_t capacityBytes, const vkl_wchar* format,
                   int64_t formatLen, const TObject* args, int nargs,
                   const VKL_FormatSettings* settings) {
  return format_buf(buf, capacityBytes < 0 ? capacityBytes : capacityBytes / 2, format, formatLen,
                    args, nargs, settings);
}
