// Scalar steps built from plain functions of doubles, for the operations that differ only in
// the formula and the kind of their result.
#pragma once

#include <cmath>
#include <utility>

#include "numeric/apply.h"

namespace vkl::numeric {

// A real result of a real function.
template <double (*F)(double)>
struct RealStep {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_real(t[0], F(number_of(x)));
    return true;
  }
  static double element(double x) { return F(x); }
};

template <double (*F)(double)>
inline constexpr VKL_Handler real_unary = unary<RealStep<F>>;

// A whole number from a real function, in the narrowest kind that holds it; integers are
// their own value. F is a function of doubles, or an object that also takes Doubles2, which a
// fixed matrix of doubles then runs through two elements at a time.
template <auto F>
struct NarrowedStep {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    if (x->tag == VKL_TREAL)
      put_narrowed(t[0], F(vkl_real(x)));
    else
      put_narrowed(t[0], x->tag == VKL_TINT ? int64_t{vkl_int(x)} : vkl_int64(x));
    return true;
  }
  static double element(double x) { return F(x); }
  static Doubles2 element(Doubles2 x)
    requires requires { F(x); }
  {
    return F(x);
  }
};

// A whole number from a real function, converted to 32 or 64 bits with no range check.
template <auto F>
struct Int32Step {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_int(t[0], to_int32(F(number_of(x))));
    return true;
  }
  static double element(double x) { return to_int32(F(x)); }
};
template <auto F>
struct Int64Step {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_int64(t[0], to_int64(F(number_of(x))));
    return true;
  }
  static double element(double x) { return static_cast<double>(to_int64(F(x))); }
};

// An integer answer about a number (a test, a sign).
template <int (*F)(double)>
struct IntegerStep {
  static constexpr int kOutputs = 0;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_int(t[0], F(number_of(x)));
    return true;
  }
  static double element(double x) { return F(x); }
};

// Two numbers to a real.
template <int Code, double (*F)(double, double)>
struct RealPairStep {
  static constexpr int kCode = Code;
  static constexpr int kOutputs = 0;
  static constexpr Shape kShape1 = Shape::kNumber, kShape2 = Shape::kNumber;
  static constexpr bool kBuildResult = true;
  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    vkl_put_real(t[0], F(number_of(a), number_of(b)));
    return true;
  }
  static double element(double a, double b) { return F(a, b); }
};

// Two numbers to an integer answer.
template <int Code, int (*F)(double, double)>
struct IntegerPairStep {
  static constexpr int kCode = Code;
  static constexpr int kOutputs = 0;
  static constexpr Shape kShape1 = Shape::kNumber, kShape2 = Shape::kNumber;
  static constexpr bool kBuildResult = true;
  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    vkl_put_int(t[0], F(number_of(a), number_of(b)));
    return true;
  }
  static double element(double a, double b) { return F(a, b); }
};

}  // namespace vkl::numeric
