// Matrix product and decompositions: the handlers read the matrix, empty their output
// arguments, let the numerics library compute into dense buffers and write the factors back as
// tables of row tables.
//
// Failure policy (the matrix family's): a wrong argument count, a matrix argument that is no
// table, or one that does not convert is rejected with 0 and nothing is touched. Otherwise the
// script result is the integer code, the outputs are emptied and filled only on code 0:
// 4001 no rows, 4002 no columns, 4006 not square, 4007 not symmetric, 1006 the factorization
// broke down, 3001 a NaN or infinity in A, -1 out of memory.
#include "methods/dense_algebra.h"

#include <vkl/kernel.h>
#include <vkl/numkrnl.h>

#include <algorithm>
#include <initializer_list>
#include <span>
#include <utility>

#include "methods/matrix_io.h"
#include "plugin/args.h"

namespace vkl::methods {
namespace {

// The SVD's relative precision (double epsilon) and absolute floor for a zero singular value.
constexpr double kSvdTolerance = 2.2204e-16;
constexpr double kSvdTiny = 1e-16;

using Writer = int32_t (*)(VKL_State* L, TObject* out, const DenseMatrix& m);

// One computed factor and the output argument it goes to.
struct Factor {
  TObject* out;
  const DenseMatrix& value;
  Writer write = write_matrix;
};

// On code 0 every factor is written into its output; when one write fails they are all left
// empty and the code becomes -1. The code is the script result.
int answer_factors(VKL_State* L, TObject* result, int32_t code, std::span<const Factor> factors) {
  for (const Factor& f : factors) {
    if (code != kCodeOk) break;
    code = f.write(L, f.out, f.value);
  }
  if (code != kCodeOk)
    for (const Factor& f : factors) VKL_FreeObjectContent(L, f.out);
  return answer(L, result, code);
}
int answer_factors(VKL_State* L, TObject* result, int32_t code,
                   std::initializer_list<Factor> factors) {
  return answer_factors(L, result, code, std::span(factors.begin(), factors.size()));
}

// Room for the factors, all or none; false when memory runs out.
bool allocate_all(
    std::initializer_list<std::pair<DenseMatrix*, std::pair<int32_t, int32_t>>> shapes) {
  for (const auto& [m, shape] : shapes)
    if (!m->allocate(shape.first, shape.second)) return false;
  return true;
}

// The code for a matrix that must be square, 0 when it is.
int32_t square_code(const DenseMatrix& a) {
  if (a.rows == 0) return kCodeMatrixRows;
  if (a.cols == 0) return kCodeMatrixColumns;
  return a.rows == a.cols ? kCodeOk : kCodeMatrixNotSquare;
}

// The optional flag argument i as a boolean (false when absent); false when it is given but no
// number.
bool read_flag(TObject* args, int nargs, int i, bool* flag) {
  *flag = false;
  if (i >= nargs) return true;
  double value = 0;
  if (!plugin::arg_number(args, nargs, i, &value)) return false;
  *flag = value != 0;
  return true;
}

// The 2 x n table of a pivoted LDL^T's compact D: row 0 the diagonal as reals, row 1 the pivot
// list (held as doubles in m) as integers.
int32_t write_diagonal_and_pivots(VKL_State* L, TObject* out, const DenseMatrix& m) {
  DenseMatrix diagonal;
  if (!diagonal.allocate(m.cols, 1)) return kCodeFailed;
  for (int32_t i = 0; i < m.cols; ++i) diagonal.data[i] = m.at(0, i);
  VKL_Table* t = VKL_NewHashEx(L, out, 2, 0);
  TObject* first = t ? VKL_HashSetInt(L, t, 0) : nullptr;
  TObject* second = t ? VKL_HashSetInt(L, t, 1) : nullptr;
  VKL_Table* pivots = second ? VKL_NewHashEx(L, second, m.cols, 0) : nullptr;
  if (!first || !pivots || write_vector(L, first, diagonal) != kCodeOk) return kCodeFailed;
  for (int32_t i = 0; i < m.cols; ++i) {
    TObject* cell = VKL_HashSetInt(L, pivots, i);
    if (!cell) return kCodeFailed;
    VKL_SetInt(L, cell, static_cast<int32_t>(m.at(1, i)));
  }
  return kCodeOk;
}

}  // namespace

// mt_multiplication(A, B, C): C = A x B (rows of A by columns of B), computed by dgemm. When A
// or B is an empty table the script result is an empty table and C is left as it was. Columns
// of A that differ from rows of B, or a dimension 0, give 4003. When there is no memory for C
// the code is -1 and C is left as it was.
int mt_multiplication(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 3 || !is_matrix_arg(args, nargs, 0) || !is_matrix_arg(args, nargs, 1)) return 0;
  DenseMatrix a, b;
  if (!read_matrix(L, args, nargs, 0, &a) || !read_matrix(L, args, nargs, 1, &b)) return 0;
  if (a.rows == 0 || b.rows == 0) return VKL_NewHash(L, result) ? 1 : 0;
  if (a.cols != b.rows || a.cols == 0 || b.cols == 0) {
    take_output(L, args, 2);
    return answer(L, result, kCodeMulRows);
  }
  DenseMatrix c;
  if (!c.allocate(a.rows, b.cols)) return answer(L, result, kCodeFailed);
  TObject* out = take_output(L, args, 2);
  const int32_t code = mt_mul_vk(a.data, a.rows, a.cols, b.data, b.rows, b.cols, c.data);
  return answer_matrix(L, result, code, out, c);
}

