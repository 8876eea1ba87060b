// The decompositions multiply back to their input, their factors have the promised shape, and a
// refused call writes nothing.
#include <gtest/gtest.h>

#include <vkl/numkrnl.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

namespace {

struct Dense {
  int32_t rows = 0, cols = 0;
  std::vector<double> v;
  Dense(int32_t r, int32_t c, double fill = 0) : rows(r), cols(c), v(size_t(r) * c, fill) {}
  Dense(int32_t r, int32_t c, std::vector<double> values)
      : rows(r), cols(c), v(std::move(values)) {}
  double& operator()(int32_t i, int32_t j) { return v[size_t(i) * cols + j]; }
  double operator()(int32_t i, int32_t j) const { return v[size_t(i) * cols + j]; }
  double* data() { return v.data(); }
  const double* data() const { return v.data(); }
};

Dense random_matrix(int32_t rows, int32_t cols, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> value(-2, 2);
  Dense m(rows, cols);
  for (double& x : m.v) x = value(gen);
  return m;
}

Dense product(const Dense& a, const Dense& b) {
  Dense c(a.rows, b.cols);
  for (int32_t i = 0; i < a.rows; ++i)
    for (int32_t j = 0; j < b.cols; ++j)
      for (int32_t k = 0; k < a.cols; ++k) c(i, j) += a(i, k) * b(k, j);
  return c;
}

Dense transposed(const Dense& a) {
  Dense t(a.cols, a.rows);
  for (int32_t i = 0; i < a.rows; ++i)
    for (int32_t j = 0; j < a.cols; ++j) t(j, i) = a(i, j);
  return t;
}

Dense diagonal(int32_t rows, int32_t cols, const std::vector<double>& d) {
  Dense m(rows, cols);
  for (size_t i = 0; i < d.size(); ++i) m(int32_t(i), int32_t(i)) = d[i];
  return m;
}

Dense identity(int32_t n) {
  return diagonal(n, n, std::vector<double>(size_t(n), 1.0));
}

void expect_near(const Dense& actual, const Dense& expected, double tolerance = 1e-12) {
  ASSERT_EQ(actual.rows, expected.rows);
  ASSERT_EQ(actual.cols, expected.cols);
  for (size_t i = 0; i < actual.v.size(); ++i)
    EXPECT_NEAR(actual.v[i], expected.v[i], tolerance) << i;
}

// A symmetric positive definite n x n matrix: B * B^T + n * I.
Dense spd_matrix(int32_t n, unsigned seed) {
  const Dense b = random_matrix(n, n, seed);
  Dense a = product(b, transposed(b));
  for (int32_t i = 0; i < n; ++i) a(i, i) += n;
  return a;
}

TEST(Multiplication, AgreesWithTheTextbookLoop) {
  for (auto [m, k, n] : {std::tuple{1, 1, 1}, {7, 5, 3}, {3, 9, 11}, {64, 33, 65}}) {
    const Dense a = random_matrix(m, k, 1), b = random_matrix(k, n, 2);
    Dense c(m, n, -1);
    ASSERT_EQ(mt_mul_vk(a.data(), m, k, b.data(), k, n, c.data()), VKN_OK);
    expect_near(c, product(a, b));
  }
}

TEST(Multiplication, MismatchedOrEmptyShapesLeaveTheOutputAlone) {
  const Dense a = random_matrix(2, 3, 1);
  Dense c(2, 3, 7);
  EXPECT_EQ(mt_mul_vk(a.data(), 2, 3, a.data(), 2, 3, c.data()), VKN_SHAPE_MISMATCH);
  EXPECT_EQ(mt_mul_vk(a.data(), 0, 3, a.data(), 3, 2, c.data()), VKN_SHAPE_MISMATCH);
  EXPECT_EQ(mt_mul_vk(a.data(), 2, 0, a.data(), 0, 2, c.data()), VKN_SHAPE_MISMATCH);
  EXPECT_EQ(mt_mul_vk(a.data(), -2, 3, a.data(), 3, 2, c.data()), VKN_BAD_INPUT);
  EXPECT_EQ(mt_mul_vk(a.data(), 2, 3, nullptr, 3, 2, c.data()), VKN_BAD_INPUT);
  for (double x : c.v) EXPECT_EQ(x, 7);
}

TEST(Qr, FullAndEconomyFactorsRebuildTallAndWideMatrices) {
  for (auto [m, n] : {std::pair{5, 3}, {3, 5}, {4, 4}, {1, 6}}) {
    const Dense a = random_matrix(m, n, unsigned(m * 10 + n));
    const int32_t k = std::min(m, n);
    for (int32_t economy : {0, 1}) {
      const int32_t q_cols = economy ? k : m;
      Dense q(m, q_cols), r(q_cols, n);
      ASSERT_EQ(qr_vk(a.data(), m, n, economy, q.data(), r.data()), VKN_OK);
      expect_near(product(q, r), a);
      expect_near(product(transposed(q), q), identity(q_cols));
      for (int32_t i = 0; i < q_cols; ++i) {
        for (int32_t j = 0; j < std::min(i, n); ++j) EXPECT_EQ(r(i, j), 0) << i << "," << j;
        if (i < k) {
          EXPECT_GE(r(i, i), 0);
        }
      }
    }
  }
}

TEST(Svd, FactorsRebuildTheMatrixWithSortedValues) {
  for (auto [m, n] : {std::pair{6, 4}, {4, 6}, {5, 5}, {40, 30}}) {
    const Dense a = random_matrix(m, n, unsigned(m + n));
    Dense u(m, m), v(n, n);
    std::vector<double> s(size_t(std::min(m, n)));
    ASSERT_EQ(svd_vk(a.data(), m, n, 2.2204e-16, 1e-16, 1, 1, u.data(), s.data(), v.data()),
              VKN_OK);
    for (size_t i = 1; i < s.size(); ++i) EXPECT_GE(s[i - 1], s[i]);
    expect_near(product(product(u, diagonal(m, n, s)), transposed(v)), a, 1e-11);
    expect_near(product(transposed(u), u), identity(m), 1e-12);
    expect_near(product(transposed(v), v), identity(n), 1e-12);
  }
}

TEST(Svd, RankDeficientMatrixGetsExactZerosAndMayOmitVectors) {
  // Row 2 = row 0 + row 1: rank 2.
  const Dense a(3, 3, {1, 2, 3, 4, 5, 6, 5, 7, 9});
  std::vector<double> s(3, -1);
  ASSERT_EQ(svd_vk(a.data(), 3, 3, 2.2204e-16, 1e-16, 0, 0, nullptr, s.data(), nullptr), VKN_OK);
  EXPECT_GT(s[1], 0.1);
  EXPECT_EQ(s[2], 0.0);
}

// A (vr + i vi) column j = (wr + i wi)[j] times that column.
void expect_eigenpairs(const Dense& a, const std::vector<double>& wr, const std::vector<double>& wi,
                       const Dense& vr, const Dense& vi) {
  const int32_t n = a.rows;
  for (int32_t j = 0; j < n; ++j) {
    const std::complex<double> lambda(wr[size_t(j)], wi[size_t(j)]);
    double norm = 0;
    for (int32_t i = 0; i < n; ++i) {
      std::complex<double> av = 0;
      for (int32_t k = 0; k < n; ++k) av += a(i, k) * std::complex<double>(vr(k, j), vi(k, j));
      const std::complex<double> lv = lambda * std::complex<double>(vr(i, j), vi(i, j));
      EXPECT_NEAR(std::abs(av - lv), 0, 1e-10) << "pair " << j << " row " << i;
      norm += std::norm(std::complex<double>(vr(i, j), vi(i, j)));
    }
    EXPECT_NEAR(norm, 1, 1e-12) << "eigenvector " << j << " has unit length";
  }
}

TEST(Eigen, GeneralMatrixPairsOrderedWithConjugatesAdjacent) {
  const int32_t n = 6;
  const Dense a = random_matrix(n, n, 11);
  std::vector<double> wr(n), wi(n);
  Dense vr(n, n), vi(n, n);
  ASSERT_EQ(decompose_eig_vk(a.data(), n, wr.data(), wi.data(), vr.data(), vi.data()), VKN_OK);
  expect_eigenpairs(a, wr, wi, vr, vi);
  for (int32_t j = 1; j < n; ++j) EXPECT_LE(wr[size_t(j - 1)], wr[size_t(j)]);

  // A rotation by 90 degrees: eigenvalues -i and +i, in that order.
  const Dense rotation(2, 2, {0, -1, 1, 0});
  std::vector<double> rr(2), ri(2);
  ASSERT_EQ(decompose_eig_vk(rotation.data(), 2, rr.data(), ri.data(), nullptr, nullptr), VKN_OK);
  EXPECT_NEAR(rr[0], 0, 1e-15);
  EXPECT_NEAR(ri[0], -1, 1e-15);
  EXPECT_NEAR(ri[1], 1, 1e-15);
}

TEST(Eigen, SymmetricMatrixHasRealOrthonormalVectors) {
  const int32_t n = 5;
  const Dense a = spd_matrix(n, 3);
  std::vector<double> wr(n), wi(n, 9);
  Dense vr(n, n), vi(n, n, 9);
  ASSERT_EQ(decompose_eig_vk(a.data(), n, wr.data(), wi.data(), vr.data(), vi.data()), VKN_OK);
  for (double x : wi) EXPECT_EQ(x, 0);
  for (double x : vi.v) EXPECT_EQ(x, 0);
  expect_eigenpairs(a, wr, wi, vr, vi);
  expect_near(product(transposed(vr), vr), identity(n));
}

TEST(Cholesky, UpperAndLowerFactorsRebuildTheMatrix) {
  const int32_t n = 6;
  const Dense a = spd_matrix(n, 5);
  Dense r(n, n), l(n, n);
  ASSERT_EQ(decompose_chol_vk(a.data(), n, 1, r.data()), VKN_OK);
  ASSERT_EQ(decompose_chol_vk(a.data(), n, 0, l.data()), VKN_OK);
  expect_near(product(transposed(r), r), a, 1e-11);
  expect_near(product(l, transposed(l)), a, 1e-11);
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < i; ++j) {
      EXPECT_EQ(r(i, j), 0);
      EXPECT_EQ(l(j, i), 0);
    }
}

