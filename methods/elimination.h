// Elimination with complete pivoting on dense row-major matrices: Gauss and Gauss-Jordan
// solvers, the Gauss-Jordan inverse and determinant, and the LU factors without pivoting.
// Each works in place on its input and answers a NumericCode (kCodeSingular when a pivot is
// negligible, kCodeFailed when a working buffer cannot be had).
#pragma once

#include "methods/matrix_io.h"

namespace vkl::methods {

// Solves a x = b for a square `a` and a vector `b` of the same rows (both destroyed). Each step
// takes the largest |value| of the remaining submatrix as pivot (scanned row by row, the first
// of equal maxima kept), so x is the same as that of the plain textbook elimination.
int32_t gauss_solve(DenseMatrix& a, DenseMatrix& b, DenseMatrix* x);
// Solves a X = B for a square `a` and B of the same rows; X replaces B.
int32_t gauss_jordan_solve(DenseMatrix& a, DenseMatrix& b);
// Inverts a square matrix in place.
int32_t gauss_jordan_invert(DenseMatrix& a);
// The determinant of a square matrix (0 for a singular one; `a` destroyed).
int32_t gauss_jordan_determinant(DenseMatrix& a, double* det);
// a = L U with L unit lower triangular, U upper triangular, no exchanges.
int32_t lu_decompose(const DenseMatrix& a, DenseMatrix* l, DenseMatrix* u);

}  // namespace vkl::methods
