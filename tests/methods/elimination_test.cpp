// The solvers against plain textbook versions: the Gauss solver's fused pivot search and
// vectorised updates must pick the same pivots and give the same bits; the other solvers are
// checked by what they compute.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "methods/elimination.h"
#include "methods/symmetric.h"

namespace vkl::methods {
namespace {

using Values = std::vector<double>;

// Gauss elimination with complete pivoting as the textbook writes it: a full search of the
// remaining submatrix per step, physical row and column exchanges.
int32_t textbook_gauss(Values a, Values b, int n, Values* x) {
  std::vector<int> col(n);
  for (int k = 0; k < n - 1; ++k) {
    double d = 0.0;
    int pi = k, pj = k;
    for (int i = k; i < n; ++i)
      for (int j = k; j < n; ++j)
        if (std::fabs(a[i * n + j]) > d) d = std::fabs(a[i * n + j]), pi = i, pj = j;
    if (d + 1.0 == 1.0) return kCodeSingular;
    col[k] = pj;
    for (int i = 0; i < n; ++i) std::swap(a[i * n + k], a[i * n + pj]);
    for (int j = 0; j < n; ++j) std::swap(a[k * n + j], a[pi * n + j]);
    std::swap(b[k], b[pi]);
    d = a[k * n + k];
    for (int j = k + 1; j < n; ++j) a[k * n + j] = a[k * n + j] / d;
    b[k] = b[k] / d;
    for (int i = k + 1; i < n; ++i) {
      for (int j = k + 1; j < n; ++j) a[i * n + j] = a[i * n + j] - a[i * n + k] * a[k * n + j];
      b[i] = b[i] - a[i * n + k] * b[k];
    }
  }
  const double d = a[(n - 1) * n + n - 1];
  if (std::fabs(d) + 1.0 == 1.0) return kCodeSingular;
  x->assign(n, 0.0);
  (*x)[n - 1] = b[n - 1] / d;
  for (int i = n - 2; i >= 0; --i) {
    double t = 0.0;
    for (int j = i + 1; j < n; ++j) t = t + a[i * n + j] * (*x)[j];
    (*x)[i] = b[i] - t;
  }
  for (int k = n - 2; k >= 0; --k) std::swap((*x)[k], (*x)[col[k]]);
  return kCodeOk;
}

DenseMatrix dense(const Values& v, int rows, int cols) {
  DenseMatrix m;
  EXPECT_TRUE(m.allocate(rows, cols));
  for (size_t k = 0; k < v.size(); ++k) m.data[k] = v[k];
  return m;
}

Values values_of(const DenseMatrix& m) { return Values(m.data, m.data + m.size()); }

// A random n x n matrix: reals, or small integers of -1, 0, 1 (pivot ties everywhere, singular matrices among the small ones).
Values random_matrix(std::mt19937_64& rng, int n, bool ties) {
  std::uniform_real_distribution<double> real(-10, 10);
  std::uniform_int_distribution<int> small(-1, 1);
  Values a(static_cast<size_t>(n) * n);
  for (double& v : a) v = ties ? small(rng) : real(rng);
  return a;
}

TEST(GaussSolve, SamePivotsAndBitsAsTheTextbook) {
  std::mt19937_64 rng(20261123);
  int singular = 0;
  for (int n : {1, 2, 3, 4, 5, 7, 8, 9, 11, 15, 16, 17, 31, 33, 64}) {
    for (bool ties : {false, true}) {
      for (int round = 0; round < 6; ++round) {
        const Values a = random_matrix(rng, n, ties), b = random_matrix(rng, n, ties);
        const Values rhs(b.begin(), b.begin() + n);
        Values expected;
        const int32_t expected_code = textbook_gauss(a, rhs, n, &expected);
        DenseMatrix ma = dense(a, n, n), mb = dense(rhs, n, 1), x;
        ASSERT_EQ(gauss_solve(ma, mb, &x), expected_code) << n;
        if (expected_code != kCodeOk) {
          ++singular;
          continue;
        }
        const Values got = values_of(x);
        for (int i = 0; i < n; ++i) ASSERT_EQ(got[i], expected[i]) << "n " << n << " at " << i;
      }
    }
  }
  EXPECT_GT(singular, 0);  // small integer matrices include singular ones
}

TEST(GaussSolve, NegligiblePivotsAndNonFiniteValues) {
  DenseMatrix a = dense({1, 2, 2, 4}, 2, 2), b = dense({3, 5}, 2, 1), x;
  EXPECT_EQ(gauss_solve(a, b, &x), kCodeSingular);
  EXPECT_EQ(x.data, nullptr);
  a = dense({1e-17}, 1, 1), b = dense({1}, 1, 1);
  EXPECT_EQ(gauss_solve(a, b, &x), kCodeSingular);
  a = dense({NAN, NAN, NAN, NAN}, 2, 2), b = dense({1, 1}, 2, 1);
  EXPECT_EQ(gauss_solve(a, b, &x), kCodeSingular);  // a NaN is never a pivot
  a = dense({NAN, 1, 2, NAN}, 2, 2), b = dense({1, 1}, 2, 1);
  EXPECT_EQ(gauss_solve(a, b, &x), kCodeOk);
}

// max |a b - c| over the elements.
double residual(const Values& a, const Values& b, const Values& c, int n, int m) {
  double worst = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < m; ++j) {
      double s = 0;
      for (int k = 0; k < n; ++k) s += a[i * n + k] * b[k * m + j];
      worst = std::max(worst, std::fabs(s - c[i * m + j]));
    }
  return worst;
}

Values identity(int n) {
  Values id(static_cast<size_t>(n) * n, 0.0);
  for (int i = 0; i < n; ++i) id[i * n + i] = 1.0;
  return id;
}

// A symmetric positive definite matrix: r r^T + n I.
Values spd_matrix(std::mt19937_64& rng, int n) {
  const Values r = random_matrix(rng, n, false);
  Values a(static_cast<size_t>(n) * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double s = i == j ? n : 0;
      for (int k = 0; k < n; ++k) s += r[i * n + k] * r[j * n + k];
      a[i * n + j] = s;
    }
  return a;
}

TEST(Solvers, SolutionsSatisfyTheirSystems) {
  std::mt19937_64 rng(7);
  for (int n : {1, 3, 8, 13}) {
    const int m = 3;
    const Values a = random_matrix(rng, n, false), spd = spd_matrix(rng, n);
    Values b(static_cast<size_t>(n) * m);
    for (double& v : b) v = std::uniform_real_distribution<double>(-5, 5)(rng);

    DenseMatrix ma = dense(a, n, n), mb = dense(b, n, m);
    ASSERT_EQ(gauss_jordan_solve(ma, mb), kCodeOk);
    EXPECT_LT(residual(a, values_of(mb), b, n, m), 1e-9) << "gauss-jordan " << n;

    ma = dense(spd, n, n), mb = dense(b, n, m);
    ASSERT_EQ(cholesky_solve(ma, mb), kCodeOk);
    EXPECT_LT(residual(spd, values_of(mb), b, n, m), 1e-8) << "cholesky " << n;

    ma = dense(spd, n, n), mb = dense(b, n, m);
    ASSERT_EQ(ldl_solve(ma, mb), kCodeOk);
    EXPECT_LT(residual(spd, values_of(mb), b, n, m), 1e-8) << "ldl " << n;

    ma = dense(a, n, n);
    ASSERT_EQ(gauss_jordan_invert(ma), kCodeOk);
    EXPECT_LT(residual(a, values_of(ma), identity(n), n, n), 1e-9) << "inverse " << n;

    ma = dense(spd, n, n);
    ASSERT_EQ(ldl_invert(ma), kCodeOk);
    EXPECT_LT(residual(spd, values_of(ma), identity(n), n, n), 1e-9) << "ldl inverse " << n;

    DenseMatrix l, u;
    ma = dense(spd, n, n);
    ASSERT_EQ(lu_decompose(ma, &l, &u), kCodeOk);
    EXPECT_LT(residual(values_of(l), values_of(u), spd, n, n), 1e-8) << "lu " << n;

    // Both determinants agree on the positive definite matrix.
    double det_gj = 0, det_chol = 0;
    ma = dense(spd, n, n);
    ASSERT_EQ(gauss_jordan_determinant(ma, &det_gj), kCodeOk);
    ma = dense(spd, n, n);
    ASSERT_EQ(cholesky_determinant(ma, &det_chol), kCodeOk);
    EXPECT_NEAR(det_gj / det_chol, 1.0, 1e-9) << n;
  }
}

TEST(Solvers, DeterminantSignFollowsTheExchanges) {
  double det = 0;
  DenseMatrix a = dense({0, 1, 1, 0}, 2, 2);
  ASSERT_EQ(gauss_jordan_determinant(a, &det), kCodeOk);
  EXPECT_EQ(det, -1.0);
  a = dense({1, 2, 3, 4, 5, 6, 7, 8, 10}, 3, 3);
  ASSERT_EQ(gauss_jordan_determinant(a, &det), kCodeOk);
  EXPECT_NEAR(det, -3.0, 1e-12);
  a = dense({1, 2, 2, 4}, 2, 2);
  ASSERT_EQ(gauss_jordan_determinant(a, &det), kCodeOk);
  EXPECT_EQ(det, 0.0);
}

TEST(Symmetry, OnlyTheOffDiagonalBlockIsCompared) {
  Values a = {1, 2, 3, 4,  //
              2, 1, 5, 6,  //
              3, 5, 1, 7,  //
              4, 6, 7, 1};
  EXPECT_TRUE(is_symmetric(dense(a, 4, 4)));
  Values inside = a;
  inside[1] = 9;  // (0, 1): inside the leading block
  EXPECT_TRUE(is_symmetric(dense(inside, 4, 4)));
  Values across = a;
  across[3] = 9;  // (0, 3)
  EXPECT_FALSE(is_symmetric(dense(across, 4, 4)));
  Values tiny = a;
  tiny[3] = 4 + 1e-17;  // equal once 1 is added
  EXPECT_TRUE(is_symmetric(dense(tiny, 4, 4)));
  Values nan = a;
  nan[3] = nan[12] = NAN;
  EXPECT_FALSE(is_symmetric(dense(nan, 4, 4)));
  EXPECT_FALSE(is_symmetric(dense({1, 2, 3, 4, 5, 6}, 2, 3)));
  EXPECT_FALSE(is_symmetric(DenseMatrix{}));
  EXPECT_TRUE(is_symmetric(dense({NAN}, 1, 1)));
}

TEST(Solvers, FactorizationsRefuseWhatTheyCannotFactor) {
  DenseMatrix a = dense({-4, 1, 1, 3}, 2, 2), b = dense({1, 1}, 2, 1);
  EXPECT_EQ(cholesky_solve(a, b), kCodeSingular);
  a = dense({1, 1, 1, 1}, 2, 2), b = dense({1, 1}, 2, 1);
  EXPECT_EQ(ldl_solve(a, b), kCodeSingular);
  a = dense({0, 1, 1, 0}, 2, 2);
  DenseMatrix l, u;
  EXPECT_EQ(lu_decompose(a, &l, &u), kCodeSingular);  // no exchanges: a zero first pivot
  a = dense({1, 2, 2, 4}, 2, 2);
  EXPECT_EQ(gauss_jordan_invert(a), kCodeSingular);
}

}  // namespace
}  // namespace vkl::methods