TEST(Cholesky, RefusalsWriteNothing) {
  Dense f(2, 2, 7);
  const Dense unsymmetric(2, 2, {4, 1, 2, 4});
  const Dense indefinite(2, 2, {1, 2, 2, 1});
  const Dense negative_first(2, 2, {-4, 1, 1, 4});
  const Dense with_nan(2, 2, {4, 1, 1, std::nan("")});
  EXPECT_EQ(decompose_chol_vk(unsymmetric.data(), 2, 1, f.data()), VKN_NOT_SYMMETRIC);
  EXPECT_EQ(decompose_chol_vk(indefinite.data(), 2, 1, f.data()), VKN_BREAKDOWN);
  EXPECT_EQ(decompose_chol_vk(negative_first.data(), 2, 1, f.data()), VKN_BREAKDOWN);
  EXPECT_EQ(decompose_chol_vk(with_nan.data(), 2, 1, f.data()), VKN_BAD_INPUT);
  EXPECT_EQ(decompose_chol_vk(unsymmetric.data(), 0, 1, f.data()), VKN_BAD_ROWS);
  for (double x : f.v) EXPECT_EQ(x, 7);
}

Dense permuted(const Dense& a, const std::vector<int32_t>& pivot) {
  Dense p(a.rows, a.cols);
  for (int32_t i = 0; i < a.rows; ++i)
    for (int32_t j = 0; j < a.cols; ++j) p(i, j) = a(pivot[size_t(i)], pivot[size_t(j)]);
  return p;
}

