// Conversions: numbers to reals, integers of either width, bit patterns, characters, texts,
// binaries, ordinals and dates. `integer`, `int64`, `string`, `widestring`, `binary` and `ord`
// also take texts (and `integer`, `int64` handle-like values); the rest take numbers. Over a
// fixed matrix the numeric conversions give a fixed matrix; those giving texts take it as a
// leaf they cannot convert.
// Failure policy: that of the elementwise drivers (numeric/apply.h); a leaf a step cannot
// convert (an empty text for ord, a number naming no day for inttodate) is left to the mode
// and fill rules.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "numeric/whole.h"
#include "plugin/function_row.h"

namespace vkl::numeric::convert {

// The steps for one leaf of any kind (convert.cpp): false when it cannot be converted.
bool to_integer(VKL_State* L, const TObject* x, TObject* out);
bool to_int64(VKL_State* L, const TObject* x, TObject* out);
bool to_chr(VKL_State* L, const TObject* x, TObject* out);
bool to_widechr(VKL_State* L, const TObject* x, TObject* out);
bool to_string(VKL_State* L, const TObject* x, TObject* out);
bool to_widestring(VKL_State* L, const TObject* x, TObject* out);
bool to_binary(VKL_State* L, const TObject* x, TObject* out);
bool to_ord(VKL_State* L, const TObject* x, TObject* out);
bool int_to_date(VKL_State* L, const TObject* x, TObject* out);
bool date_to_int(VKL_State* L, const TObject* x, TObject* out);

// The date of the day written yyyymmdd, or NaN when there is no such day.
double date_of(int64_t yyyymmdd);
// The day of a date written yyyymmdd, or 0 when the value is no date of the years 1..9999.
int32_t yyyymmdd_of(double date);

// integer and int64 of a number: a real by the tolerant reading (2.9999999 is 3, -2.7 is -2),
// anything beyond the width clamped to it, NaN 0.
template <Number T>
int64_t clamped64(T v) {
  if constexpr (std::is_same_v<T, double>) {
    if (std::isnan(v)) return 0;
    if (v >= 9223372036854775807.0) return INT64_MAX;
    if (v <= -9223372036854775808.0) return INT64_MIN;
    return tolerant_int64(v);
  } else {
    return v;
  }
}
template <Number T>
int32_t clamped32(T v) {
  const int64_t w = clamped64(v);
  return w > INT32_MAX ? INT32_MAX : w < INT32_MIN ? INT32_MIN : static_cast<int32_t>(w);
}

// A step that answers numbers and other leaves alike.
template <bool (*F)(VKL_State*, const TObject*, TObject*)>
struct LeafStep {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State* L, const TObject* x, TObject* const* t) { return F(L, x, t[0]); }
  static bool other(VKL_State* L, const TObject* x, TObject* const* t) { return F(L, x, t[0]); }
};

// A conversion of a number read as a double: Op::element gives the result, whose type picks
// its kind.
template <class Op>
struct FromDouble {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    put_whole(t[0], Op::element(number_of(x)));
    return true;
  }
};

// real(x): the number as a real
struct Real : FromDouble<Real> {
  template <Number T> static double element(T v) { return static_cast<double>(v); }
};
// intstof(x): the 32-bit pattern of x as a single-precision number (1 gives 1065353216)
struct SingleBits : FromDouble<SingleBits> {
  template <Number T> static int32_t element(T v) {
    return std::bit_cast<int32_t>(static_cast<float>(v));
  }
};
// int64stod(x): the 64-bit pattern of x as a double (1 gives 4607182418800017408)
struct DoubleBits : FromDouble<DoubleBits> {
  template <Number T> static int64_t element(T v) {
    return std::bit_cast<int64_t>(static_cast<double>(v));
  }
};

struct Integer : LeafStep<to_integer> {
  template <Number T> static int32_t element(T v) { return clamped32(v); }
};
struct Int64 : LeafStep<to_int64> {
  template <Number T> static int64_t element(T v) { return clamped64(v); }
};
// An integer stays 32 bits wide over a fixed matrix; other numbers give 64.
struct Ord : LeafStep<to_ord> {
  template <Number T> static auto element(T v) {
    if constexpr (std::is_same_v<T, int32_t>)
      return v;
    else
      return whole64(v);
  }
};
// Over a fixed matrix a number naming no day gives NaN.
struct IntToDate : LeafStep<int_to_date> {
  template <Number T> static double element(T v) { return date_of(whole64(v)); }
};
// Over a fixed matrix a value that is no date gives 0.
struct DateToInt : LeafStep<date_to_int> {
  template <Number T> static int32_t element(T v) { return yyyymmdd_of(static_cast<double>(v)); }
};

}  // namespace vkl::numeric::convert

namespace vkl::plugin {

inline constexpr FunctionRow kConvertRows[] = {
    {"real", numeric::unary<numeric::convert::Real>, "real(x [, mode [, fill]])", "x as a real"},
    {"intstof", numeric::unary<numeric::convert::SingleBits>, "intstof(x [, mode [, fill]])",
     "the 32-bit pattern of x as a single-precision number"},
    {"int64stod", numeric::unary<numeric::convert::DoubleBits>, "int64stod(x [, mode [, fill]])",
     "the 64-bit pattern of x as a double"},
    {"integer", numeric::unary<numeric::convert::Integer>, "integer(x [, mode [, fill]])",
     "x as a 32-bit integer (reals rounded tolerantly toward zero, texts parsed)"},
    {"int64", numeric::unary<numeric::convert::Int64>, "int64(x [, mode [, fill]])",
     "x as a 64-bit integer (reals rounded tolerantly toward zero, texts parsed)"},
    {"chr", numeric::unary<numeric::convert::LeafStep<numeric::convert::to_chr>>,
     "chr(x [, mode [, fill]])", "the one-byte string of code x (low 8 bits)"},
    {"widechr", numeric::unary<numeric::convert::LeafStep<numeric::convert::to_widechr>>,
     "widechr(x [, mode [, fill]])", "the wide string of the character with code point x"},
    {"string", numeric::unary<numeric::convert::LeafStep<numeric::convert::to_string>>,
     "string(x [, mode [, fill]])", "the text of x (reals in their shortest exact form)"},
    {"widestring", numeric::unary<numeric::convert::LeafStep<numeric::convert::to_widestring>>,
     "widestring(x [, mode [, fill]])", "the text of x as a wide string"},
    {"binary", numeric::unary<numeric::convert::LeafStep<numeric::convert::to_binary>>,
     "binary(x [, mode [, fill]])", "the bytes x holds, as a binary"},
    {"ord", numeric::unary<numeric::convert::Ord>, "ord(x [, mode [, fill]])",
     "the code of the first character of a text; a number as a whole number"},
    {"inttodate", numeric::unary<numeric::convert::IntToDate>, "inttodate(yyyymmdd [, mode [, fill]])",
     "the date real of the day written yyyymmdd"},
    {"datetoint", numeric::unary<numeric::convert::DateToInt>, "datetoint(date [, mode [, fill]])",
     "the day of a date real written as the integer yyyymmdd"},
};

}  // namespace vkl::plugin
