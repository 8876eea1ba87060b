// format('%d %s %.2f', ...) beside snprintf doing the same over the same values: the kernel
// formatter FormatBufA into a buffer, and the registered format handler as a script calls it
// (a new result string each call). The end of the run prints each time over snprintf's (the
// target is at most 0.5).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "vkl/format_buf.h"
#include "vkl/interp.h"
#include "vkl/kernel.h"

#include "plugin_handler.h"
#include "ratio_reporter.h"

namespace {

constexpr int kValues = 1024;
constexpr char kFormat[] = "%d %s %.2f";

struct Values {
  std::vector<int> ints;
  std::vector<std::string> names;
  std::vector<double> reals;
  // The same values as cells, three per call: integer, string, real.
  std::vector<TObject> cells;
  // The handler's arguments, four per call: the format, then the three values.
  std::vector<TObject> calls;

  Values() {
    std::mt19937 gen(7);
    std::uniform_int_distribution<int> integer(-1000000, 1000000);
    std::uniform_real_distribution<double> real(-100000.0, 100000.0);
    for (int i = 0; i < kValues; ++i) {
      ints.push_back(integer(gen));
      names.push_back("item" + std::to_string(i));
      reals.push_back(real(gen));
    }
    cells.resize(3 * kValues);
    for (int i = 0; i < kValues; ++i) {
      TObject* c = &cells[3 * i];
      vkl_put_nil(&c[0]);
      vkl_put_nil(&c[1]);
      vkl_put_nil(&c[2]);
      VKL_SetInt(nullptr, &c[0], ints[i]);
      VKL_SetString(nullptr, &c[1], names[i].c_str());
      VKL_SetReal(nullptr, &c[2], reals[i]);
    }
    calls.resize(4 * kValues);
    for (int i = 0; i < kValues; ++i) {
      vkl_put_nil(&calls[4 * i]);
      VKL_SetString(nullptr, &calls[4 * i], kFormat);
      for (int k = 0; k < 3; ++k) VKL_DupObject(nullptr, &calls[4 * i + 1 + k], &cells[3 * i + k]);
    }
  }
};

const Values& values() {
  static const Values v;
  return v;
}

void BM_FormatBufA(benchmark::State& state) {
  const Values& v = values();
  const auto fmt_len = static_cast<int64_t>(sizeof kFormat - 1);
  char buf[sizeof kFormat + 1024];
  int i = 0;
  for (auto _ : state) {
    const int64_t n = FormatBufA(buf, sizeof buf, kFormat, fmt_len, &v.cells[3 * i], 3, nullptr);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
    i = (i + 1) % kValues;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_snprintf(benchmark::State& state) {
  const Values& v = values();
  char buf[sizeof kFormat + 1024];
  int i = 0;
  for (auto _ : state) {
    const int n = std::snprintf(buf, sizeof buf, kFormat, v.ints[i], v.names[i].c_str(), v.reals[i]);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
    i = (i + 1) % kValues;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_format_handler(benchmark::State& state) {
  const BenchHandler format(state, "format");
  if (!format.call) return;
  std::vector<TObject>& calls = const_cast<Values&>(values()).calls;
  TObject result;
  vkl_put_nil(&result);
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(format.call(format.L, &calls[4 * i], 4, &result));
    VKL_FreeObjectContent(format.L, &result);
    i = (i + 1) % kValues;
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_snprintf);
BENCHMARK(BM_FormatBufA);
BENCHMARK(BM_format_handler);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  values();
  RatioReporter reporter("BM_snprintf");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
