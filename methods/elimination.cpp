#include "methods/elimination.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace vkl::methods {
namespace {

// The row kernels run with AVX2 where the processor has it. The build keeps multiplications
// and additions apart (no fused multiply-add), so every clone computes the same values as the
// plain scalar loops.
#define VKL_ROW_KERNEL __attribute__((target_clones("arch=haswell", "default")))

// The helpers below take and give 32-byte vectors; they are inlined into the kernels, so no call
// crosses between code built with and without AVX.
#pragma GCC diagnostic ignored "-Wpsabi"
using Doubles4 = double __attribute__((vector_size(32)));
using Bits4 = long long __attribute__((vector_size(32)));

inline Doubles4 load4(const double* p) {
  Doubles4 v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void store4(double* p, Doubles4 v) { std::memcpy(p, &v, sizeof v); }
inline Doubles4 abs4(Doubles4 v) {
  constexpr long long kMagnitude = 0x7FFFFFFFFFFFFFFFLL;
  const Bits4 mask = {kMagnitude, kMagnitude, kMagnitude, kMagnitude};
  return reinterpret_cast<Doubles4>(reinterpret_cast<Bits4>(v) & mask);
}
// Lane-wise maximum that keeps m where v is NaN or not larger.
inline Doubles4 max4(Doubles4 m, Doubles4 v) { return v > m ? v : m; }
inline double max_lane(Doubles4 m) {
  double best = 0;
  for (int i = 0; i < 4; ++i)
    if (m[i] > best) best = m[i];
  return best;
}

// r[j] = r[j] - f * p[j] for j in [from, n); returns the largest |r[j]| after the update
// (0 when none is larger than 0; a NaN never counts).
VKL_ROW_KERNEL double eliminate_row(double* r, const double* p, double f, int64_t from,
                                    int64_t n) {
  const Doubles4 fv = {f, f, f, f};
  Doubles4 m0 = {0, 0, 0, 0}, m1 = m0;
  int64_t j = from;
  for (; j + 8 <= n; j += 8) {
    const Doubles4 x0 = load4(r + j) - fv * load4(p + j);
    const Doubles4 x1 = load4(r + j + 4) - fv * load4(p + j + 4);
    store4(r + j, x0);
    store4(r + j + 4, x1);
    m0 = max4(m0, abs4(x0));
    m1 = max4(m1, abs4(x1));
  }
  double best = max_lane(max4(m0, m1));
  for (; j < n; ++j) {
    r[j] = r[j] - f * p[j];
    const double v = std::fabs(r[j]);
    if (v > best) best = v;
  }
  return best;
}

// The largest |r[j]| for j in [from, n), as eliminate_row without the update.
VKL_ROW_KERNEL double row_abs_max(const double* r, int64_t from, int64_t n) {
  Doubles4 m0 = {0, 0, 0, 0}, m1 = m0;
  int64_t j = from;
  for (; j + 8 <= n; j += 8) {
    m0 = max4(m0, abs4(load4(r + j)));
    m1 = max4(m1, abs4(load4(r + j + 4)));
  }
  double best = max_lane(max4(m0, m1));
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

// A pivot candidate: the largest |value| met so far and where, scanned row by row. A later
// value replaces it only when strictly larger, so the first of equal maxima stays.
struct Pivot {
  double value;
  int64_t i, j;

  // Offers row i (columns from..n-1) whose largest |value| is `row_max`.
  void offer(const double* r, int64_t i_, int64_t from, int64_t n, double row_max) {
    if (row_max > value) *this = {row_max, i_, first_of(r, from, n, row_max)};
  }
};

// The pivot of the submatrix of rows and columns k..n-1.
Pivot find_pivot(double* const* row, int64_t k, int64_t n) {
  Pivot p{0.0, k, k};
  for (int64_t i = k; i < n; ++i) p.offer(row[i], i, k, n, row_abs_max(row[i], k, n));
  return p;
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
  KernelArray<int64_t> pivot_col(n);
  DenseMatrix solution;
  if (!point_rows(a, row) || !pivot_col.ok() || !solution.allocate(a.rows, 1)) return kCodeFailed;
  double* rhs = b.data;
  // The pivot of each step is found while the previous step updates the rows it searches.
  Pivot p = find_pivot(row.get(), 0, n);
  for (int64_t k = 0; k + 1 < n; ++k) {
    if (negligible(p.value)) return kCodeSingular;
    const int64_t q = p.j;
    pivot_col[k] = q;
    std::swap(row[k], row[p.i]);
    std::swap(rhs[k], rhs[p.i]);
    // Rows below exchange their columns as they are updated.
    swap_columns(row.get(), 0, k + 1, k, q);
    double* prow = row[k];
    const double d = prow[k];
    for (int64_t j = k + 1; j < n; ++j) prow[j] = prow[j] / d;
    rhs[k] = rhs[k] / d;
    p = {0.0, k + 1, k + 1};
    for (int64_t i = k + 1; i < n; ++i) {
      double* r = row[i];
      if (q != k) std::swap(r[k], r[q]);
      const double f = r[k];
      p.offer(r, i, k + 1, n, eliminate_row(r, prow, f, k + 1, n));
      rhs[i] = rhs[i] - f * rhs[k];
    }
  }
  const double last = row[n - 1][n - 1];
  if (negligible(last)) return kCodeSingular;
  double* xs = solution.data;
  xs[n - 1] = rhs[n - 1] / last;
  for (int64_t i = n - 2; i >= 0; --i) {
    double t = 0.0;
    for (int64_t j = i + 1; j < n; ++j) t = t + row[i][j] * xs[j];
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
    const double* prow = row[k];
    const double d = prow[k];
    product = product * d;
    p = {0.0, k + 1, k + 1};
    for (int64_t i = k + 1; i < n; ++i) {
      double* r = row[i];
      if (q != k) std::swap(r[k], r[q]);
      p.offer(r, i, k + 1, n, eliminate_row(r, prow, r[k] / d, k + 1, n));
    }
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
