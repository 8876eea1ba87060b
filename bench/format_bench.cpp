// format('%d %s %.2f', ...) through the kernel formatter FormatBufA beside snprintf doing the
// same, over the same values; the end of the run prints the ratio FormatBufA time / snprintf
// time (the target is at most 0.5).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "vkl/format_buf.h"
#include "vkl/kernel.h"

namespace {

constexpr int kValues = 1024;
constexpr char kFormat[] = "%d %s %.2f";

struct Values {
  std::vector<int> ints;
  std::vector<std::string> names;
  std::vector<double> reals;
  // The same values as cells, three per call: integer, string, real.
  std::vector<TObject> cells;

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
  }
};

const Values& values() {
  static const Values v;
  return v;
}

std::map<std::string, double>& times() {
  static std::map<std::string, double> t;
  return t;
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

BENCHMARK(BM_FormatBufA);
BENCHMARK(BM_snprintf);

// Keeps the least CPU time per call of each benchmark over its repetitions (the least
// disturbed by other load on the machine), so the end of the run can print the ratio.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const double time = run.GetAdjustedCPUTime();
      const auto known = times().find(run.run_name.function_name);
      if (known == times().end() || time < known->second)
        times()[run.run_name.function_name] = time;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  values();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double ours = times()["BM_FormatBufA"];
  const double base = times()["BM_snprintf"];
  if (ours > 0 && base > 0)
    std::printf("ratio FormatBufA / snprintf: %.3f (target at most 0.5)\n", ours / base);
  benchmark::Shutdown();
  return 0;
}
