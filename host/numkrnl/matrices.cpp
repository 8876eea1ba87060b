// Dense matrix multiplication (OpenBLAS dgemm) and the QR, singular value, eigenvalue,
// Cholesky and LDL^T decompositions (Eigen) over row-major buffers.
#include <vkl/numkrnl.h>

#include <cblas.h>

#include <Eigen/Cholesky>
#include <Eigen/Dense>
#include <Eigen/Eigenvalues>
#include <Eigen/QR>
#include <Eigen/SVD>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "guarded.h"

namespace {

using Eigen::Dynamic;
using Eigen::Index;
using Eigen::MatrixXd;
using RowMatrix = Eigen::Matrix<double, Dynamic, Dynamic, Eigen::RowMajor>;
using ConstRowMap = Eigen::Map<const RowMatrix>;
using RowMap = Eigen::Map<RowMatrix>;

// Two entries mirrored across the diagonal may differ by this much relative to the largest
// magnitude and still count as equal: a product such as B * B^T, summed in a different order
// for (i, j) than for (j, i), is symmetric only up to rounding.
constexpr double kSymmetryTolerance = 1e-12;

// The shape checks shared by every decomposition: a buffer, some rows, some columns, and only
// finite values.
int check_input(const double* a, int32_t m, int32_t n) {
  if (m < 0 || n < 0) return VKN_BAD_INPUT;
  if (m == 0) return VKN_BAD_ROWS;
  if (n == 0) return VKN_BAD_COLS;
  if (!a) return VKN_BAD_INPUT;
  const ConstRowMap values(a, m, n);
  return values.allFinite() ? VKN_OK : VKN_BAD_INPUT;
}

bool is_symmetric(const ConstRowMap& a) {
  const double limit = kSymmetryTolerance * a.cwiseAbs().maxCoeff();
  for (Index i = 0; i < a.rows(); ++i)
    for (Index j = 0; j < i; ++j)
      if (std::abs(a(i, j) - a(j, i)) > limit) return false;
  return true;
}

// Eigenvalue order: by real part, then imaginary part.
std::vector<Index> eigen_order(const Eigen::VectorXcd& values) {
  std::vector<Index> order(static_cast<size_t>(values.size()));
  std::iota(order.begin(), order.end(), Index{0});
  std::stable_sort(order.begin(), order.end(), [&](Index x, Index y) {
    if (values(x).real() != values(y).real()) return values(x).real() < values(y).real();
    return values(x).imag() < values(y).imag();
  });
  return order;
}

int symmetric_eigen(const ConstRowMap& a, double* wr, double* wi, double* vr, double* vi) {
  const bool vectors = vr != nullptr;
  // The solver reads the lower triangle; its eigenvalues come in increasing order.
  Eigen::SelfAdjointEigenSolver<MatrixXd> solver(
      a, vectors ? Eigen::ComputeEigenvectors : Eigen::EigenvaluesOnly);
  if (solver.info() != Eigen::Success) return VKN_FAILED;
  const Index n = a.rows();
  Eigen::Map<Eigen::VectorXd>(wr, n) = solver.eigenvalues();
  Eigen::Map<Eigen::VectorXd>(wi, n).setZero();
  if (vectors) {
    RowMap(vr, n, n) = solver.eigenvectors();
    RowMap(vi, n, n).setZero();
  }
  return VKN_OK;
}

int general_eigen(const ConstRowMap& a, double* wr, double* wi, double* vr, double* vi) {
  const bool vectors = vr != nullptr;
  Eigen::EigenSolver<MatrixXd> solver(a, vectors);
  if (solver.info() != Eigen::Success) return VKN_FAILED;
  const Eigen::VectorXcd values = solver.eigenvalues();
  const std::vector<Index> order = eigen_order(values);
  const Index n = a.rows();
  Eigen::MatrixXcd columns;
  if (vectors) columns = solver.eigenvectors();
  RowMap real_parts(vr, vectors ? n : 0, vectors ? n : 0);
  RowMap imag_parts(vi, vectors ? n : 0, vectors ? n : 0);
  for (Index j = 0; j < n; ++j) {
    const Index from = order[static_cast<size_t>(j)];
    wr[j] = values(from).real();
    wi[j] = values(from).imag();
    if (vectors) {
      real_parts.col(j) = columns.col(from).real();
      imag_parts.col(j) = columns.col(from).imag();
    }
  }
  return VKN_OK;
}

// p * a * p^T = l * d * l^T by symmetric elimination that takes the largest remaining diagonal
// entry as the next pivot. A pivot at rounding level relative to a counts as zero, so that a
// semidefinite matrix factors with zeros in d; its column must then be negligible too,
// otherwise the matrix needs a 2x2 pivot and the factorization breaks down (false).
bool pivoted_ldl(const ConstRowMap& a, MatrixXd& l, Eigen::VectorXd& d,
                 std::vector<int32_t>& order) {
  const Index n = a.rows();
  MatrixXd rest = a;
  l = MatrixXd::Identity(n, n);
  d = Eigen::VectorXd::Zero(n);
  order.resize(static_cast<size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  const double negligible = 16.0 * static_cast<double>(std::max<Index>(n, 4)) *
                            std::numeric_limits<double>::epsilon() * a.cwiseAbs().maxCoeff();
  for (Index k = 0; k < n; ++k) {
    Index p = 0;
    rest.diagonal().tail(n - k).cwiseAbs().maxCoeff(&p);
    p += k;
    if (p != k) {
      rest.row(k).swap(rest.row(p));
      rest.col(k).swap(rest.col(p));
      l.row(k).head(k).swap(l.row(p).head(k));
      std::swap(order[static_cast<size_t>(k)], order[static_cast<size_t>(p)]);
    }
    const Index below = n - k - 1;
    const double pivot = rest(k, k);
    if (std::abs(pivot) <= negligible) {
      if (below > 0 && rest.col(k).tail(below).cwiseAbs().maxCoeff() > negligible) return false;
      continue;
    }
    d(k) = pivot;
    l.col(k).tail(below) = rest.col(k).tail(below) / pivot;
    rest.bottomRightCorner(below, below).noalias() -=
        rest.col(k).tail(below) * l.col(k).tail(below).transpose();
  }
  return true;
}

}  // namespace

extern "C" {

VKL_API int mt_mul_vk(const double* a, int32_t a_rows, int32_t a_cols, const double* b,
                      int32_t b_rows, int32_t b_cols, double* c) {
  if (a_rows < 0 || a_cols < 0 || b_rows < 0 || b_cols < 0) return VKN_BAD_INPUT;
  if (a_cols != b_rows || a_rows == 0 || a_cols == 0 || b_cols == 0) return VKN_SHAPE_MISMATCH;
  if (!a || !b || !c) return VKN_BAD_INPUT;
  cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, a_rows, b_cols, a_cols, 1.0, a, a_cols, b,
              b_cols, 0.0, c, b_cols);
  return VKN_OK;
}

VKL_API int qr_vk(const double* a, int32_t m, int32_t n, int32_t economy, double* q, double* r) {
  return vkn::guarded([&]() -> int {
    int status = check_input(a, m, n);
    if (status != VKN_OK) return status;
    if (!q || !r) return VKN_BAD_INPUT;
    const Eigen::HouseholderQR<MatrixXd> qr{MatrixXd(ConstRowMap(a, m, n))};
    const Index k = std::min(m, n);
    const Index q_cols = economy ? k : m;
    MatrixXd q_out = qr.householderQ() * MatrixXd::Identity(m, q_cols);
    MatrixXd r_out = qr.matrixQR().topRows(q_cols).triangularView<Eigen::Upper>();
    // A reflection may leave a negative diagonal entry; turning row j of r and column j of q
    // round keeps the product and makes the factors unique for a full-rank a.
    for (Index j = 0; j < k; ++j) {
      if (r_out(j, j) < 0) {
        r_out.row(j).tail(n - j) *= -1;  // the zeros left of the diagonal stay +0
        q_out.col(j) *= -1;
      }
    }
    RowMap(q, m, q_cols) = q_out;
    RowMap(r, q_cols, n) = r_out;
    return VKN_OK;
  });
}

VKL_API int svd_vk(const double* a, int32_t m, int32_t n, double tolerance, double tiny,
                   int32_t compute_u, int32_t compute_v, double* u, double* s, double* v) {
  return vkn::guarded([&]() -> int {
    int status = check_input(a, m, n);
    if (status != VKN_OK) return status;
    if (!s || (compute_u && !u) || (compute_v && !v) || !(tolerance >= 0) || !(tiny >= 0))
      return VKN_BAD_INPUT;
    unsigned options = 0;
    if (compute_u) options |= Eigen::ComputeFullU;
    if (compute_v) options |= Eigen::ComputeFullV;
    const Eigen::BDCSVD<MatrixXd> svd(MatrixXd(ConstRowMap(a, m, n)), options);
    if (svd.info() != Eigen::Success) return VKN_FAILED;
    const Eigen::VectorXd& values = svd.singularValues();
    const double floor =
        std::max(tolerance * std::max(m, n) * (values.size() ? values(0) : 0.0), tiny);
    for (Index i = 0; i < values.size(); ++i) s[i] = values(i) < floor ? 0.0 : values(i);
    if (compute_u) RowMap(u, m, m) = svd.matrixU();
    if (compute_v) RowMap(v, n, n) = svd.matrixV();
    return VKN_OK;
  });
}

VKL_API int decompose_eig_vk(const double* a, int32_t n, double* wr, double* wi, double* vr,
                             double* vi) {
  return vkn::guarded([&]() -> int {
    int status = check_input(a, n, n);
    if (status != VKN_OK) return status;
    if (!wr || !wi || (vr == nullptr) != (vi == nullptr)) return VKN_BAD_INPUT;
    const ConstRowMap input(a, n, n);
    return is_symmetric(input) ? symmetric_eigen(input, wr, wi, vr, vi)
                               : general_eigen(input, wr, wi, vr, vi);
  });
}

VKL_API int decompose_chol_vk(const double* a, int32_t n, int32_t upper, double* f) {
  return vkn::guarded([&]() -> int {
    int status = check_input(a, n, n);
    if (status != VKN_OK) return status;
    if (!f) return VKN_BAD_INPUT;
    const ConstRowMap input(a, n, n);
    if (!is_symmetric(input)) return VKN_NOT_SYMMETRIC;
    const Eigen::LLT<MatrixXd> llt{MatrixXd(input)};
    if (llt.info() != Eigen::Success) return VKN_BREAKDOWN;
    if (upper)
      RowMap(f, n, n) = llt.matrixU();
    else
      RowMap(f, n, n) = llt.matrixL();
    return VKN_OK;
  });
}

VKL_API int decompose_ldl_vk(const double* a, int32_t n, double* l, double* d, int32_t* pivot) {
  return vkn::guarded([&]() -> int {
    int status = check_input(a, n, n);
    if (status != VKN_OK) return status;
    if (!l || !d || !pivot) return VKN_BAD_INPUT;
    const ConstRowMap input(a, n, n);
    if (!is_symmetric(input)) return VKN_NOT_SYMMETRIC;
    MatrixXd factor;
    Eigen::VectorXd diagonal;
    std::vector<int32_t> order;
    if (!pivoted_ldl(input, factor, diagonal, order)) return VKN_BREAKDOWN;
    RowMap(l, n, n) = factor;
    Eigen::Map<Eigen::VectorXd>(d, n) = diagonal;
    std::copy(order.begin(), order.end(), pivot);
    return VKN_OK;
  });
}

}  // extern "C"
