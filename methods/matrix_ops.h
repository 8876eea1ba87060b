// Matrix functions computed here: sum, difference, transpose, LU factors, inverses and
// determinants of matrices given as tables of row tables (or fixed matrices), answered with a
// code and the result in the last arguments.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int mt_addition(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_subtraction(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_transposition(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_decompose_lu(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_iv_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_iv_ldl(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_va_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_va_cholesky(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kMatrixOpRows[] = {
    {"mt_addition", methods::mt_addition, "mt_addition(A, B, C)",
     "C = A + B; code 0, or 4004 when the column counts differ"},
    {"mt_subtraction", methods::mt_subtraction, "mt_subtraction(A, B, C)",
     "C = A - B; code 0, or 4004 when the column counts differ"},
    {"mt_transposition", methods::mt_transposition, "mt_transposition(A, T)",
     "T = A transposed; code 0"},
    {"mt_decompose_lu", methods::mt_decompose_lu, "mt_decompose_lu(A, L, U)",
     "A = L U, L unit lower and U upper triangular, no exchanges; code 0, 1006 or 4001-4006"},
    {"mt_iv_gauss_jordan", methods::mt_iv_gauss_jordan, "mt_iv_gauss_jordan(A, Inv)",
     "the inverse of A by Gauss-Jordan elimination; code 0, 1006 or 4001-4006"},
    {"mt_iv_ldl", methods::mt_iv_ldl, "mt_iv_ldl(A, Inv)",
     "the inverse of a symmetric A by LDL^T; code 0, 1006, 4001-4006 or 4007"},
    {"mt_va_gauss_jordan", methods::mt_va_gauss_jordan, "mt_va_gauss_jordan(A, det)",
     "the determinant of A by elimination with complete pivoting; code 0 or 4001-4006"},
    {"mt_va_cholesky", methods::mt_va_cholesky, "mt_va_cholesky(A, det)",
     "the determinant of a symmetric positive definite A; code 0, 1006, 4001-4006 or 4007"},
};

}  // namespace vkl::plugin
