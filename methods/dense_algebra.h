// Matrix product and decompositions computed by the numerics library: QR, singular values,
// eigenvalues and eigenvectors, Cholesky and LDL^T factors.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int mt_multiplication(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_qr(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_svd(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_eig(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_chol(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_ldl(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kDenseAlgebraRows[] = {
    {"mt_multiplication", methods::mt_multiplication, "mt_multiplication(A, B, C)",
     "C = A x B; code 0, 4003 when columns of A differ from rows of B; empty A or B: empty table"},
    {"mt_decompose_qr", methods::mt_decompose_qr, "mt_decompose_qr(A, Q, R [, economy])",
     "A = Q x R, Q orthogonal, R upper triangular; economy <> 0: Q has min(m, n) columns"},
    {"mt_decompose_qr2", methods::mt_decompose_qr, "mt_decompose_qr2(A, Q, R [, economy])",
     "the same as mt_decompose_qr"},
    {"mt_decompose_svd", methods::mt_decompose_svd, "mt_decompose_svd(A, U, S, V)",
     "A = U x S x V^T, S diagonal with the singular values in decreasing order"},
    {"mt_decompose_eig", methods::mt_decompose_eig, "mt_decompose_eig(A, wr [, wi [, V [, W]]])",
     "eigenvalues wr + i wi of a square A, eigenvectors as columns of V + i W"},
    {"mt_decompose_chol", methods::mt_decompose_chol, "mt_decompose_chol(A, R [, lower])",
     "Cholesky factor of a symmetric positive definite A: R^T x R = A, or lower: R x R^T = A"},
    {"mt_decompose_ldl", methods::mt_decompose_ldl, "mt_decompose_ldl(A, L, D [, pivoted])",
     "A = L x D x L^T for a symmetric A; pivoted: L triangular, D the diagonal and pivot rows"},
};

}  // namespace vkl::plugin
