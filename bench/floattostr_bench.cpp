// floattostr's text of a real (general format, 15 significant digits) beside snprintf("%.15g")
// on the same 4096 values of mixed magnitudes, in one run; the end of the run prints each
// routine's time over snprintf's (best of the repetitions).
//   FloatToTextA    the formatter into a caller's buffer (what format's %g uses)
//   VK_FloatToStr   the kernel routine the floattostr handler calls (formatter + allocation)
//   floattostr      the registered handler as a script calls it (driver, routine, result cell)
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "vkl/interp.h"
#include "vkl/kernel.h"
#include "vkl/vk_numbers.h"

#include "plugin_handler.h"
#include "ratio_reporter.h"

namespace {

const std::vector<double>& values() {
  static const std::vector<double> v = [] {
    std::mt19937_64 gen(7);
    std::uniform_real_distribution<double> mantissa(-10, 10);
    std::uniform_int_distribution<int> exponent(-8, 20);
    std::vector<double> out;
    for (int i = 0; i < 4096; ++i) {
      const double m = mantissa(gen);
      // A quarter are short decimals (prices), the rest full-precision values.
      out.push_back(i % 4 == 0 ? std::round(m * 100) / 100 : m * std::pow(10.0, exponent(gen)));
    }
    return out;
  }();
  return v;
}

void report(benchmark::State& state) {
  const auto n = static_cast<int64_t>(values().size());
  state.SetItemsProcessed(state.iterations() * n);
  state.counters["ns_per_value"] =
      benchmark::Counter(static_cast<double>(state.iterations() * n),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void snprintf_g15(benchmark::State& state) {
  char buf[64];
  for (auto _ : state)
    for (double x : values()) {
      benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%.15g", x));
      benchmark::ClobberMemory();
    }
  report(state);
}

template <class Body>
void over_values(benchmark::State& state, Body body) {
  for (auto _ : state)
    for (double x : values()) body(x);
  report(state);
}

void float_to_text(benchmark::State& state) {
  char buf[64];
  over_values(state, [&](double x) {
    benchmark::DoNotOptimize(FloatToTextA(buf, sizeof buf, &x, VK_fvDouble, VK_ffGeneral, 15, 0,
                                          nullptr));
    benchmark::ClobberMemory();
  });
}

void vk_floattostr(benchmark::State& state) {
  const VKL_FormatSettings* fs = VKL_GetGFormat(nullptr);
  over_values(state, [&](double x) {
    int64_t len = 0;
    char* s = VK_FloatToStr(x, fs, &len);
    benchmark::DoNotOptimize(s);
    VKL_Free(s);
  });
}

void floattostr_handler(benchmark::State& state) {
  const BenchHandler floattostr(state, "floattostr");
  if (!floattostr.call) return;
  TObject arg, result;
  vkl_put_nil(&result);
  over_values(state, [&](double x) {
    vkl_put_real(&arg, x);
    benchmark::DoNotOptimize(floattostr.call(floattostr.L, &arg, 1, &result));
    VKL_FreeObjectContent(floattostr.L, &result);
  });
}

BENCHMARK(snprintf_g15);
BENCHMARK(float_to_text);
BENCHMARK(vk_floattostr);
BENCHMARK(floattostr_handler);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  values();
  RatioReporter reporter("snprintf_g15");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