// mt_decompose_qr(A, Q, R [, economy]), also mt_decompose_qr2: A (m x n) = Q x R with Q
// orthogonal (m x m) and R (m x n) upper triangular with a diagonal that is not negative.
// economy <> 0: Q has k = min(m, n) orthonormal columns and R k rows.
int mt_decompose_qr(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  bool economy = false;
  if (nargs < 3 || nargs > 4 || !read_flag(args, nargs, 3, &economy) ||
      !read_matrix(L, args, nargs, 0, &a))
    return 0;
  TObject* q_out = take_output(L, args, 1);
  TObject* r_out = take_output(L, args, 2);
  const int32_t k = economy ? std::min(a.rows, a.cols) : a.rows;
  DenseMatrix q, r;
  int32_t code = kCodeFailed;
  if (a.empty())
    code = a.rows == 0 ? kCodeMatrixRows : kCodeMatrixColumns;
  else if (allocate_all({{&q, {a.rows, k}}, {&r, {k, a.cols}}}))
    code = qr_vk(a.data, a.rows, a.cols, economy, q.data, r.data);
  return answer_factors(L, result, code, {{q_out, q}, {r_out, r}});
}

// mt_decompose_svd(A, U, S, V): A (m x n) = U x S x V^T with U (m x m) and V (n x n)
// orthogonal and S (m x n) zero but for the singular values on its diagonal, in decreasing
// order; a singular value at rounding level (relative to the largest) is exactly 0.
int mt_decompose_svd(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  if (nargs != 4 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  TObject* u_out = take_output(L, args, 1);
  TObject* s_out = take_output(L, args, 2);
  TObject* v_out = take_output(L, args, 3);
  DenseMatrix u, s, v, values;
  int32_t code = kCodeFailed;
  if (a.empty()) {
    code = a.rows == 0 ? kCodeMatrixRows : kCodeMatrixColumns;
  } else if (allocate_all({{&u, {a.rows, a.rows}},
                           {&s, {a.rows, a.cols}},
                           {&v, {a.cols, a.cols}},
                           {&values, {std::min(a.rows, a.cols), 1}}})) {
    code =
        svd_vk(a.data, a.rows, a.cols, kSvdTolerance, kSvdTiny, 1, 1, u.data, values.data, v.data);
    for (int32_t i = 0; i < values.rows; ++i) s.at(i, i) = values.data[i];
  }
  return answer_factors(L, result, code, {{u_out, u}, {s_out, s}, {v_out, v}});
}

// mt_decompose_eig(A, wr [, wi [, V [, W]]]): the eigenvalues wr[j] + i wi[j] of a square A,
// ordered by real part, then imaginary part (a conjugate pair adjacent); column j of V + i W is
// a unit eigenvector of eigenvalue j. A symmetric A has real eigenvalues in increasing order and
// orthonormal real eigenvectors. Outputs not passed are not computed.
int mt_decompose_eig(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  if (nargs < 2 || nargs > 5 || !read_matrix(L, args, nargs, 0, &a)) return 0;
  TObject* outs[4] = {};
  for (int i = 1; i < nargs; ++i) outs[i - 1] = take_output(L, args, i);
  const bool vectors = nargs >= 4;
  const int32_t n = a.rows;
  DenseMatrix wr, wi, vr, vi;
  int32_t code = square_code(a);
  if (code == kCodeOk) {
    const int32_t side = vectors ? n : 0;
    code = allocate_all({{&wr, {n, 1}}, {&wi, {n, 1}}, {&vr, {side, side}}, {&vi, {side, side}}})
               ? decompose_eig_vk(a.data, n, wr.data, wi.data, vectors ? vr.data : nullptr,
                                  vectors ? vi.data : nullptr)
               : kCodeFailed;
  }
  const Factor factors[] = {
      {outs[0], wr, write_vector}, {outs[1], wi, write_vector}, {outs[2], vr}, {outs[3], vi}};
  return answer_factors(L, result, code, std::span(factors, static_cast<size_t>(nargs - 1)));
}

// mt_decompose_chol(A, R [, lower]): the Cholesky factor of a symmetric positive definite A:
// R upper triangular with R^T x R = A, or with lower <> 0 lower triangular with R x R^T = A.
// 4007 when A is not symmetric, 1006 when it is not positive definite.
int mt_decompose_chol(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  bool lower = false;
  if (nargs < 2 || nargs > 3 || !read_flag(args, nargs, 2, &lower) ||
      !read_matrix(L, args, nargs, 0, &a))
    return 0;
  TObject* out = take_output(L, args, 1);
  DenseMatrix f;
  int32_t code = square_code(a);
  if (code == kCodeOk)
    code = f.allocate(a.rows, a.rows) ? decompose_chol_vk(a.data, a.rows, !lower, f.data)
                                      : kCodeFailed;
  return answer_matrix(L, result, code, out, f);
}

// mt_decompose_ldl(A, L, D [, pivoted]): A symmetric (n x n), factored with symmetric pivoting
// as P x A x P^T = L0 x D x L0^T, L0 unit lower triangular. Without pivoted: L = P^T x L0 (a
// row permutation of a triangular matrix) and D the n x n diagonal matrix, so that
// A = L x D x L^T. With pivoted <> 0: L = L0 and D a table of two rows, the n diagonal entries
// and the pivot list (row i of P x A is row D[1][i] of A, counted from 0). 4007 when A is not
// symmetric, 1006 when it needs a 2 x 2 pivot (indefinite with a zero diagonal).
int mt_decompose_ldl(VKL_State* L, TObject* args, int nargs, TObject* result) {
  DenseMatrix a;
  bool pivoted = false;
  if (nargs < 3 || nargs > 4 || !read_flag(args, nargs, 3, &pivoted) ||
      !read_matrix(L, args, nargs, 0, &a))
    return 0;
  TObject* l_out = take_output(L, args, 1);
  TObject* d_out = take_output(L, args, 2);
  const int32_t n = a.rows;
  DenseMatrix factor, l, d;
  int32_t code = square_code(a);
  if (code == kCodeOk &&
      !allocate_all({{&factor, {n, n}}, {&l, {n, n}}, {&d, {pivoted ? 2 : n, n}}}))
    code = kCodeFailed;
  if (code == kCodeOk) {
    DenseMatrix diagonal;
    int32_t* pivot = static_cast<int32_t*>(VKL_Malloc(sizeof(int32_t) * static_cast<size_t>(n)));
    code = pivot && diagonal.allocate(n, 1)
               ? decompose_ldl_vk(a.data, n, factor.data, diagonal.data, pivot)
               : kCodeFailed;
    if (code == kCodeOk) {
      for (int32_t i = 0; i < n; ++i) {
        if (pivoted) {
          d.at(0, i) = diagonal.data[i];
          d.at(1, i) = pivot[i];
        } else {
          d.at(i, i) = diagonal.data[i];
        }
        // Row i of L0 is row pivot[i] of P^T x L0.
        for (int32_t j = 0; j < n; ++j) l.at(pivoted ? i : pivot[i], j) = factor.at(i, j);
      }
    }
    VKL_Free(pivot);
  }
  return answer_factors(
      L, result, code,
      {{l_out, l}, {d_out, d, pivoted ? write_diagonal_and_pivots : write_matrix}});
}

}  // namespace vkl::methods
