// Numbers read as whole numbers by the conversion and bit operations: each arrives as an
// int32_t, int64_t or double (a number cell or a fixed matrix's element), and reals are read
// by the tolerant reading.
#pragma once

#include <cstdint>
#include <type_traits>

#include "numeric/apply.h"

namespace vkl::numeric {

template <class T>
int64_t whole64(T v) {
  if constexpr (std::is_same_v<T, double>)
    return tolerant_int64(v);
  else
    return v;
}
// On 32 bits an int64 keeps its low 32 bits; a real out of range gives -2147483648.
template <class T>
int32_t whole32(T v) {
  if constexpr (std::is_same_v<T, double>)
    return to_int32(tolerant(v));
  else
    return static_cast<int32_t>(v);
}

// Calls f with the number in a number cell as its own type.
template <class F>
decltype(auto) with_number(const TObject* x, F&& f) {
  if (x->tag == VKL_TINT) return f(vkl_int(x));
  if (x->tag == VKL_TINT64) return f(vkl_int64(x));
  return f(vkl_real(x));
}

// Writes a result cell of the kind of its type.
inline void put_whole(TObject* out, int32_t v) { vkl_put_int(out, v); }
inline void put_whole(TObject* out, int64_t v) { vkl_put_int64(out, v); }
inline void put_whole(TObject* out, double v) { vkl_put_real(out, v); }

// The constants of a binary operation: its code, what its scalar step accepts, its output
// cells. An operation with output cells (divmod) builds no result of its own.
template <int Code, Shape Shape1 = Shape::kNumber, Shape Shape2 = Shape::kNumber, int Outputs = 0>
struct PairTraits {
  static constexpr int kCode = Code;
  static constexpr int kOutputs = Outputs;
  static constexpr Shape kShape1 = Shape1, kShape2 = Shape2;
  static constexpr bool kBuildResult = Outputs == 0;
};

template <class T>
concept Number = std::is_same_v<T, int32_t> || std::is_same_v<T, int64_t> || std::is_same_v<T, double>;

}  // namespace vkl::numeric
