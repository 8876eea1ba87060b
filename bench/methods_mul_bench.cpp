// mt_multiplication of two 500 x 500 tables of reals through the registered handler (loaded
// from libvklcplugin.so beside this program, as a host loads it), against the same work written
// plainly: a loop reading both tables into vectors through the kernel's table access, one
// OpenBLAS dgemm, and a loop building the result table of row tables. Both sides run OpenBLAS
// with one thread (openblas_set_num_threads(1), the library is shared by both). The reporter
// prints the ratio handler / plain (target at most 1.5).
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <random>
#include <string>
#include <vector>

#include "vkl/interp.h"
#include "vkl/kernel.h"
#include "vkl/matrix.h"

#include "plugin_handler.h"
#include "ratio_reporter.h"

extern "C" void openblas_set_num_threads(int);

namespace {

constexpr int32_t kSide = 500;

// A kSide x kSide table of row tables of random reals in `cell`.
void fill_table(VKL_State* L, TObject* cell, unsigned seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  std::vector<double> data(size_t{kSide} * kSide);
  for (double& x : data) x = value(gen);
  vkl_put_nil(cell);
  VKL_NewHashEx(L, cell, kSide, 0);
  DoubleArrayToHash(L, vkl_table(cell), data.data(), kSide, kSide);
}

// The plain conversion from a table of row tables to a row-major vector.
std::vector<double> read_table(const TObject* cell) {
  const VKL_Table* t = vkl_table(cell);
  const int64_t rows = VKL_HashCount(t);
  const int64_t cols = rows ? VKL_HashCount(vkl_table(VKL_HashGetInt64(t, 0))) : 0;
  std::vector<double> data;
  data.reserve(static_cast<size_t>(rows * cols));
  for (int64_t i = 0; i < rows; ++i) {
    const VKL_Table* row = vkl_table(VKL_HashGetInt64(t, i));
    for (int64_t j = 0; j < cols; ++j) data.push_back(VKL_AsDouble(VKL_HashGetInt64(row, j)));
  }
  return data;
}

// The plain conversion back: a table of row tables appended in key order.
void write_table(VKL_State* L, TObject* cell, const std::vector<double>& data, int32_t rows,
                 int32_t cols) {
  VKL_FreeObjectContent(L, cell);
  VKL_Table* t = VKL_NewHashEx(L, cell, rows, 0);
  for (int32_t i = 0; i < rows; ++i) {
    TObject* row_cell = VKL_HashAppend(L, t);
    VKL_Table* row = VKL_NewHashEx(L, row_cell, cols, 0);
    for (int32_t j = 0; j < cols; ++j)
      VKL_SetReal(L, VKL_HashAppend(L, row), data[size_t(i) * cols + j]);
  }
}

void mul500_plain(benchmark::State& state, int threads) {
  VKL_State* L = VKL_InterpNewState();
  openblas_set_num_threads(threads);
  TObject a, b, c;
  fill_table(L, &a, 1);
  fill_table(L, &b, 2);
  vkl_put_nil(&c);
  std::vector<double> product(size_t{kSide} * kSide);
  for (auto _ : state) {
    const std::vector<double> x = read_table(&a), y = read_table(&b);
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, kSide, kSide, kSide, 1.0, x.data(),
                kSide, y.data(), kSide, 0.0, product.data(), kSide);
    write_table(L, &c, product, kSide, kSide);
    benchmark::DoNotOptimize(c);
  }
  for (TObject* cell : {&a, &b, &c}) VKL_FreeObjectContent(L, cell);
  VKL_InterpFreeState(L);
}

// dgemm alone on the same numbers: what neither side can go below.
void mul500_dgemm(benchmark::State& state, int threads) {
  openblas_set_num_threads(threads);
  std::vector<double> x(size_t{kSide} * kSide, 0.5), y(x), product(x.size());
  for (auto _ : state) {
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, kSide, kSide, kSide, 1.0, x.data(),
                kSide, y.data(), kSide, 0.0, product.data(), kSide);
    benchmark::DoNotOptimize(product.data());
  }
}

void mul500_handler(benchmark::State& state, int threads) {
  const BenchHandler mul(state, "mt_multiplication");
  if (!mul.call) return;
  VKL_State* L = mul.L;
  openblas_set_num_threads(threads);
  TObject args[3], result;
  fill_table(L, &args[0], 1);
  fill_table(L, &args[1], 2);
  vkl_put_nil(&args[2]);
  vkl_put_nil(&result);
  for (auto _ : state) {
    if (!mul.call(L, args, 3, &result) || VKL_AsInt(&result) != 0) {
      state.SkipWithError("mt_multiplication failed");
      break;
    }
    benchmark::DoNotOptimize(args[2]);
  }
  for (TObject* cell : {&args[0], &args[1], &args[2], &result}) VKL_FreeObjectContent(L, cell);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  for (int threads : {1, 2}) {
    const std::string prefix = "mul500_threads" + std::to_string(threads);
    benchmark::RegisterBenchmark((prefix + "_plain").c_str(), mul500_plain, threads)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark((prefix + "_dgemm").c_str(), mul500_dgemm, threads)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark((prefix + "_handler").c_str(), mul500_handler, threads)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
  }
  RatioReporter reporter("_handler", "_plain");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
}
