// The arithmetic, comparison and joining of values. Integers compute in 64 bits (wrapping)
// and come out as kind 0 when they fit 32 bits, else 20; reals follow IEEE, `div` of reals
// truncates their quotient and `mod` of reals is fmod. Numbers compare by value, texts
// bytewise (narrow) or by UTF-16 units (a narrow one meeting a wide one is widened), other
// values are equal when the kernel finds them equal.
#pragma once

#include <vkl/kernel.h>

#include <string>

#include "host/vkl/ast.h"

namespace vkl::lang {

// Computes `a op b` into `out` (a nil cell). Returns an empty string, or the error.
std::string apply_binary(VKL_State* L, BinaryOp op, const TObject* a, const TObject* b,
                         TObject* out);
std::string apply_negate(const TObject* a, TObject* out);

// The integer result of a 64-bit computation.
inline void put_integer(TObject* out, int64_t v) {
  if (v >= INT32_MIN && v <= INT32_MAX) vkl_put_int(out, static_cast<int32_t>(v));
  else vkl_put_int64(out, v);
}

// A kind's name for messages ("integer", "table" ...).
std::string kind_name(const TObject* o);

}  // namespace vkl::lang