TEST(Ldl, PivotedFactorsRebuildDefiniteAndSemidefiniteMatrices) {
  // A semidefinite matrix of rank 2 beside a definite one; the small leading diagonal forces a
  // pivot exchange.
  const Dense b = random_matrix(4, 2, 8);
  Dense semidefinite = product(b, transposed(b));
  Dense definite = spd_matrix(5, 9);
  definite(0, 0) = 0.5;
  for (const Dense* a : {&semidefinite, &definite}) {
    const int32_t n = a->rows;
    Dense l(n, n);
    std::vector<double> d(static_cast<size_t>(n));
    std::vector<int32_t> pivot(size_t(n), -1);
    ASSERT_EQ(decompose_ldl_vk(a->data(), n, l.data(), d.data(), pivot.data()), VKN_OK);
    expect_near(product(product(l, diagonal(n, n, d)), transposed(l)), permuted(*a, pivot), 1e-11);
    std::vector<int32_t> sorted = pivot;
    std::sort(sorted.begin(), sorted.end());
    for (int32_t i = 0; i < n; ++i) {
      EXPECT_EQ(sorted[size_t(i)], i);
      EXPECT_EQ(l(i, i), 1);
    }
    if (a == &definite) {
      EXPECT_NE(pivot[0], 0);
    }
  }
}

TEST(Ldl, IndefiniteMatrixNeedingTwoByTwoPivotsBreaksDown) {
  const Dense a(2, 2, {0, 1, 1, 0});
  Dense l(2, 2, 7);
  std::vector<double> d(2, 7);
  std::vector<int32_t> pivot(2, 7);
  EXPECT_EQ(decompose_ldl_vk(a.data(), 2, l.data(), d.data(), pivot.data()), VKN_BREAKDOWN);
  for (double x : l.v) EXPECT_EQ(x, 7);
  EXPECT_EQ(pivot[0], 7);
}

TEST(Decompositions, NonFiniteOrEmptyInputIsRefused) {
  const double inf = std::numeric_limits<double>::infinity();
  const Dense a(2, 2, {1, inf, 0, 1});
  Dense q(2, 2), r(2, 2);
  std::vector<double> s(2), wr(2), wi(2);
  EXPECT_EQ(qr_vk(a.data(), 2, 2, 0, q.data(), r.data()), VKN_BAD_INPUT);
  EXPECT_EQ(svd_vk(a.data(), 2, 2, 0, 0, 0, 0, nullptr, s.data(), nullptr), VKN_BAD_INPUT);
  EXPECT_EQ(decompose_eig_vk(a.data(), 2, wr.data(), wi.data(), nullptr, nullptr), VKN_BAD_INPUT);
  EXPECT_EQ(qr_vk(a.data(), 2, 0, 0, q.data(), r.data()), VKN_BAD_COLS);
  EXPECT_EQ(decompose_eig_vk(a.data(), 2, wr.data(), wi.data(), q.data(), nullptr), VKN_BAD_INPUT);
}

}  // namespace
