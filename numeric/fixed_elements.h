// Fixed matrices and scratch cells for the drivers: the one switch from a fixed matrix's
// element type to a typed loop, the loop itself, and the walk over a matrix of value cells.
#pragma once

#include <vkl/kernel.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace vkl::numeric {

// Element types read as numbers: 32-bit integers, doubles, 64-bit integers.
inline bool numeric_elements(const VKL_FixedMatrix* fm) {
  const int type = VKL_FMGetType(fm);
  return type == VKL_FM_INT32 || type == VKL_FM_DOUBLE || type == VKL_FM_INT64A ||
         type == VKL_FM_INT64;
}

// Calls f(const T* elements) with the buffer typed by the element type (numeric_elements).
template <class F>
bool with_elements(const VKL_FixedMatrix* fm, F&& f) {
  const void* buffer = VKL_FMGetBuffer(fm);
  switch (VKL_FMGetType(fm)) {
    case VKL_FM_INT32:
      return f.template operator()<int32_t>(static_cast<const int32_t*>(buffer));
    case VKL_FM_DOUBLE:
      return f.template operator()<double>(static_cast<const double*>(buffer));
    default:
      return f.template operator()<int64_t>(static_cast<const int64_t*>(buffer));
  }
}

// A cell that stands for the matrix without holding a reference to it.
inline TObject fixed_matrix_view(const VKL_FixedMatrix* fm) {
  TObject cell;
  vkl_put_nil(&cell);
  vkl_put_ptr(&cell, VKL_TFIXEDMATRIX, fm);
  return cell;
}

// Two doubles at once (a GCC vector: SSE2 on x86-64), for operations written lane-parallel.
using Doubles2 = double __attribute__((vector_size(16)));

// `out` (nil) becomes a fixed matrix shaped like `fm` whose element i is at(i); when `at` also
// has pair(i), the elements i and i + 1 of a double result as a Doubles2, that runs the loop. The result
// element type follows at's result type; a 64-bit result keeps a 64-bit source's own type code.
template <class At>
bool map_elements(VKL_State* L, const VKL_FixedMatrix* fm, TObject* out, At at) {
  using R = decltype(at(int64_t{}));
  static_assert(std::is_same_v<R, int32_t> || std::is_same_v<R, int64_t> ||
                std::is_same_v<R, double>);
  const int source = VKL_FMGetType(fm);
  int type = std::is_same_v<R, double> ? VKL_FM_DOUBLE
             : std::is_same_v<R, int32_t> ? VKL_FM_INT32
                                          : VKL_FM_INT64;
  if (type == VKL_FM_INT64 && source == VKL_FM_INT64A) type = source;
  VKL_FixedMatrix* made = VKL_CreateFixedMatrixFromFixedMatrix(L, out, fm, type, 0);
  if (!made) return false;
  R* dst = static_cast<R*>(VKL_FMGetBuffer(made));
  const int64_t n = VKL_FMGetCount(fm);
  int64_t i = 0;
  if constexpr (requires { at.pair(i); }) {
    for (; i + 2 <= n; i += 2) {
      const Doubles2 pair = at.pair(i);
      std::memcpy(dst + i, &pair, sizeof pair);
    }
  }
  for (; i < n; ++i) dst[i] = at(i);
  return true;
}

// Fills the result (when it is built: t[0] not null) and the output cells from one element
// map: with no outputs the result's elements are at(i); with two, at(i) is a pair giving the
// outputs' elements and the result is all zero doubles.
template <int kOutputs, class At>
bool map_into(VKL_State* L, const VKL_FixedMatrix* fm, TObject* const* t, At at) {
  if constexpr (kOutputs == 0) {
    return !t[0] || map_elements(L, fm, t[0], at);
  } else {
    return (!t[0] || map_elements(L, fm, t[0], [](int64_t) { return 0.0; })) &&
           map_elements(L, fm, t[1], [&](int64_t i) { return at(i).first; }) &&
           map_elements(L, fm, t[2], [&](int64_t i) { return at(i).second; });
  }
}

// Calls visit(index, ndims, cell) for every cell of a matrix of value cells in storage order,
// with the index of each dimension; stops at the first false.
template <class Visit>
bool walk_cells(const VKL_FixedMatrix* fm, Visit&& visit) {
  std::vector<int64_t> index(static_cast<size_t>(VKL_FMGetMaxDims()), 0);
  std::vector<int64_t> dims(index.size(), 0);
  const int ndims = VKL_FMGetDims(fm, dims.data());
  auto* cells = static_cast<TObject*>(VKL_FMGetBuffer(fm));
  const int64_t n = VKL_FMGetCount(fm);
  for (int64_t at = 0; at < n; ++at) {
    if (!visit(index.data(), ndims, cells + at)) return false;
    VKL_FMInc(fm, index.data());
  }
  return true;
}

// The cells a call builds: the result (unless the operation builds none) and the output cells.
// The result is built aside and installed on success, or built straight in the caller's cell
// (`in_place`, nil on entry). Whatever is built aside and not installed is released.
template <int N>
class ScratchCells {
 public:
  ScratchCells(VKL_State* L, bool with_result, TObject* in_place = nullptr) : L_(L) {
    for (TObject& cell : cells_) vkl_put_nil(&cell);
    for (int k = 0; k < N; ++k) targets_[k] = &cells_[k];
    if (!with_result) targets_[0] = nullptr;
    else if (in_place) targets_[0] = in_place;
  }
  ~ScratchCells() {
    for (TObject& cell : cells_) VKL_FreeObjectContent(L_, &cell);
  }
  ScratchCells(const ScratchCells&) = delete;
  ScratchCells& operator=(const ScratchCells&) = delete;

  const std::array<TObject*, N>& targets() const { return targets_; }
  // Moves what target k holds into `dst`, releasing what `dst` held (nothing to do for a
  // result built in place or not built).
  void install(int k, TObject* dst) {
    TObject* built = targets_[k];
    if (!built || built == dst) return;
    VKL_FreeObjectContent(L_, dst);
    *dst = *built;
    vkl_put_nil(built);
  }

 private:
  VKL_State* L_;
  std::array<TObject, N> cells_;
  std::array<TObject*, N> targets_;
};

}  // namespace vkl::numeric
