// Solvers of square linear systems: Gauss and Gauss-Jordan elimination with complete pivoting,
// the square-root (Cholesky) and LDL^T methods for symmetric matrices, and Gauss-Seidel
// iteration. Each answers a code and writes the solution into its last argument.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int se_gauss(VKL_State* L, TObject* args, int nargs, TObject* result);
int se_gauss_jordan(VKL_State* L, TObject* args, int nargs, TObject* result);
int se_cholesky(VKL_State* L, TObject* args, int nargs, TObject* result);
int se_ldl(VKL_State* L, TObject* args, int nargs, TObject* result);
int se_gauss_seidel(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kLinearSystemRows[] = {
    {"se_gauss", methods::se_gauss, "se_gauss(A, b, x)",
     "solves A x = b by Gauss elimination with complete pivoting; code 0 or 1001-1006"},
    {"se_gauss_jordan", methods::se_gauss_jordan, "se_gauss_jordan(A, B, X)",
     "solves A X = B by Gauss-Jordan elimination with complete pivoting; code 0 or 1001-1006"},
    {"se_cholesky", methods::se_cholesky, "se_cholesky(A, B, X)",
     "solves A X = B for a symmetric positive definite A; code 0, 1001-1006 or 1011"},
    {"se_ldl", methods::se_ldl, "se_ldl(A, B, X)",
     "solves A X = B for a symmetric A by the LDL^T method; code 0, 1001-1006 or 1011"},
    {"se_gauss_seidel", methods::se_gauss_seidel, "se_gauss_seidel(A, b, x)",
     "solves A x = b by Gauss-Seidel iteration for a strictly diagonally dominant A"},
};

}  // namespace vkl::plugin
