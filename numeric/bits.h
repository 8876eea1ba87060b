// Bit operations: and, or, xor, shifts and rotations, complement. They work on 32 bits and
// give an integer, unless an int64 is involved (either operand of and, or, xor; the value of a
// shift): then on 64 bits, giving an int64. Reals are read by the tolerant reading. Over a
// fixed matrix the element kind is kept (a matrix of reals gives reals holding the integers).
// Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <cstdint>
#include <type_traits>

#include "numeric/whole.h"
#include "plugin/function_row.h"

namespace vkl::numeric::bits {

// Shifts and rotations take only the low 8 bits of the count, then mask it to the width, so a
// count of 33 on 32 bits acts as 1.
template <class U>
constexpr unsigned count_of(U count) {
  return static_cast<unsigned>(count & 0xFF) & (sizeof(U) * 8 - 1);
}

struct And {
  static constexpr bool kWideIfEither = true;
  template <class U> static U apply(U a, U b) { return a & b; }
};
struct Or {
  static constexpr bool kWideIfEither = true;
  template <class U> static U apply(U a, U b) { return a | b; }
};
struct Xor {
  static constexpr bool kWideIfEither = true;
  template <class U> static U apply(U a, U b) { return a ^ b; }
};
struct Shl {
  static constexpr bool kWideIfEither = false;
  template <class U> static U apply(U v, U c) { return static_cast<U>(v << count_of(c)); }
};
// Logical: zeros come in from the left, also for negative values.
struct Shr {
  static constexpr bool kWideIfEither = false;
  template <class U> static U apply(U v, U c) { return static_cast<U>(v >> count_of(c)); }
};
struct Rol {
  static constexpr bool kWideIfEither = false;
  template <class U> static U apply(U v, U c) {
    const unsigned n = count_of(c);
    return n == 0 ? v : static_cast<U>((v << n) | (v >> (sizeof(U) * 8 - n)));
  }
};
struct Ror {
  static constexpr bool kWideIfEither = false;
  template <class U> static U apply(U v, U c) {
    const unsigned n = count_of(c);
    return n == 0 ? v : static_cast<U>((v >> n) | (v << (sizeof(U) * 8 - n)));
  }
};

template <int Code, class Bits>
struct BitStep : PairTraits<Code> {

  // The bits of the result: int64_t on 64 bits, int32_t on 32.
  template <Number A, Number B>
  static auto whole(A a, B b) {
    constexpr bool wide = std::is_same_v<A, int64_t> ||
                          (Bits::kWideIfEither && std::is_same_v<B, int64_t>);
    if constexpr (wide) {
      return static_cast<int64_t>(
          Bits::apply(static_cast<uint64_t>(whole64(a)), static_cast<uint64_t>(whole64(b))));
    } else {
      // A count keeps its low bits even beyond 32 bits; a second operand of and, or, xor is
      // read on 32 bits like the first.
      const uint32_t second = Bits::kWideIfEither ? static_cast<uint32_t>(whole32(b))
                                                  : static_cast<uint32_t>(whole64(b));
      return static_cast<int32_t>(Bits::apply(static_cast<uint32_t>(whole32(a)), second));
    }
  }

  template <Number A, Number B>
  static auto element(A a, B b) {
    if constexpr (std::is_same_v<A, double>)
      return static_cast<double>(whole(a, b));
    else
      return whole(a, b);
  }

  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    with_number(a, [&](auto x) { with_number(b, [&](auto y) { put_whole(t[0], whole(x, y)); }); });
    return true;
  }
};

// The complement: of an int64 on 64 bits, of anything else on the kernel's integer reading
// (a real truncated toward zero and clamped to 32 bits).
struct Not {
  static constexpr int kOutputs = 0;
  static int32_t kernel_int(double v) {
    TObject cell;
    vkl_put_real(&cell, v);
    return VKL_AsInt(&cell);
  }
  template <Number T>
  static T element(T v) {
    if constexpr (std::is_same_v<T, double>)
      return ~kernel_int(v);
    else
      return ~v;
  }
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    if (x->tag == VKL_TINT64)
      vkl_put_int64(t[0], ~vkl_int64(x));
    else
      vkl_put_int(t[0], ~VKL_AsInt(x));
    return true;
  }
};

}  // namespace vkl::numeric::bits

namespace vkl::plugin {

inline constexpr FunctionRow kBitRows[] = {
    {"_and", numeric::binary<numeric::bits::BitStep<18, numeric::bits::And>>,
     "_and(a, b [, mode [, fill]])", "bitwise and (64 bits when either is an int64)"},
    {"_or", numeric::binary<numeric::bits::BitStep<19, numeric::bits::Or>>,
     "_or(a, b [, mode [, fill]])", "bitwise or (64 bits when either is an int64)"},
    {"_xor", numeric::binary<numeric::bits::BitStep<20, numeric::bits::Xor>>,
     "_xor(a, b [, mode [, fill]])", "bitwise exclusive or (64 bits when either is an int64)"},
    {"_shl", numeric::binary<numeric::bits::BitStep<21, numeric::bits::Shl>>,
     "_shl(v, count [, mode [, fill]])", "v shifted left by count (masked to the width)"},
    {"_shr", numeric::binary<numeric::bits::BitStep<22, numeric::bits::Shr>>,
     "_shr(v, count [, mode [, fill]])", "v shifted right logically by count"},
    {"_rol", numeric::binary<numeric::bits::BitStep<23, numeric::bits::Rol>>,
     "_rol(v, count [, mode [, fill]])", "v rotated left by count"},
    {"_ror", numeric::binary<numeric::bits::BitStep<24, numeric::bits::Ror>>,
     "_ror(v, count [, mode [, fill]])", "v rotated right by count"},
    {"_not", numeric::unary<numeric::bits::Not>, "_not(x [, mode [, fill]])",
     "bitwise complement (64 bits for an int64)"},
};

}  // namespace vkl::plugin
