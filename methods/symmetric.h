// Solvers and functions of symmetric matrices: the symmetry test, the square-root (Cholesky)
// and LDL^T factorizations with their solvers, the LDL^T inverse and the Cholesky determinant.
// They read the lower triangle and answer a NumericCode (kCodeSingular when a pivot is
// negligible, or for Cholesky negative; kCodeFailed when a working buffer cannot be had).
#pragma once

#include "methods/matrix_io.h"

namespace vkl::methods {

// A square matrix with rows, compared only where the leading half of the rows meets the
// trailing half of the columns: a(i, j) + 1 against a(j, i) + 1 for i < n/2 <= j. A NaN there
// fails the test.
bool is_symmetric(const DenseMatrix& a);

// Solve a X = B; X replaces B (a destroyed).
int32_t cholesky_solve(DenseMatrix& a, DenseMatrix& b);
int32_t ldl_solve(DenseMatrix& a, DenseMatrix& b);
// The inverse replaces a.
int32_t ldl_invert(DenseMatrix& a);
// The determinant from the Cholesky factor (a destroyed).
int32_t cholesky_determinant(DenseMatrix& a, double* det);

}  // namespace vkl::methods
