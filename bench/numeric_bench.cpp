// The elementwise drivers beside plain C++ loops doing the same work: abs, floor, round,
// simpleround and exp over a fixed matrix of 10,000,000 doubles against a loop over a
// std::vector<double> into a fresh buffer, and abs over a table of 1,000,000 numbers against
// filling an equal new table through the kernel. Each pair runs in the same process; the end of
// the run prints the ratio driver time / baseline time.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "numeric/logpow.h"
#include "numeric/rounding.h"
#include "ratio_reporter.h"
#include "vkl/kernel.h"
#include "vkl/numbers.h"

namespace {

using namespace vkl::numeric;

constexpr int64_t kMatrixElements = 10000000;
constexpr int64_t kTableEntries = 1000000;

// Values in [-1000, 1000] with many exact halves, so the rounding ties are exercised.
const std::vector<double>& values(int64_t n) {
  static std::vector<double> v;
  if (static_cast<int64_t>(v.size()) < n) {
    std::mt19937_64 gen(7);
    std::uniform_real_distribution<double> real(-1000, 1000);
    v.resize(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) v[i] = i % 4 ? real(gen) : std::floor(real(gen)) + 0.5;
  }
  return v;
}

// One argument cell holding a fixed matrix of the values, and a result cell.
struct MatrixCall {
  TObject arg, result;
  MatrixCall() {
    vkl_put_nil(&arg);
    vkl_put_nil(&result);
    const int64_t dims[] = {kMatrixElements};
    VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(nullptr, &arg, VKL_FM_DOUBLE, 1, dims);
    const std::vector<double>& v = values(kMatrixElements);
    std::copy(v.begin(), v.begin() + kMatrixElements, static_cast<double*>(VKL_FMGetBuffer(fm)));
  }
  ~MatrixCall() {
    VKL_FreeObjectContent(nullptr, &arg);
    VKL_FreeObjectContent(nullptr, &result);
  }
};

template <VKL_Handler H>
void fixed_matrix(benchmark::State& state) {
  MatrixCall call;
  for (auto _ : state) {
    if (!H(nullptr, &call.arg, 1, &call.result)) state.SkipWithError("call rejected");
    benchmark::DoNotOptimize(vkl_ptr(&call.result));
    VKL_FreeObjectContent(nullptr, &call.result);
  }
  state.SetItemsProcessed(state.iterations() * kMatrixElements);
}

template <double (*F)(double)>
void plain_loop(benchmark::State& state) {
  const std::vector<double>& in = values(kMatrixElements);
  for (auto _ : state) {
    std::unique_ptr<double[]> out(new double[kMatrixElements]);
    for (int64_t i = 0; i < kMatrixElements; ++i) out[i] = F(in[i]);
    benchmark::DoNotOptimize(out.get());
  }
  state.SetItemsProcessed(state.iterations() * kMatrixElements);
}

double plain_abs(double x) { return std::fabs(x); }
double plain_floor(double x) { return std::floor(x); }
double plain_round(double x) { return std::nearbyint(x); }  // ties to even
double plain_simpleround(double x) { return std::round(x); }  // ties away from zero
double plain_exp(double x) { return std::exp(x); }

void abs_vkl(benchmark::State& s) { fixed_matrix<unary<rounding::Abs>>(s); }
void abs_baseline(benchmark::State& s) { plain_loop<plain_abs>(s); }
void floor_vkl(benchmark::State& s) { fixed_matrix<unary<NarrowedStep<rounding::floor>>>(s); }
void floor_baseline(benchmark::State& s) { plain_loop<plain_floor>(s); }
void round_vkl(benchmark::State& s) { fixed_matrix<unary<NarrowedStep<rounding::round>>>(s); }
void round_baseline(benchmark::State& s) { plain_loop<plain_round>(s); }
void simpleround_vkl(benchmark::State& s) {
  fixed_matrix<unary<NarrowedStep<rounding::simpleround>>>(s);
}
void simpleround_baseline(benchmark::State& s) { plain_loop<plain_simpleround>(s); }
void exp_vkl(benchmark::State& s) { fixed_matrix<real_unary<logpow::exp>>(s); }
void exp_baseline(benchmark::State& s) { plain_loop<plain_exp>(s); }

// abs over a table of reals against building the same table of absolute values directly, by
// the kernel's quickest way to fill keys 0, 1, 2, ...
void table_abs_vkl(benchmark::State& state) {
  const std::vector<double>& v = values(kTableEntries);
  TObject arg, result;
  vkl_put_nil(&arg);
  vkl_put_nil(&result);
  VKL_Table* t = VKL_NewHashEx(nullptr, &arg, kTableEntries, 0);
  for (int64_t i = 0; i < kTableEntries; ++i)
    VKL_SetReal(nullptr, VKL_HashSetInt64(nullptr, t, i), v[i]);
  for (auto _ : state) {
    if (!unary<rounding::Abs>(nullptr, &arg, 1, &result)) state.SkipWithError("call rejected");
    VKL_FreeObjectContent(nullptr, &result);
  }
  VKL_FreeObjectContent(nullptr, &arg);
  state.SetItemsProcessed(state.iterations() * kTableEntries);
}

void table_abs_baseline(benchmark::State& state) {
  const std::vector<double>& v = values(kTableEntries);
  TObject result;
  vkl_put_nil(&result);
  for (auto _ : state) {
    VKL_Table* t = VKL_NewHashEx(nullptr, &result, kTableEntries, 0);
    for (int64_t i = 0; i < kTableEntries; ++i)
      VKL_SetReal(nullptr, VKL_HashAppend(nullptr, t), std::fabs(v[i]));
    VKL_FreeObjectContent(nullptr, &result);
  }
  state.SetItemsProcessed(state.iterations() * kTableEntries);
}

}  // namespace

BENCHMARK(abs_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(abs_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(floor_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(floor_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(round_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(round_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(simpleround_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(simpleround_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(exp_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(exp_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(table_abs_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(table_abs_baseline)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  values(kMatrixElements);  // build the data before any timing
  RatioReporter reporter("_vkl", "_baseline");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
