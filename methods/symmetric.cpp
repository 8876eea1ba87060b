#include "methods/symmetric.h"

#include <cmath>

namespace vkl::methods {
namespace {

double dot(const double* x, const double* y, int64_t n) {
  double s = 0.0;
  for (int64_t j = 0; j < n; ++j) s = s + x[j] * y[j];
  return s;
}

// a = L L^T: L replaces the lower triangle (the rest is left as it was).
int32_t cholesky_factor(DenseMatrix& a) {
  const int64_t n = a.rows;
  for (int64_t k = 0; k < n; ++k) {
    double* rk = a.row(k);
    const double d = rk[k] - dot(rk, rk, k);
    if (negligible(d) || d < 0) return kCodeSingular;
    rk[k] = std::sqrt(d);
    for (int64_t i = k + 1; i < n; ++i) {
      double* ri = a.row(i);
      ri[k] = (ri[k] - dot(ri, rk, k)) / rk[k];
    }
  }
  return kCodeOk;
}

// a = L D L^T: L (unit diagonal, not stored) below the diagonal, D on it.
int32_t ldl_factor(DenseMatrix& a) {
  const int64_t n = a.rows;
  KernelArray<double> scaled(n);  // l(k, j) * d(j) of the row being used
  if (!scaled.ok()) return kCodeFailed;
  for (int64_t k = 0; k < n; ++k) {
    double* rk = a.row(k);
    for (int64_t j = 0; j < k; ++j) scaled[j] = rk[j] * a.at(j, j);
    const double d = rk[k] - dot(rk, scaled.get(), k);
    if (negligible(d)) return kCodeSingular;
    rk[k] = d;
    for (int64_t i = k + 1; i < n; ++i) {
      double* ri = a.row(i);
      ri[k] = (ri[k] - dot(ri, scaled.get(), k)) / d;
    }
  }
  return kCodeOk;
}

// row y = row y - f * row x, over the m right-hand columns.
void subtract_row(double* y, const double* x, double f, int64_t m) {
  for (int64_t j = 0; j < m; ++j) y[j] = y[j] - f * x[j];
}
void divide_row(double* y, double d, int64_t m) {
  for (int64_t j = 0; j < m; ++j) y[j] = y[j] / d;
}

// Forward then back substitution with the factor in the lower triangle of a. `unit`: the
// factor has a unit diagonal and the diagonal of a holds D, applied between the two.
void substitute(const DenseMatrix& a, DenseMatrix& b, bool unit) {
  const int64_t n = a.rows, m = b.cols;
  for (int64_t i = 0; i < n; ++i) {
    for (int64_t j = 0; j < i; ++j) subtract_row(b.row(i), b.row(j), a.at(i, j), m);
    if (!unit) divide_row(b.row(i), a.at(i, i), m);
  }
  if (unit)
    for (int64_t i = 0; i < n; ++i) divide_row(b.row(i), a.at(i, i), m);
  for (int64_t i = n - 1; i >= 0; --i) {
    for (int64_t j = i + 1; j < n; ++j) subtract_row(b.row(i), b.row(j), a.at(j, i), m);
    if (!unit) divide_row(b.row(i), a.at(i, i), m);
  }
}

}  // namespace

bool is_symmetric(const DenseMatrix& a) {
  if (a.rows == 0 || a.cols == 0 || a.rows != a.cols) return false;
  const int64_t n = a.rows, h = n / 2;
  for (int64_t i = 0; i < h; ++i)
    for (int64_t j = h; j < n; ++j)
      if (!(a.at(i, j) + 1.0 == a.at(j, i) + 1.0)) return false;
  return true;
}

int32_t cholesky_solve(DenseMatrix& a, DenseMatrix& b) {
  const int32_t code = cholesky_factor(a);
  if (code == kCodeOk) substitute(a, b, false);
  return code;
}

int32_t ldl_solve(DenseMatrix& a, DenseMatrix& b) {
  const int32_t code = ldl_factor(a);
  if (code == kCodeOk) substitute(a, b, true);
  return code;
}

int32_t ldl_invert(DenseMatrix& a) {
  DenseMatrix inverse;
  if (!inverse.allocate(a.rows, a.cols)) return kCodeFailed;
  for (int64_t i = 0; i < a.rows; ++i) inverse.at(i, i) = 1.0;
  const int32_t code = ldl_solve(a, inverse);
  if (code == kCodeOk) a.swap(inverse);
  return code;
}

int32_t cholesky_determinant(DenseMatrix& a, double* det) {
  const int32_t code = cholesky_factor(a);
  if (code != kCodeOk) return code;
  double product = 1.0;
  for (int64_t k = 0; k < a.rows; ++k) product = product * a.at(k, k);
  *det = product * product;
  return kCodeOk;
}

}  // namespace vkl::methods
