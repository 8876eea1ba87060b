// The vkl program's costs beside their baselines, each pair measured in the same iteration:
//  - a script loop calling a one-line registered handler 1,000,000 times, against a C++ loop
//    calling the same handler through its pointer on the same cells (budget: under 100 ns of
//    overhead per call);
//  - starting `vkl -e 'echo 1;'` as a process, against starting /bin/true the same way
//    (budget: under 10 ms more).
// Counters: the time per call or per start of each side, their difference and their ratio.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "host/vkl/engine.h"
#include "vkl/interp.h"
#include "vkl/kernel.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCalls = 1000000;

int bench_next(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1 || !VKL_NumberCheck(&args[0])) return 0;
  VKL_SetInt(L, result, VKL_AsInt(&args[0]) + 1);
  return 1;
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void set_pair_counters(benchmark::State& state, const char* unit, double scale, double measured,
                       double baseline, double count) {
  const double m = measured / count * scale, b = baseline / count * scale;
  state.counters[std::string("vkl_") + unit] = m;
  state.counters[std::string("baseline_") + unit] = b;
  state.counters[std::string("overhead_") + unit] = m - b;
  state.counters["ratio"] = b > 0 ? m / b : 0;
}

void BM_HandlerCallLoop(benchmark::State& state) {
  vklL_register(nullptr, "bench_next", bench_next);
  VKL_State* L = VKL_InterpNewState();
  std::FILE* sink = std::fopen("/dev/null", "w");
  double script = 0, direct = 0;
  {
    vkl::lang::Engine engine(L, sink);
    const std::string source =
        "for i := 1 to " + std::to_string(kCalls) + " do bench_next(i);";
    VKL_Handler volatile handler = bench_next;
    for (auto _ : state) {
      std::string error;
      const Clock::time_point s0 = Clock::now();
      if (!engine.run(source, "bench", &error)) {
        state.SkipWithError(error.c_str());
        break;
      }
      script += seconds_since(s0);

      TObject args[1], result;
      vkl_put_nil(&result);
      const Clock::time_point c0 = Clock::now();
      for (int i = 1; i <= kCalls; ++i) {
        vkl_put_int(&args[0], i);
        handler(L, args, 1, &result);
        VKL_FreeObjectContent(L, &result);
      }
      direct += seconds_since(c0);
      benchmark::DoNotOptimize(result);
    }
  }
  const double calls = static_cast<double>(state.iterations()) * kCalls;
  set_pair_counters(state, "ns_per_call", 1e9, script, direct, calls);
  std::fclose(sink);
  VKL_InterpFreeState(L);
}
BENCHMARK(BM_HandlerCallLoop)->Unit(benchmark::kMillisecond)->Iterations(10);

// Starts a program with its output discarded and waits for it; false when it did not run
// cleanly.
bool spawn_and_wait(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) return false;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void BM_ProcessStart(benchmark::State& state) {
  const std::vector<std::string> vkl{std::string(VK_ModulePath()) + "vkl", "-e", "echo 1;"};
  const std::vector<std::string> baseline{"/bin/true"};
  double measured = 0, base = 0;
  for (auto _ : state) {
    const Clock::time_point v0 = Clock::now();
    if (!spawn_and_wait(vkl)) {
      state.SkipWithError("vkl did not run (is it built beside the benchmark?)");
      break;
    }
    measured += seconds_since(v0);
    const Clock::time_point t0 = Clock::now();
    if (!spawn_and_wait(baseline)) {
      state.SkipWithError("/bin/true did not run");
      break;
    }
    base += seconds_since(t0);
  }
  set_pair_counters(state, "ms_per_start", 1e3, measured, base,
                    static_cast<double>(state.iterations()));
}
BENCHMARK(BM_ProcessStart)->Unit(benchmark::kMillisecond)->Iterations(50)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
