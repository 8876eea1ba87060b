#include "numeric/divmod_poly.h"

#include <cmath>
#include <cstdint>

#include "numeric/listed_numbers.h"

namespace vkl::numeric {

// Both operands are read as 64-bit tolerant integers; the quotient is truncated toward zero and
// the remainder takes the sign of a. A NaN operand or a zero divisor writes nothing. The
// outputs are int64 except in one case kept for compatibility: a quotient within 32 bits with
// a remainder of exactly -2147483648 gives two integers.
bool DivMod::scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
  if (std::isnan(number_of(a)) || std::isnan(number_of(b))) return true;
  const int64_t x = tolerant_int64(a), y = tolerant_int64(b);
  if (y == 0) return true;
  // The one overflowing quotient, INT64_MIN / -1, wraps to itself with remainder 0.
  const int64_t q = y == -1 ? static_cast<int64_t>(0 - static_cast<uint64_t>(x)) : x / y;
  const int64_t r = y == -1 ? 0 : x % y;
  if (q >= INT32_MIN && q <= INT32_MAX && r == INT32_MIN) {
    vkl_put_int(t[1], static_cast<int32_t>(q));
    vkl_put_int(t[2], static_cast<int32_t>(r));
  } else {
    vkl_put_int64(t[1], q);
    vkl_put_int64(t[2], r);
  }
  return true;
}

// The coefficients run from the constant term upward (see for_each_listed_number).
double Poly::value(double x, const TObject* coefficients) {
  double sum = 0;
  int64_t power = 0;
  for_each_listed_number(coefficients, [&](double term) {
    sum += power == 0 ? term : term * std::pow(x, static_cast<double>(power));
    ++power;
  });
  return sum;
}

}  // namespace vkl::numeric
