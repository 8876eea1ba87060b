/* Dense matrices and vectors of doubles from and to script values (libvklinterp.so).
 *
 * What converts:
 * - A matrix is a table of row tables (keys 0..rows-1, all in the array part) whose rows hold
 *   the same number of numbers under the keys 0..cols-1. A table of numbers is taken as one
 *   column (n rows, 1 column). A fixed matrix of int32, int64 or double elements converts too:
 *   two dimensions as rows and columns, one dimension as a column.
 * - A number is an integer (kind 0), a real (1) or an int64 (20). Strings, nil and every other
 *   kind are refused, even when their text reads as a number.
 * - Keys outside 0..n-1 (string keys, negative or sparse integer keys) are refused: a matrix
 *   has no place for them.
 * - A reference (kind 26) is followed one level at the top.
 * - An empty table is a matrix of 0 rows and 0 columns (and a vector of 0 elements); a table
 *   of empty rows has rows and no columns.
 * Buffers come from VKL_Malloc (the caller frees them with VKL_Free); a conversion of 0
 * elements yields a null buffer. On failure the outputs are left as they were.
 */
#ifndef VKL_MATRIX_H
#define VKL_MATRIX_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A matrix (see above) to a dense row-major buffer, element (i, j) at i * cols + j. Returns 1,
 * or 0 when `o` is not such a value (ragged rows, a non-numeric element, other keys, more than
 * INT32_MAX rows or columns) or memory runs out. */
VKL_API int ObjToDoubleArray2(VKL_State* L, const TObject* o, double** data, int32_t* rows,
                              int32_t* cols);
/* A vector: a table of numbers, or a matrix of one row or one column (either read in order).
 * Returns 1, or 0 as ObjToDoubleArray2 and for a matrix of more than one row and column. */
VKL_API int ObjToDoubleVector(VKL_State* L, const TObject* o, double** data, int32_t* n);

/* Fills table t with `rows` row tables under the keys 0..rows-1, each holding `cols` reals
 * under 0..cols-1; what t held under those keys is released, other keys stay. Returns 1, or 0
 * for a bad argument or when memory runs out (the rows written so far stay in t). */
VKL_API int DoubleArrayToHash(VKL_State* L, VKL_Table* t, const double* data, int32_t rows,
                              int32_t cols);
/* Fills table t with `n` reals under the keys 0..n-1, as DoubleArrayToHash. */
VKL_API int DoubleVectorToHash(VKL_State* L, VKL_Table* t, const double* data, int32_t n);

#ifdef __cplusplus
}
#endif
#endif /* VKL_MATRIX_H */
