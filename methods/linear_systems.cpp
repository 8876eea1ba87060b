#include "methods/linear_systems.h"

#include <vkl/interp.h>

#include <cmath>

#include "methods/elimination.h"
#include "methods/matrix_io.h"
#include "methods/symmetric.h"

namespace vkl::methods {
namespace {

// The shape checks of a square system a x = b, in order; kCodeOk when they pass.
int32_t check_system(const DenseMatrix& a, const DenseMatrix& b) {
  if (a.rows == 0) return kCodeNoRows;
  if (a.cols == 0) return kCodeNoColumns;
  if (a.rows != a.cols) return kCodeNotSquare;
  if (b.rows == 0) return kCodeNoConstants;
  if (b.rows != a.rows) return kCodeConstantRows;
  return kCodeOk;
}

// The checks of a symmetric system: the shapes, then the symmetry.
int32_t check_symmetric_system(const DenseMatrix& a, const DenseMatrix& b) {
  if (a.rows == 0 || b.rows == 0) return kCodeNoRows;
  if (a.cols == 0 || b.cols == 0) return kCodeNoColumns;
  if (a.rows != a.cols) return kCodeNotSquare;
  if (b.rows != a.rows) return kCodeConstantRows;
  return is_symmetric(a) ? kCodeOk : kCodeNotSymmetric;
}

// Sweeps until no unknown changes by 1e-4 of its size (plus one) any more. Strict diagonal
// dominance makes the sweeps converge; a value that overflows ends them with kCodeFailed, and
// the interpreter's stop request with kCodeCancelled.
int32_t gauss_seidel(VKL_State* L, const DenseMatrix& a, const DenseMatrix& b, DenseMatrix* x) {
  const int64_t n = a.rows;
  for (int64_t i = 0; i < n; ++i) {
    double others = 0.0;
    for (int64_t j = 0; j < n; ++j)
      if (j != i) others = others + std::fabs(a.at(i, j));
    if (std::fabs(a.at(i, i)) <= others) return kCodeSingular;
  }
  DenseMatrix v;
  if (!v.allocate(a.rows, 1)) return kCodeFailed;
  for (;;) {
    double largest_change = 0.0;
    for (int64_t i = 0; i < n; ++i) {
      const double* r = a.row(i);
      double sum = 0.0;
      for (int64_t j = 0; j < n; ++j)
        if (j != i) sum = sum + r[j] * v.data[j];
      const double old = v.data[i];
      v.data[i] = (b.data[i] - sum) / r[i];
      if (!std::isfinite(v.data[i])) return kCodeFailed;
      const double change = std::fabs(v.data[i] - old) / (std::fabs(v.data[i]) + 1.0);
      if (change > largest_change) largest_change = change;
    }
    if (largest_change < 0.0001) break;
    if (VKL_InterpIsStopL(L)) return kCodeCancelled;
  }
  x->swap(v);
  return kCodeOk;
}

// Argument i as a matrix; one that is no table reads as a matrix of no rows.
bool read_constants(VKL_State* L, TObject* args, int nargs, int i, DenseMatrix* m) {
  return is_matrix_arg(args, nargs, i) ? read_matrix(L, args, nargs, i, m) : i < nargs;
}

// (A, b, x) with A and b tables, b a vector: `solve` runs on a system whose shape passed.
template <class Solve>
int vector_system(VKL_State* L, TObject* args, int nargs, TObject* result, Solve solve) {
  DenseMatrix a, b, x;
  if (nargs != 3 || !is_matrix_arg(args, nargs, 0) || !is_matrix_arg(args, nargs, 1)) return 0;
  if (!read_matrix(L, args, nargs, 0, &a) || !read_vector(L, args, nargs, 1, &b)) return 0;
  TObject* out = take_output(L, args, 2);
  int32_t code = check_system(a, b);
  if (code == kCodeOk) code = solve(a, b, &x);
  return answer_vector(L, result, code, out, x);
}

// (A, B, X) with A a table and B constants as read_constants reads them: `solve` runs on a
// system whose shape passed and leaves X in B.
template <class Solve>
int matrix_system(VKL_State* L, TObject* args, int nargs, TObject* result, Solve solve) {
  DenseMatrix a, b;
  if (nargs != 3 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  if (!read_constants(L, args, nargs, 1, &b)) return 0;
  TObject* out = take_output(L, args, 2);
  int32_t code = check_system(a, b);
  if (code == kCodeOk) code = solve(a, b);
  return answer_matrix(L, result, code, out, b);
}

}  // namespace

// (A, b, x): A n x n, b a vector of n (both tables); x the solution vector.
int se_gauss(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return vector_system(L, args, nargs, result, gauss_solve);
}

// (A, B, X): A n x n (a table), B n x m (a table of numbers is one column; any other kind has
// no rows); X the n x m solution.
int se_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return matrix_system(L, args, nargs, result, gauss_jordan_solve);
}

// (A, B, X): A n x n symmetric positive definite, B n x m (both tables); X the solution.
int se_cholesky(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a, b;
  if (nargs != 3 || !is_matrix_arg(args, nargs, 0) || !is_matrix_arg(args, nargs, 1)) return 0;
  if (!read_matrix(L, args, nargs, 0, &a) || !read_matrix(L, args, nargs, 1, &b)) return 0;
  TObject* out = take_output(L, args, 2);
  int32_t code = check_symmetric_system(a, b);
  if (code == kCodeOk) code = cholesky_solve(a, b);
  return answer_matrix(L, result, code, out, b);
}

// (A, B, X): A n x n symmetric (a table), B n x m as in se_gauss_jordan; X the solution.
int se_ldl(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return matrix_system(L, args, nargs, result, [](DenseMatrix& a, DenseMatrix& b) {
    return is_symmetric(a) ? ldl_solve(a, b) : int32_t{kCodeNotSymmetric};
  });
}

// (A, b, x): A n x n strictly diagonally dominant, b a vector of n (both tables); x the
// solution vector, starting from zeros.
int se_gauss_seidel(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return vector_system(L, args, nargs, result,
                       [L](DenseMatrix& a, DenseMatrix& b, DenseMatrix* x) {
                         return gauss_seidel(L, a, b, x);
                       });
}

}  // namespace vkl::methods
