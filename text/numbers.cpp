// Number conversions of the system group. The driver has checked the count and the kinds; each
// function is one kernel conversion, narrow or wide as its string argument or its name says.
#include "text/numbers.h"

#include <vkl/format_settings.h>
#include <vkl/vk_numbers.h>

#include "text/text_args.h"

namespace vkl::text {
namespace {

// Hands the text a kernel routine makes to `cell`, from its W form when `wide`; the routine
// takes `in...` and then the length pointer.
template <auto Narrow, auto Wide, class... In>
int make_text(VKL_State* L, TObject* cell, bool wide, In... in) {
  int64_t n = 0;
  if (wide) {
    vkl_wchar* s = Wide(in..., &n);
    return take_text(L, cell, s, n);
  }
  char* s = Narrow(in..., &n);
  return take_text(L, cell, s, n);
}

// ---- text to numbers: one table drives the plain, def and try forms ----

enum class Target { Int32, IntAuto, Int64, Real, Currency, Bool };
enum class Form { Plain, Default, Try };

struct Conversion {
  int code;
  Target target;
  Form form;
};

constexpr Conversion kConversions[] = {
    {15, Target::IntAuto, Form::Plain},   {16, Target::IntAuto, Form::Default},
    {17, Target::IntAuto, Form::Try},     {18, Target::Bool, Form::Plain},
    {19, Target::Bool, Form::Default},    {20, Target::Bool, Form::Try},
    {26, Target::Real, Form::Plain},      {27, Target::Real, Form::Default},
    {28, Target::Real, Form::Try},        {29, Target::Currency, Form::Plain},
    {30, Target::Currency, Form::Default}, {31, Target::Currency, Form::Try},
    {103, Target::Int64, Form::Plain},    {104, Target::Int64, Form::Default},
    {105, Target::Int64, Form::Try},      {106, Target::Int32, Form::Plain},
    {107, Target::Int32, Form::Default},  {108, Target::Int32, Form::Try},
};

// A parsed value: integers and booleans in `integer`, reals and currency in `real`.
struct Number {
  int64_t integer = 0;
  double real = 0;
};

// The kernel's parsers by width.
int try_int32(const char* s, int64_t n, int32_t* v) { return VK_trystrtoint(s, n, v); }
int try_int32(const vkl_wchar* s, int64_t n, int32_t* v) { return VK_trystrtointW(s, n, v); }
int try_int64(const char* s, int64_t n, int64_t* v) { return VK_trystrtoint64(s, n, v); }
int try_int64(const vkl_wchar* s, int64_t n, int64_t* v) { return VK_trystrtoint64W(s, n, v); }
int try_bool(const char* s, int64_t n, int* v) { return VK_trystrtobool(s, n, v); }
int try_bool(const vkl_wchar* s, int64_t n, int* v) { return VK_trystrtoboolW(s, n, v); }
int try_real(const char* s, int64_t n, double* v, const VKL_FormatSettings* fs) {
  return VK_trystrtofloat(s, n, v, fs);
}
int try_real(const vkl_wchar* s, int64_t n, double* v, const VKL_FormatSettings* fs) {
  return VK_trystrtofloatW(s, n, v, fs);
}
int try_currency(const char* s, int64_t n, VK_Currency* v, const VKL_FormatSettings* fs) {
  return VK_TextToCurrencyA(s, n, v, fs);
}
int try_currency(const vkl_wchar* s, int64_t n, VK_Currency* v, const VKL_FormatSettings* fs) {
  return VK_TextToCurrencyW(s, n, v, fs);
}

template <class Char>
bool parse(Target t, const Char* s, int64_t len, const VKL_FormatSettings* fs, Number* out) {
  int32_t i32 = 0;
  int b = 0;
  VK_Currency c = 0;
  switch (t) {
    case Target::Int32:
      if (!try_int32(s, len, &i32)) return false;
      out->integer = i32;
      return true;
    case Target::IntAuto:
    case Target::Int64:
      return try_int64(s, len, &out->integer);
    case Target::Real:
      return try_real(s, len, &out->real, fs);
    case Target::Currency:
      if (!try_currency(s, len, &c, fs)) return false;
      out->real = VK_CurrToFloat(c);
      return true;
    case Target::Bool:
      if (!try_bool(s, len, &b)) return false;
      out->integer = b;
      return true;
  }
  return false;
}

bool parse_arg(Target t, const TObject* s, const VKL_FormatSettings* fs, Number* out) {
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    return parse(t, w.data(), length_of(w), fs, out);
  }
  const std::string_view a = narrow_of(s);
  return parse(t, a.data(), length_of(a), fs, out);
}

Number default_of(Target t, const TObject* d) {
  Number n;
  if (t == Target::Real || t == Target::Currency) n.real = VKL_AsDouble(d);
  else if (t == Target::Bool) n.integer = VKL_AsBool(d);
  else if (t == Target::Int32) n.integer = VKL_AsInt(d);
  else n.integer = VKL_AsInt64(d);
  return n;
}

void set_number(VKL_State* L, TObject* cell, Target t, const Number& v) {
  switch (t) {
    case Target::Int32:
    case Target::Bool:
      return VKL_SetInt(L, cell, static_cast<int32_t>(v.integer));
    case Target::IntAuto:
      return VKL_SetIntAuto(L, cell, v.integer);
    case Target::Int64:
      return VKL_SetInt64(L, cell, v.integer);
    case Target::Real:
    case Target::Currency:
      return VKL_SetReal(L, cell, v.real);
  }
}

int convert_text(VKL_State* L, TObject* args, TObject* result, const Conversion& c) {
  Number v;
  const bool parsed = parse_arg(c.target, coded_arg(args, 0), VKL_GetGFormat(L), &v);
  switch (c.form) {
    case Form::Plain:
      if (!parsed) return 0;
      break;
    case Form::Default:
      if (!parsed) v = default_of(c.target, coded_arg(args, 1));
      break;
    case Form::Try:
      if (parsed) set_number(L, coded_arg(args, 1), c.target, v);
      VKL_SetInt(L, result, parsed ? 1 : 0);
      return 1;
  }
  set_number(L, result, c.target, v);
  return 1;
}

// ---- numbers to text ----

// The argument as currency; false when it is out of the currency range or not a number.
bool currency_arg(const TObject* x, VK_Currency* out) { return VK_FloatToCurr(VKL_AsDouble(x), out); }

// inttostr and inttohex: 32-bit conversions for a 32-bit integer, 64-bit ones otherwise.
int integer_text(VKL_State* L, TObject* args, TObject* result, bool hex, bool wide) {
  const TObject* x = coded_arg(args, 0);
  if (hex) {
    const int digits = VKL_AsInt(coded_arg(args, 1));
    if (x->tag == VKL_TINT)
      return make_text<VK_IntToHex, VK_IntToHexW>(L, result, wide, vkl_int(x), digits);
    return make_text<VK_Int64ToHex, VK_Int64ToHexW>(L, result, wide, VKL_AsInt64(x), digits);
  }
  if (x->tag == VKL_TINT) return make_text<VK_IntToStr, VK_IntToStrW>(L, result, wide, vkl_int(x));
  return make_text<VK_Int64ToStr, VK_Int64ToStrW>(L, result, wide, VKL_AsInt64(x));
}

int unsigned_text(VKL_State* L, TObject* args, TObject* result, bool wide) {
  const TObject* x = coded_arg(args, 0);
  if (x->tag == VKL_TINT)
    return make_text<VK_UIntToStr, VK_UIntToStrW>(L, result, wide,
                                                  static_cast<uint32_t>(vkl_int(x)));
  return make_text<VK_UInt64ToStr, VK_UInt64ToStrW>(L, result, wide,
                                                    static_cast<uint64_t>(VKL_AsInt64(x)));
}

// str: an integer's digits, a real's classic scientific text, into the output argument.
int str_text(VKL_State* L, TObject* args, bool wide) {
  const TObject* x = coded_arg(args, 0);
  TObject* out = coded_arg(args, 1);
  if (x->tag == VKL_TINT || x->tag == VKL_TINT64)
    return make_text<VK_Int64ToStr, VK_Int64ToStrW>(L, out, wide, VKL_AsInt64(x));
  return make_text<VK_StrReal, VK_StrRealW>(L, out, wide, VKL_AsDouble(x));
}

int val_text(VKL_State* L, TObject* args) {
  const TObject* s = coded_arg(args, 0);
  double value = 0;
  int code = 0;
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    code = VK_ValW(w.data(), length_of(w), &value);
  } else {
    const std::string_view a = narrow_of(s);
    code = VK_Val(a.data(), length_of(a), &value);
  }
  VKL_SetReal(L, coded_arg(args, 1), value);
  VKL_SetInt(L, coded_arg(args, 2), code);
  return 1;
}

}  // namespace

