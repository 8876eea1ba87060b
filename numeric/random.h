// randg(mean, sd) and randomrange(bound1, bound2): draws from the interpreter's per-thread
// uniform generator (writing the system parameter "randseed" makes them repeatable).
// Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <vkl/random.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "numeric/whole.h"
#include "plugin/function_row.h"

namespace vkl::numeric {

template <int Code, class Draw>
struct DrawStep : PairTraits<Code> {
  template <Number A, Number B> static double element(A a, B b) { return Draw::draw(a, b); }
  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    with_number(a, [&](auto x) { with_number(b, [&](auto y) { vkl_put_real(t[0], element(x, y)); }); });
    return true;
  }
};

// A normal draw by the polar method; only the first of the pair it makes is used.
struct Gaussian {
  template <Number A, Number B> static double draw(A mean, B sd) {
    double u = 0, s = 0;
    do {
      u = 2 * Random() - 1;
      const double v = 2 * Random() - 1;
      s = u * u + v * v;
    } while (s >= 1);
    return u * std::sqrt(-2 * std::log(s) / s) * static_cast<double>(sd) + static_cast<double>(mean);
  }
};

// A whole number from the smaller bound up to one below the larger (the smaller bound itself
// when they are equal); bounds are read by the tolerant reading.
struct Range {
  template <Number A, Number B> static double draw(A a, B b) {
    const int64_t x = whole64(a), y = whole64(b);
    const int64_t lo = std::min(x, y);
    const uint64_t span = static_cast<uint64_t>(std::max(x, y)) - static_cast<uint64_t>(lo);
    // Bounds further apart than the int64 range draw over the widest range there is.
    const int64_t range = span > uint64_t{INT64_MAX} ? INT64_MAX : static_cast<int64_t>(span);
    return static_cast<double>(lo + RandomInt(range));
  }
};

}  // namespace vkl::numeric

namespace vkl::plugin {

inline constexpr FunctionRow kRandomRows[] = {
    {"randg", numeric::binary<numeric::DrawStep<8, numeric::Gaussian>>,
     "randg(mean, sd [, mode [, fill]])", "a normally distributed random real"},
    {"randomrange", numeric::binary<numeric::DrawStep<9, numeric::Range>>,
     "randomrange(bound1, bound2 [, mode [, fill]])",
     "a random whole real from the smaller bound to one below the larger"},
};

}  // namespace vkl::plugin
