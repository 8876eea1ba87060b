// Linear systems: the Gauss solver with complete pivoting against LAPACK's dgesv (OpenBLAS,
// one thread) on the same 500 x 500 system, and the conversion of a 1000 x 1000 table of reals
// to a dense buffer against a plain loop reading the same table through the kernel. Each pair
// prints the ratio of its times; the conversions also report ns per element.
//
// dgesv reads the row-major buffer as column-major, solving with the transpose: the same work.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include <vkl/interp.h>
#include <vkl/kernel.h>
#include <vkl/matrix.h>

#include "methods/elimination.h"
#include "plugin_handler.h"
#include "ratio_reporter.h"

extern "C" {
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, int* info);
void openblas_set_num_threads(int n);
}

namespace {

using vkl::methods::DenseMatrix;

constexpr int kSystemSize = 500;
constexpr int kTableSize = 1000;

struct System {
  std::vector<double> a, b;
};

const System& system_of_size(int n) {
  static System s = [n] {
    System made;
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> u(-1, 1);
    made.a.resize(static_cast<size_t>(n) * n);
    made.b.resize(n);
    for (double& v : made.a) v = u(rng);
    for (double& v : made.b) v = u(rng);
    return made;
  }();
  return s;
}

// Both sides copy the system into their working buffers every iteration: the solvers
// overwrite it.
void BM_Solve_vkl(benchmark::State& state) {
  const System& s = system_of_size(kSystemSize);
  DenseMatrix a, b, x;
  a.allocate(kSystemSize, kSystemSize);
  b.allocate(kSystemSize, 1);
  for (auto _ : state) {
    std::memcpy(a.data, s.a.data(), s.a.size() * sizeof(double));
    std::memcpy(b.data, s.b.data(), s.b.size() * sizeof(double));
    if (vkl::methods::gauss_solve(a, b, &x) != 0) state.SkipWithError("singular");
    benchmark::DoNotOptimize(x.data);
  }
}
BENCHMARK(BM_Solve_vkl)->Unit(benchmark::kMillisecond)->Repetitions(3);

void BM_Solve_baseline(benchmark::State& state) {
  openblas_set_num_threads(1);
  const System& s = system_of_size(kSystemSize);
  std::vector<double> a(s.a.size()), b(s.b.size());
  std::vector<int> pivots(kSystemSize);
  const int n = kSystemSize, one = 1;
  for (auto _ : state) {
    std::memcpy(a.data(), s.a.data(), s.a.size() * sizeof(double));
    std::memcpy(b.data(), s.b.data(), s.b.size() * sizeof(double));
    int info = 0;
    dgesv_(&n, &one, a.data(), &n, pivots.data(), b.data(), &n, &info);
    if (info != 0) state.SkipWithError("singular");
    benchmark::DoNotOptimize(b.data());
  }
}
BENCHMARK(BM_Solve_baseline)->Unit(benchmark::kMillisecond)->Repetitions(3);

// The whole script call: both conversions, the solver and the written solution.
void BM_SeGaussHandler(benchmark::State& state) {
  BenchHandler h(state, "se_gauss");
  if (!h.call) return;
  const System& s = system_of_size(kSystemSize);
  TObject args[3], result;
  for (TObject& c : args) vkl_put_nil(&c);
  vkl_put_nil(&result);
  DoubleArrayToHash(h.L, VKL_NewHash(h.L, &args[0]), s.a.data(), kSystemSize, kSystemSize);
  DoubleVectorToHash(h.L, VKL_NewHash(h.L, &args[1]), s.b.data(), kSystemSize);
  for (auto _ : state) {
    if (!h.call(h.L, args, 3, &result) || vkl_int(&result) != 0) state.SkipWithError("failed");
  }
  for (TObject& c : args) VKL_FreeObjectContent(h.L, &c);
  VKL_FreeObjectContent(h.L, &result);
}
BENCHMARK(BM_SeGaussHandler)->Unit(benchmark::kMillisecond)->Repetitions(3);

// A 1000 x 1000 table of row tables of reals.
struct TableOfRows {
  VKL_State* L = VKL_InterpNewState();
  TObject cell;
  TableOfRows() {
    vkl_put_nil(&cell);
    std::vector<double> values(static_cast<size_t>(kTableSize) * kTableSize);
    for (size_t k = 0; k < values.size(); ++k) values[k] = static_cast<double>(k) * 0.5;
    DoubleArrayToHash(L, VKL_NewHash(L, &cell), values.data(), kTableSize, kTableSize);
  }
  ~TableOfRows() {
    VKL_FreeObjectContent(L, &cell);
    VKL_InterpFreeState(L);
  }
};

void report_per_element(benchmark::State& state) {
  state.counters["ns_per_element"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kTableSize * kTableSize,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_TableToDense_vkl(benchmark::State& state) {
  TableOfRows t;
  for (auto _ : state) {
    double* data = nullptr;
    int32_t rows = 0, cols = 0;
    if (!ObjToDoubleArray2(t.L, &t.cell, &data, &rows, &cols)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(data);
    VKL_Free(data);
  }
  report_per_element(state);
}
BENCHMARK(BM_TableToDense_vkl)->Unit(benchmark::kMillisecond)->Repetitions(3);

// The plain loop: every row and every element fetched by position through the kernel and
// stored as a double, no checks beyond the kind.
void BM_TableToDense_baseline(benchmark::State& state) {
  TableOfRows t;
  const VKL_Table* outer = vkl_table(&t.cell);
  for (auto _ : state) {
    auto* data = static_cast<double*>(VKL_Malloc(sizeof(double) * kTableSize * kTableSize));
    double* at = data;
    for (int64_t i = 0; i < kTableSize; ++i) {
      const VKL_Table* row = vkl_table(VKL_HashRawGetN(outer, i, nullptr));
      for (int64_t j = 0; j < kTableSize; ++j)
        *at++ = vkl_real(VKL_HashRawGetN(row, j, nullptr));
    }
    benchmark::DoNotOptimize(data);
    VKL_Free(data);
  }
  report_per_element(state);
}
BENCHMARK(BM_TableToDense_baseline)->Unit(benchmark::kMillisecond)->Repetitions(3);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter("_vkl", "_baseline");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
