/* The numerics library (libnumkrnl.so): dense matrix multiplication and decompositions, and
 * option pricing.
 *
 * Matrices are dense row-major doubles, element (i, j) at index i * cols + j, with signed 32-bit
 * row and column counts. Every output goes into a buffer the caller provides, sized as stated
 * at each operation; an output the caller asks not to compute may be null. Every operation
 * returns a status: 0 on success, otherwise one of the numerical error codes below, and writes
 * its outputs only on success. No C++ exception leaves the library (running out of memory is
 * the status -1). */
#ifndef VKL_NUMKRNL_H
#define VKL_NUMKRNL_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  VKN_OK = 0,
  VKN_FAILED = -1,           /* out of memory, or an iteration that did not converge */
  VKN_BREAKDOWN = 1006,      /* the factorization broke down (singular, not definite) */
  VKN_BAD_INPUT = 3001,      /* a null buffer, a negative count, a value outside the domain */
  VKN_BAD_ROWS = 4001,       /* no rows */
  VKN_BAD_COLS = 4002,       /* no columns */
  VKN_SHAPE_MISMATCH = 4003, /* columns of the left factor differ from rows of the right one */
  VKN_NOT_SQUARE = 4006,
  VKN_NOT_SYMMETRIC = 4007
};

/* ---- Matrices ----
 * The decompositions refuse an input holding a NaN or an infinity (VKN_BAD_INPUT). */

/* c (a_rows x b_cols) = a (a_rows x a_cols) * b (b_rows x b_cols). */
VKL_API int mt_mul_vk(const double* a, int32_t a_rows, int32_t a_cols, const double* b,
                      int32_t b_rows, int32_t b_cols, double* c);

/* a (m x n) = q * r, k = min(m, n). Full (economy 0): q m x m orthogonal, r m x n upper
 * triangular. Economy: q m x k with orthonormal columns, r k x n. The diagonal of r is not
 * negative. */
VKL_API int qr_vk(const double* a, int32_t m, int32_t n, int32_t economy, double* q, double* r);

/* a (m x n) = u * diag(s) * v^T with the k = min(m, n) singular values s in decreasing order,
 * u m x m and v n x n orthogonal (each computed only when its flag is non-zero). A singular
 * value below max(tolerance * max(m, n) * s[0], tiny) is taken as exactly 0: tolerance is the
 * relative precision of the data (machine epsilon for exact data), tiny an absolute floor. */
VKL_API int svd_vk(const double* a, int32_t m, int32_t n, double tolerance, double tiny,
                   int32_t compute_u, int32_t compute_v, double* u, double* s, double* v);

/* The eigenvalues of a square a (n x n): wr[j] + i * wi[j], ordered by real part, then by
 * imaginary part (a conjugate pair is adjacent, negative imaginary part first). With vr and vi
 * (both or neither): column j of vr + i * vi is a unit eigenvector for eigenvalue j. A symmetric
 * a gets real eigenvalues and orthonormal real eigenvectors (vi all zero). */
VKL_API int decompose_eig_vk(const double* a, int32_t n, double* wr, double* wi, double* vr,
                             double* vi);

/* The Cholesky factor of a symmetric positive definite a (n x n) into f (n x n): upper
 * non-zero, r upper triangular with r^T * r = a; upper 0, l lower triangular with l * l^T = a.
 * VKN_NOT_SYMMETRIC, or VKN_BREAKDOWN when a is not positive definite. */
VKL_API int decompose_chol_vk(const double* a, int32_t n, int32_t upper, double* f);

/* The pivoted LDL^T factorization of a symmetric a (n x n): p * a * p^T = l * d * l^T with l
 * (n x n) unit lower triangular, d (n) the diagonal, and p the permutation in pivot[i] = the row
 * of a that becomes row i. Suits positive or negative semidefinite matrices; VKN_BREAKDOWN when
 * a zero pivot leaves a non-zero column (an indefinite matrix that needs 2x2 pivots). */
VKL_API int decompose_ldl_vk(const double* a, int32_t n, double* l, double* d, int32_t* pivot);

/* ---- European options (Black-Scholes with a continuous dividend yield) ----
 * call non-zero for a call, 0 for a put; spot and strike > 0; rate and dividend yield per year,
 * continuously compounded; years >= 0; volatility >= 0 per square-root year. At zero years or
 * zero volatility the option is worth its discounted forward intrinsic value.
 * VKN_BAD_INPUT for values outside these domains or not finite. */

VKL_API int OptionBlackScholesPrice(int32_t call, double spot, double strike, double rate,
                                    double years, double volatility, double dividend_yield,
                                    double* price);
/* d price / d spot. */
VKL_API int OptionBlackScholesDELTA(int32_t call, double spot, double strike, double rate,
                                    double years, double volatility, double dividend_yield,
                                    double* delta);
/* d price / d rate (rho). */
VKL_API int OptionBlackScholesRI(int32_t call, double spot, double strike, double rate,
                                 double years, double volatility, double dividend_yield,
                                 double* rho);
/* The volatility at which the option is worth `price` (years > 0). VKN_BAD_INPUT when the
 * price lies outside what any volatility gives (below the discounted intrinsic value, at or
 * above the discounted spot for a call or strike for a put). */
VKL_API int OptionImpliedVolatility(int32_t call, double spot, double strike, double rate,
                                    double years, double price, double dividend_yield,
                                    double* volatility);
/* The same, searched within [lower, upper] (0 <= lower < upper); VKN_BAD_INPUT when the price
 * is not reached inside the bounds. */
VKL_API int OptionImpliedVolatilityLU(int32_t call, double spot, double strike, double rate,
                                      double years, double price, double dividend_yield,
                                      double lower, double upper, double* volatility);

#ifdef __cplusplus
}
#endif

#endif
