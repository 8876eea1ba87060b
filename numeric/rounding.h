// Rounding, truncation, absolute value, sign and parity, elementwise over numbers, tables and
// matrices. trunc, ceil, floor, round and simpleround give the narrowest of integer, int64 and
// real that holds the value; their 32 and 64 variants convert with no range check (out of
// range gives the smallest integer); int and frac stay reals; abs keeps integer kinds.
// Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <vkl/numbers.h>

#include <cmath>

#include "numeric/steps.h"
#include "plugin/function_row.h"

namespace vkl::numeric::rounding {

inline double trunc(double x) { return std::trunc(x); }
inline double ceil(double x) { return std::ceil(x); }
inline double floor(double x) { return std::floor(x); }
// The kernel's rounding to whole numbers (half to even; half away from zero after the nudge),
// inlined for the loops, over doubles and two doubles at a time.
inline constexpr auto round = [](auto x) { return vkl::round_half_even(x); };
inline constexpr auto simpleround = [](auto x) { return vkl::round_half_away(x); };
inline double frac(double x) { return x - std::trunc(x); }

inline int sign(double x) {
  if (x > 0) return 1;
  if (x < 0) return -1;
  return x == 0 ? 0 : (std::signbit(x) ? -1 : 1);  // a NaN answers by its sign bit
}

// abs(x): integers stay integers (-2147483648 becomes int64 2147483648), int64s wrap at the
// smallest, reals lose the sign bit. In a fixed matrix every element keeps its type.
struct Abs {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    if (x->tag == VKL_TINT) {
      const int32_t v = vkl_int(x);
      if (v == INT32_MIN)
        vkl_put_int64(t[0], -int64_t{v});
      else
        vkl_put_int(t[0], v < 0 ? -v : v);
    } else if (x->tag == VKL_TINT64) {
      vkl_put_int64(t[0], element(vkl_int64(x)));
    } else {
      vkl_put_real(t[0], std::fabs(vkl_real(x)));
    }
    return true;
  }
  static int32_t element(int32_t x) {
    return static_cast<int32_t>(x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x));
  }
  static int64_t element(int64_t x) {
    return static_cast<int64_t>(x < 0 ? 0ull - static_cast<uint64_t>(x) : static_cast<uint64_t>(x));
  }
  static double element(double x) { return std::fabs(x); }
};

// odd(x): 1 when the 64-bit tolerant integer of x leaves 1 divided by 2 (the remainder has
// the dividend's sign, so negative odd numbers give 0).
struct Odd {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_int(t[0], tolerant_int64(x) % 2 == 1);
    return true;
  }
  static double element(double x) { return tolerant_int64(x) % 2 == 1; }
};

inline constexpr plugin::FunctionRow kRoundingRows[] = {
    {"abs", unary<Abs>, "abs(x [, mode [, fill]])", "absolute value, integer kinds kept"},
    {"sign", unary<IntegerStep<sign>>, "sign(x [, mode [, fill]])", "-1, 0 or 1 by the sign of x"},
    {"odd", unary<Odd>, "odd(x [, mode [, fill]])", "1 when x is a positive odd whole number"},
    {"int", real_unary<trunc>, "int(x [, mode [, fill]])", "x truncated toward zero, as a real"},
    {"frac", real_unary<frac>, "frac(x [, mode [, fill]])", "x - int(x)"},
    {"trunc", unary<NarrowedStep<trunc>>, "trunc(x [, mode [, fill]])",
     "x truncated toward zero, as an integer when it fits"},
    {"ceil", unary<NarrowedStep<ceil>>, "ceil(x [, mode [, fill]])",
     "smallest whole number >= x, as an integer when it fits"},
    {"floor", unary<NarrowedStep<floor>>, "floor(x [, mode [, fill]])",
     "largest whole number <= x, as an integer when it fits"},
    {"round", unary<NarrowedStep<round>>, "round(x [, mode [, fill]])",
     "x rounded, ties to even, as an integer when it fits"},
    {"simpleround", unary<NarrowedStep<simpleround>>, "simpleround(x [, mode [, fill]])",
     "x rounded, ties away from zero, as an integer when it fits"},
    {"trunc32", unary<Int32Step<trunc>>, "trunc32(x [, mode [, fill]])", "trunc to 32 bits"},
    {"ceil32", unary<Int32Step<ceil>>, "ceil32(x [, mode [, fill]])", "ceil to 32 bits"},
    {"floor32", unary<Int32Step<floor>>, "floor32(x [, mode [, fill]])", "floor to 32 bits"},
    {"round32", unary<Int32Step<round>>, "round32(x [, mode [, fill]])", "round to 32 bits"},
    {"simpleround32", unary<Int32Step<simpleround>>, "simpleround32(x [, mode [, fill]])",
     "simpleround to 32 bits"},
    {"trunc64", unary<Int64Step<trunc>>, "trunc64(x [, mode [, fill]])", "trunc to 64 bits"},
    {"ceil64", unary<Int64Step<ceil>>, "ceil64(x [, mode [, fill]])", "ceil to 64 bits"},
    {"floor64", unary<Int64Step<floor>>, "floor64(x [, mode [, fill]])", "floor to 64 bits"},
    {"round64", unary<Int64Step<round>>, "round64(x [, mode [, fill]])", "round to 64 bits"},
    {"simpleround64", unary<Int64Step<simpleround>>, "simpleround64(x [, mode [, fill]])",
     "simpleround to 64 bits"},
};

}  // namespace vkl::numeric::rounding
