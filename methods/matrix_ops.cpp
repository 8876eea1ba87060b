#include "methods/matrix_ops.h"

#include "methods/elimination.h"
#include "methods/matrix_io.h"
#include "methods/symmetric.h"

namespace vkl::methods {
namespace {

// (A, B, var C): A and B tables of the same number of rows, else the call is rejected. Both
// empty give an empty C; columns that differ give 4004; otherwise C = A op B element by
// element and code 0. The rows compared are the top-level entries of each argument.
template <class Op>
int elementwise(VKL_State* L, TObject* args, int nargs, TObject* result, Op op) {
  DenseMatrix a, b;
  if (nargs != 3 || !is_matrix_arg(args, nargs, 0) || !is_matrix_arg(args, nargs, 1)) return 0;
  if (!read_matrix(L, args, nargs, 0, &a) || !read_matrix(L, args, nargs, 1, &b)) return 0;
  if (a.rows != b.rows) return 0;
  TObject* out = take_output(L, args, 2);
  if (a.cols != b.cols) return answer(L, result, kCodeAddRows);
  DenseMatrix c;
  if (!c.allocate(a.rows, a.cols)) return answer(L, result, kCodeFailed);
  for (int64_t k = 0; k < c.size(); ++k) c.data[k] = op(a.data[k], b.data[k]);
  return answer_matrix(L, result, kCodeOk, out, c);
}

// A square matrix with rows: kCodeOk, or the code of the first check that fails.
int32_t check_square(const DenseMatrix& a) {
  if (a.rows == 0) return kCodeMatrixRows;
  if (a.cols == 0) return kCodeMatrixColumns;
  return a.rows == a.cols ? kCodeOk : kCodeMatrixNotSquare;
}

int32_t check_symmetric(const DenseMatrix& a) {
  const int32_t code = check_square(a);
  if (code != kCodeOk) return code;
  return is_symmetric(a) ? kCodeOk : kCodeMatrixNotSymmetric;
}

// (A, out): exactly two arguments, A a matrix. `check` gives the code of an unfit A;
// `finish` computes from a fit one, writes `out` and answers.
template <class Finish>
int square_function(VKL_State* L, TObject* args, int nargs, TObject* result,
                    int32_t (*check)(const DenseMatrix&), Finish finish) {
  DenseMatrix a;
  if (nargs != 2 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  TObject* out = take_output(L, args, 1);
  const int32_t code = check(a);
  if (code != kCodeOk) return answer(L, result, code);
  return finish(a, out);
}

}  // namespace

int mt_addition(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return elementwise(L, args, nargs, result, [](double x, double y) { return x + y; });
}

int mt_subtraction(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return elementwise(L, args, nargs, result, [](double x, double y) { return x - y; });
}

// (A, var T): T has A's columns as rows; code 0. A table of numbers is one column, so its
// transpose is a single row.
int mt_transposition(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  if (nargs != 2 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  TObject* out = take_output(L, args, 1);
  DenseMatrix t;
  if (!t.allocate(a.cols, a.rows)) return answer(L, result, kCodeFailed);
  for (int32_t i = 0; i < a.rows; ++i)
    for (int32_t j = 0; j < a.cols; ++j) t.at(j, i) = a.at(i, j);
  return answer_matrix(L, result, kCodeOk, out, t);
}

// (A, L, U): A n x n; L unit lower triangular and U upper triangular with A = L U, by
// elimination without exchanges (a negligible pivot gives 1006).
int mt_decompose_lu(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a, lower, upper;
  if (nargs != 3 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  TObject* out_l = take_output(L, args, 1);
  TObject* out_u = take_output(L, args, 2);
  int32_t code = check_square(a);
  if (code == kCodeOk) code = lu_decompose(a, &lower, &upper);
  if (code == kCodeOk) code = write_matrix(L, out_l, lower);
  if (code == kCodeOk && (code = write_matrix(L, out_u, upper)) != kCodeOk)
    VKL_FreeObjectContent(L, out_l);
  return answer(L, result, code);
}

// (A, Inv): A n x n; Inv its inverse by Gauss-Jordan elimination with complete pivoting.
int mt_iv_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return square_function(L, args, nargs, result, check_square, [&](DenseMatrix& a, TObject* out) {
    return answer_matrix(L, result, gauss_jordan_invert(a), out, a);
  });
}

// (A, Inv): A n x n symmetric; Inv its inverse from the LDL^T factors.
int mt_iv_ldl(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return square_function(L, args, nargs, result, check_symmetric, [&](DenseMatrix& a, TObject* out) {
    return answer_matrix(L, result, ldl_invert(a), out, a);
  });
}

// (A, det): A n x n; det its determinant as a real (0 for a singular A), by elimination with
// complete pivoting.
int mt_va_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return square_function(L, args, nargs, result, check_square, [&](DenseMatrix& a, TObject* out) {
    double det = 0.0;
    const int32_t code = gauss_jordan_determinant(a, &det);
    return answer_real(L, result, code, out, det);
  });
}

// (A, det): A n x n symmetric positive definite; det its determinant as a real, the squared
// product of the Cholesky factor's diagonal (1006 when A is not positive definite).
int mt_va_cholesky(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return square_function(L, args, nargs, result, check_symmetric, [&](DenseMatrix& a, TObject* out) {
    double det = 0.0;
    const int32_t code = cholesky_determinant(a, &det);
    return answer_real(L, result, code, out, det);
  });
}

}  // namespace vkl::methods
