// floattostr's text of a real (general format, 15 significant digits) beside snprintf("%.15g")
// on the same 4096 values of mixed magnitudes, in one run; the end of the run prints each
// routine's time over snprintf's (best of the repetitions).
//   FloatToTextA    the formatter into a caller's buffer (what format's %g uses)
//   VK_FloatToStr   the kernel routine the floattostr handler calls (formatter + allocation)
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "vkl/kernel.h"
#include "vkl/vk_numbers.h"

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

BENCHMARK(snprintf_g15);
BENCHMARK(float_to_text);
BENCHMARK(vk_floattostr);

// Prints each routine's time per value over snprintf's, from the best of the runs.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  double baseline_ns_per_value = 0;

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const double t = run.GetAdjustedCPUTime();
      const std::string name = run.run_name.function_name;
      if (name == "snprintf_g15") {
        if (baseline_ns_per_value == 0 || t < baseline_ns_per_value) baseline_ns_per_value = t;
      } else if (best_[name] == 0 || t < best_[name]) {
        best_[name] = t;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void print_ratios() const {
    for (const auto& [name, t] : best_)
      if (baseline_ns_per_value > 0)
        std::printf("ratio %s / snprintf: %.2f\n", name.c_str(), t / baseline_ns_per_value);
  }

 private:
  std::map<std::string, double> best_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  values();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
