#include "methods/matrix_ops.h"

#include "methods/matrix_io.h"

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

}  // namespace vkl::methods
