// Text search and the coded-call driver against their plain counterparts:
// pos of an absent 20-byte needle in 64 MiB beside glibc memmem over the same text, and a call
// through sys_anydoubleparam beside calling its implementation routine directly.
#include <benchmark/benchmark.h>
#include <string.h>
#include <vkl/coded.h>
#include <vkl/interp.h>
#include <vkl/kernel.h>
#include <vkl/vk_strings.h>

#include <string>

#include "ratio_reporter.h"

namespace {

constexpr size_t kTextSize = 64u << 20;

const std::string& text() {
  static const std::string t = [] {
    std::string s(kTextSize, 'a');
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<char>('a' + (i * 7 + i / 13) % 26);
    return s;
  }();
  return t;
}

// Starts and ends with letters that occur everywhere, so the filter has work to do.
const std::string kNeedle = "abcdefghij0123456789";

void BM_Pos_vkl(benchmark::State& state) {
  const std::string& t = text();
  for (auto _ : state) {
    benchmark::DoNotOptimize(VK_Pos(kNeedle.data(), static_cast<int64_t>(kNeedle.size()),
                                    t.data(), static_cast<int64_t>(t.size())));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}

void BM_Pos_baseline(benchmark::State& state) {
  const std::string& t = text();
  for (auto _ : state) {
    benchmark::DoNotOptimize(memmem(t.data(), t.size(), kNeedle.data(), kNeedle.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}

int add_one(VKL_State* L, TObject* args, TObject* result, int) {
  VKL_SetReal(L, result, VKL_AsDouble(vkl_follow(&args[0])) + 1);
  return 1;
}

// The same for a text followed by a number.
int add_one_after_text(VKL_State* L, TObject* args, TObject* result, int) {
  return add_one(L, args + 1, result, 0);
}

constexpr int32_t kStringThenNumber[] = {VKL_ARG_ANY_STRING, VKL_ARG_NUMBER};
constexpr VKL_CodedDescriptor kNumber = {0, 0, 0, nullptr, 1, 1, 0, 0, add_one, 1};
constexpr VKL_CodedDescriptor kText = {0, 0, 0, kStringThenNumber, 1, 2, 0, 0, add_one_after_text, 0};

struct Cells {
  Cells() : L(VKL_InterpNewState()) {
    for (TObject& c : cells) vkl_put_nil(&c);
    VKL_SetReal(L, &cells[0], 2);
    VKL_SetString(L, &cells[1], "text");
    VKL_SetReal(L, &cells[2], 3);
  }
  ~Cells() {
    for (TObject& c : cells) VKL_FreeObjectContent(L, &c);
    VKL_InterpFreeState(L);
  }
  VKL_State* L;
  TObject cells[4];
};

void BM_CodedCall_baseline(benchmark::State& state) {
  Cells c;
  for (auto _ : state) benchmark::DoNotOptimize(add_one(c.L, c.cells, &c.cells[3], 0));
}

void BM_CodedCall_vkl(benchmark::State& state) {
  Cells c;
  for (auto _ : state)
    benchmark::DoNotOptimize(sys_anydoubleparam(c.L, c.cells, 1, &c.cells[3], &kNumber));
}

void BM_CodedStringCall_baseline(benchmark::State& state) {
  Cells c;
  for (auto _ : state) benchmark::DoNotOptimize(add_one_after_text(c.L, &c.cells[1], &c.cells[3], 0));
}

void BM_CodedStringCall_vkl(benchmark::State& state) {
  Cells c;
  for (auto _ : state)
    benchmark::DoNotOptimize(sys_anydoubleparam(c.L, &c.cells[1], 2, &c.cells[3], &kText));
}

BENCHMARK(BM_Pos_baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pos_vkl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CodedCall_baseline);
BENCHMARK(BM_CodedCall_vkl);
BENCHMARK(BM_CodedStringCall_baseline);
BENCHMARK(BM_CodedStringCall_vkl);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  text();  // build the text before any timing
  RatioReporter reporter("_vkl", "_baseline");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  reporter.print_differences();
  benchmark::Shutdown();
  return 0;
}