int number_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  const VKL_FormatSettings* fs = VKL_GetGFormat(L);
  const TObject* x = coded_arg(args, 0);
  VK_Currency cy = 0;
  switch (code) {
    case 2:
    case 102:
      return str_text(L, args, code == 102);
    case 3:
      return val_text(L, args);
    case 13:
    case 90:
      return integer_text(L, args, result, false, code == 90);
    case 14:
    case 91:
      return integer_text(L, args, result, true, code == 91);
    case 123:
    case 124:
      return unsigned_text(L, args, result, code == 124);
    case 21:
    case 92:
    case 93:
    case 94:
      return make_text<VK_BoolToStr, VK_BoolToStrW>(L, result, code >= 93, VKL_AsBool(x),
                                                    code == 92 || code == 94);
    case 22:
    case 97:
      return make_text<VK_FloatToStr, VK_FloatToStrW>(L, result, code == 97, VKL_AsDouble(x), fs);
    case 23:
    case 98:
      if (!currency_arg(x, &cy)) return 0;
      return make_text<VK_CurrToStr, VK_CurrToStrW>(L, result, code == 98, cy, fs);
    case 24:
      return map_text<VK_FormatFloat, VK_FormatFloatW>(L, x, result,
                                                       VKL_AsDouble(coded_arg(args, 1)), fs);
    case 25:
      if (!currency_arg(coded_arg(args, 1), &cy)) return 0;
      return map_text<VK_FormatCurr, VK_FormatCurrW>(L, x, result, cy, fs);
    default:
      for (const Conversion& c : kConversions)
        if (c.code == code) return convert_text(L, args, result, c);
      return 0;
  }
}

}  // namespace vkl::text
