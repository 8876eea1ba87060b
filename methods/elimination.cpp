#include "methods/elimination.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace vkl::methods {
namespace {

// The row kernels are written once over a vector of doubles and built twice: with 32-byte
// vectors for processors with AVX2, with 16-byte ones (SSE2) for the others. The build keeps
// multiplications and additions apart (no fused multiply-add), so both compute the same values
// as plain scalar loops.
#pragma GCC diagnostic ignored "-Wpsabi"  // vectors pass only between inlined helpers
using Doubles4 = double __attribute__((vector_size(32)));
using Doubles2 = double __attribute__((vector_size(16)));

using Bits4 = long long __attribute__((vector_size(32)));
using Bits2 = long long __attribute__((vector_size(16)));

template <class V>
constexpr int kLanes = sizeof(V) / sizeof(double);
// The integer vector of the same lanes, for the sign bits.
template <class V>
struct BitsOf;
template <>
struct BitsOf<Doubles4> {
  using type = Bits4;
};
template <>
struct BitsOf<Doubles2> {
  using type = Bits2;
};

template <class V>
[[gnu::always_inline]] inline V load(const double* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
[[gnu::always_inline]] inline void store(double* p, V v) {
  std::memcpy(p, &v, sizeof v);
}
template <class V>
[[gnu::always_inline]] inline V splat(double x) {
  V v;
  for (int i = 0; i < kLanes<V>; ++i) v[i] = x;
  return v;
}
template <class V>
[[gnu::always_inline]] inline V magnitude(V v) {
  using Bits = typename BitsOf<V>::type;
  Bits mask;
  for (int i = 0; i < kLanes<V>; ++i) mask[i] = 0x7FFFFFFFFFFFFFFFLL;
  return reinterpret_cast<V>(reinterpret_cast<Bits>(v) & mask);
}
// Lane-wise maximum that keeps m where v is NaN or not larger.
template <class V>
[[gnu::always_inline]] inline V larger(V m, V v) {
  return v > m ? v : m;
}
template <class V>
[[gnu::always_inline]] inline double largest_lane(V m) {
  double best = 0;
  for (int i = 0; i < kLanes<V>; ++i)
    if (m[i] > best) best = m[i];
  return best;
}

// r[j] = r[j] - f * p[j] for j in [from, n); returns the largest |r[j]| after the update
// (0 when none is larger than 0; a NaN never counts).
template <class V>
[[gnu::always_inline]] inline double update_row(double* r, const double* p, double f,
                                                int64_t from, int64_t n) {
  constexpr int w = kLanes<V>;
  const V fv = splat<V>(f);
  V m0 = splat<V>(0.0), m1 = m0;
  int64_t j = from;
  for (; j + 2 * w <= n; j += 2 * w) {
    const V x0 = load<V>(r + j) - fv * load<V>(p + j);
    const V x1 = load<V>(r + j + w) - fv * load<V>(p + j + w);
    store(r + j, x0);
    store(r + j + w, x1);
    m0 = larger(m0, magnitude(x0));
    m1 = larger(m1, magnitude(x1));
  }
  double best = largest_lane(larger(m0, m1));
  for (; j < n; ++j) {
    r[j] = r[j] - f * p[j];
    const double v = std::fabs(r[j]);
    if (v > best) best = v;
  }
  return best;
}

// The largest |r[j]| for j in [from, n), as update_row without the update.
template <class V>
[[gnu::always_inline]] inline double row_max(const double* r, int64_t from, int64_t n) {
  constexpr int w = kLanes<V>;
  V m0 = splat<V>(0.0), m1 = m0;
  int64_t j = from;
  for (; j + 2 * w <= n; j += 2 * w) {
    m0 = larger(m0, magnitude(load<V>(r + j)));
    m1 = larger(m1, magnitude(load<V>(r + j + w)));
  }
  double best = largest_lane(larger(m0, m1));
  for (; j < n; ++j) {
    const double v = std::fabs(r[j]);
    if (v > best) best = v;
  }
  return best;
}

// The first j in [from, n) with |r[j]| == v.
int64_t first_of(const double* r, int64_t from, int64_t n, double v) {
  int64_t j = from;
  while (j < n - 1 && std::fabs(r[j]) != v) ++j;
  return j;
}

// A pivot candidate: the largest |value| of a submatrix, in the first row holding it, at the
// first column of that row holding it; as the row-by-row scan that keeps the first of equal
// maxima finds it.
struct Pivot {
  double value;
  int64_t i, j;

  // Offers row i (columns from..n-1) whose largest |value| is `row_max`, rows offered in
  // ascending order.
  void offer(const double* r, int64_t i_, int64_t from, int64_t n, double largest) {
    if (largest > value) *this = {largest, i_, first_of(r, from, n, largest)};
  }
  // The same with rows offered in descending order: an equal maximum in an earlier row wins.
  void offer_descending(const double* r, int64_t i_, int64_t from, int64_t n, double largest) {
    if (largest > value || (largest == value && largest > 0))
      *this = {largest, i_, first_of(r, from, n, largest)};
  }
};

// Step k below the pivot row k: every row i in (k, n) exchanges its columns k and q, then
// takes f = r[k] / divisor times the pivot row off its columns after k (and f * rhs[k] off
// rhs[i] when rhs is given). Returns the pivot of the next step, found on the way.
// `descending` walks the rows from the last: alternating directions between steps starts each
// pass on the rows the previous one left in cache.
template <class V>
[[gnu::always_inline]] inline Pivot eliminate_below_with(double* const* row, int64_t k,
                                                         int64_t q, int64_t n, double divisor,
                                                         double* rhs, bool descending) {
  const double* prow = row[k];
  Pivot p{0.0, k + 1, k + 1};
  const int64_t step = descending ? -1 : 1;
  for (int64_t left = n - 1 - k, i = descending ? n - 1 : k + 1; left > 0; --left, i += step) {
    double* r = row[i];
    if (q != k) std::swap(r[k], r[q]);
    const double f = r[k] / divisor;
    const double largest = update_row<V>(r, prow, f, k + 1, n);
    if (rhs) rhs[i] = rhs[i] - f * rhs[k];
    if (descending) p.offer_descending(r, i, k + 1, n, largest);
    else p.offer(r, i, k + 1, n, largest);
  }
  return p;
}

// The pivot of the submatrix of rows and columns k..n-1.
template <class V>
[[gnu::always_inline]] inline Pivot find_pivot_with(double* const* row, int64_t k, int64_t n) {
  Pivot p{0.0, k, k};
  for (int64_t i = k; i < n; ++i) p.offer(row[i], i, k, n, row_max<V>(row[i], k, n));
  return p;
}

// The kernels in their two builds, and the choice between them made once.
#define VKL_AVX2 __attribute__((target("avx2")))
VKL_AVX2 double eliminate_row_avx2(double* r, const double* p, double f, int64_t from,
                                   int64_t n) {
  return update_row<Doubles4>(r, p, f, from, n);
}
double eliminate_row_sse2(double* r, const double* p, double f, int64_t from, int64_t n) {
  return update_row<Doubles2>(r, p, f, from, n);
}
VKL_AVX2 Pivot eliminate_below_avx2(double* const* row, int64_t k, int64_t q, int64_t n,
                                    double divisor, double* rhs, bool descending) {
  return eliminate_below_with<Doubles4>(row, k, q, n, divisor, rhs, descending);
}
Pivot eliminate_below_sse2(double* const* row, int64_t k, int64_t q, int64_t n, double divisor,
                           double* rhs, bool descending) {
  return eliminate_below_with<Doubles2>(row, k, q, n, divisor, rhs, descending);
}
VKL_AVX2 Pivot find_pivot_avx2(double* const* row, int64_t k, int64_t n) {
  return find_pivot_with<Doubles4>(row, k, n);
}
Pivot find_pivot_sse2(double* const* row, int64_t k, int64_t n) {
  return find_pivot_with<Doubles2>(row, k, n);
}

const bool kHasAvx2 = __builtin_cpu_supports("avx2");

double eliminate_row(double* r, const double* p, double f, int64_t from, int64_t n) {
  return kHasAvx2 ? eliminate_row_avx2(r, p, f, from, n) : eliminate_row_sse2(r, p, f, from, n);
}
Pivot eliminate_below(double* const* row, int64_t k, int64_t q, int64_t n, double divisor,
                      double* rhs, bool descending) {
  return kHasAvx2 ? eliminate_below_avx2(row, k, q, n, divisor, rhs, descending)
                  : eliminate_below_sse2(row, k, q, n, divisor, rhs, descending);
}
Pivot find_pivot(double* const* row, int64_t k, int64_t n) {
  return kHasAvx2 ? find_pivot_avx2(row, k, n) : find_pivot_sse2(row, k, n);
}

// Row pointers into a matrix, so that rows are exchanged by exchanging pointers.
bool point_rows(DenseMatrix& a, KernelArray<double*>& row) {
  if (!row.ok()) return false;
  for (int64_t i = 0; i < a.rows; ++i) row[i] = a.row(i);
  return true;
}

void swap_columns(double* const* row, int64_t from_row, int64_t to_row, int64_t c1, int64_t c2) {
  if (c1 == c2) return;
  for (int64_t i = from_row; i < to_row; ++i) std::swap(row[i][c1], row[i][c2]);
}

// The rows in pointer order as a new matrix replacing `a`.
bool gather_rows(DenseMatrix& a, double* const* row) {
  DenseMatrix out;
  if (!out.allocate(a.rows, a.cols)) return false;
  for (int64_t i = 0; i < a.rows; ++i)
    if (a.cols > 0) std::memcpy(out.row(i), row[i], a.cols * sizeof(double));
  a.swap(out);
  return true;
}

}  // namespace

int32_t gauss_solve(DenseMatrix& a, DenseMatrix& b, DenseMatrix* x) {
  const int64_t n = a.rows;
  KernelArray<double*> row(n);
  KernelArray<int64_t> pivot_col(n), position(n), column_at(n);
  DenseMatrix solution;
  if (!point_rows(a, row) || !pivot_col.ok() || !position.ok() || !column_at.ok() ||
      !solution.allocate(a.rows, 1)) {
    return kCodeFailed;
  }
  double* rhs = b.data;
  // The pivot of each step is found while the previous step updates the rows it searches.
  // The rows below exchange their columns as they are updated; a finished row keeps the
  // column order of its own step, which back substitution reads through a position map.
  Pivot p = find_pivot(row.get(), 0, n);
  for (int64_t k = 0; k + 1 < n; ++k) {
    if (negligible(p.value)) return kCodeSingular;
    const int64_t q = p.j;
    pivot_col[k] = q;
    std::swap(row[k], row[p.i]);
    std::swap(rhs[k], rhs[p.i]);
    double* prow = row[k];
    std::swap(prow[k], prow[q]);
    const double d = prow[k];
    for (int64_t j = k + 1; j < n; ++j) prow[j] = prow[j] / d;
    rhs[k] = rhs[k] / d;
    p = eliminate_below(row.get(), k, q, n, 1.0, rhs, k % 2 == 1);
  }
  const double last = row[n - 1][n - 1];
  if (negligible(last)) return kCodeSingular;
  // Row i holds the final column j at position[j]: row n-2 and n-1 saw every exchange; going
  // up, the exchange of step i+1 is undone in the map before row i is read.
  for (int64_t j = 0; j < n; ++j) position[j] = column_at[j] = j;
  double* xs = solution.data;
  xs[n - 1] = rhs[n - 1] / last;
  for (int64_t i = n - 2; i >= 0; --i) {
    if (i + 2 < n) {
      const int64_t s = i + 1, t = pivot_col[i + 1];
      std::swap(column_at[s], column_at[t]);
      position[column_at[s]] = s;
      position[column_at[t]] = t;
    }
    const double* r = row[i];
    double t = 0.0;
    for (int64_t j = i + 1; j < n; ++j) t = t + r[position[j]] * xs[j];
    xs[i] = rhs[i] - t;
  }
  for (int64_t k = n - 2; k >= 0; --k) std::swap(xs[k], xs[pivot_col[k]]);
  x->swap(solution);
  return kCodeOk;
}

int32_t gauss_jordan_solve(DenseMatrix& a, DenseMatrix& b) {
  const int64_t n = a.rows, m = b.cols;
  KernelArray<double*> row(n), brow(n);
  KernelArray<int64_t> pivot_col(n);
  if (!point_rows(a, row) || !point_rows(b, brow) || !pivot_col.ok()) return kCodeFailed;
  for (int64_t k = 0; k < n; ++k) {
    const Pivot p = find_pivot(row.get(), k, n);
    if (negligible(p.value)) return kCodeSingular;
    pivot_col[k] = p.j;
    std::swap(row[k], row[p.i]);
    std::swap(brow[k], brow[p.i]);
    swap_columns(row.get(), 0, n, k, p.j);
    double* prow = row[k];
    double* pb = brow[k];
    const double d = prow[k];
    for (int64_t j = k + 1; j < n; ++j) prow[j] = prow[j] / d;
    for (int64_t j = 0; j < m; ++j) pb[j] = pb[j] / d;
    for (int64_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const double f = row[i][k];
      eliminate_row(row[i], prow, f, k + 1, n);
      eliminate_row(brow[i], pb, f, 0, m);
    }
  }
  // The unknowns were found in the exchanged column order.
  for (int64_t k = n - 1; k >= 0; --k) std::swap(brow[k], brow[pivot_col[k]]);
  return gather_rows(b, brow.get()) ? kCodeOk : kCodeFailed;
}

int32_t gauss_jordan_invert(DenseMatrix& a) {
  const int64_t n = a.rows;
  KernelArray<double*> row(n);
  KernelArray<int64_t> pivot_row(n), pivot_col(n);
  if (!point_rows(a, row) || !pivot_row.ok() || !pivot_col.ok()) return kCodeFailed;
  for (int64_t k = 0; k < n; ++k) {
    const Pivot p = find_pivot(row.get(), k, n);
    if (negligible(p.value)) return kCodeSingular;
    pivot_row[k] = p.i;
    pivot_col[k] = p.j;
    std::swap(row[k], row[p.i]);
    swap_columns(row.get(), 0, n, k, p.j);
    double* prow = row[k];
    prow[k] = 1.0 / prow[k];
    const double inv = prow[k];
    for (int64_t j = 0; j < n; ++j)
      if (j != k) prow[j] = prow[j] * inv;
    for (int64_t i = 0; i < n; ++i) {
      if (i == k) continue;
      double* r = row[i];
      const double f = r[k];
      eliminate_row(r, prow, f, 0, k);
      eliminate_row(r, prow, f, k + 1, n);
      r[k] = -f * inv;
    }
  }
  // Undo the exchanges in reverse: a row exchange of the input is a column exchange of the
  // inverse and the other way round.
  for (int64_t k = n - 1; k >= 0; --k) {
    std::swap(row[k], row[pivot_col[k]]);
    swap_columns(row.get(), 0, n, k, pivot_row[k]);
  }
  return gather_rows(a, row.get()) ? kCodeOk : kCodeFailed;
}

int32_t gauss_jordan_determinant(DenseMatrix& a, double* det) {
  const int64_t n = a.rows;
  KernelArray<double*> row(n);
  if (!point_rows(a, row)) return kCodeFailed;
  double sign = 1.0, product = 1.0;
  Pivot p = find_pivot(row.get(), 0, n);
  for (int64_t k = 0; k + 1 < n; ++k) {
    if (negligible(p.value)) {
      *det = 0.0;
      return kCodeOk;
    }
    const int64_t q = p.j;
    if (p.i != k) {
      sign = -sign;
      std::swap(row[k], row[p.i]);
    }
    if (q != k) {
      sign = -sign;
      std::swap(row[k][k], row[k][q]);
    }
    product = product * row[k][k];
    p = eliminate_below(row.get(), k, q, n, row[k][k], nullptr, k % 2 == 1);
  }
  *det = sign * product * row[n - 1][n - 1];
  return kCodeOk;
}

int32_t lu_decompose(const DenseMatrix& a, DenseMatrix* l, DenseMatrix* u) {
  const int64_t n = a.rows;
  DenseMatrix w, lower, upper;
  if (!w.copy_from(a) || !lower.allocate(a.rows, a.cols) || !upper.allocate(a.rows, a.cols))
    return kCodeFailed;
  for (int64_t k = 0; k < n; ++k) {
    const double* prow = w.row(k);
    if (negligible(prow[k])) return kCodeSingular;
    for (int64_t i = k + 1; i < n; ++i) {
      double* r = w.row(i);
      r[k] = r[k] / prow[k];
      eliminate_row(r, prow, r[k], k + 1, n);
    }
  }
  for (int64_t i = 0; i < n; ++i) {
    for (int64_t j = 0; j < n; ++j) {
      if (j < i) lower.at(i, j) = w.at(i, j);
      else upper.at(i, j) = w.at(i, j);
    }
    lower.at(i, i) = 1.0;
  }
  l->swap(lower);
  u->swap(upper);
  return kCodeOk;
}

}  // namespace vkl::methods
