// sysexec against the system calls it stands on, timed in the same loop: starting /bin/true
// and waiting for it (baseline posix_spawn + waitpid), and capturing 100 MB of a child's output
// (baseline: the same child's pipe read in a plain loop into one 64 KiB buffer; a second
// baseline keeps the bytes, appending them to a growing buffer, since storing 100 MB costs page
// faults that the first one never pays). Counters: the time of each side per run and their
// ratio (ours / baseline; for the capture, throughput baseline / ours is "throughput_ratio",
// against the keeping loop "throughput_ratio_keeping").
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <initializer_list>
#include <string>
#include <vector>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include "system/handles.h"
#include "system/process.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kCaptureCommand = "head -c 100000000 /dev/zero";
constexpr int64_t kCaptureBytes = 100000000;

struct Cells {
  explicit Cells(VKL_State* state, std::initializer_list<const char*> literals) : L(state) {
    for (const char* text : literals) {
      TObject cell;
      vkl_put_nil(&cell);
      VKL_StrToObj(L, text, &cell);
      args.push_back(cell);
    }
    vkl_put_nil(&result);
  }
  ~Cells() {
    for (TObject& c : args) VKL_FreeObjectContent(L, &c);
    VKL_FreeObjectContent(L, &result);
  }
  int call(VKL_Handler handler) {
    return handler(L, args.data(), static_cast<int>(args.size()), &result);
  }
  VKL_State* L;
  std::vector<TObject> args;
  TObject result;
};

VKL_State* new_state() {
  VKL_State* L = VKL_InterpNewState();
  VKL_SetUserRights(VKL_GetUserNameFromL(L), VKL_RIGHT_ALL);
  return L;
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void spawn_true_and_wait() {
  char* argv[] = {const_cast<char*>("true"), nullptr};
  pid_t pid = 0;
  posix_spawn(&pid, "/bin/true", nullptr, nullptr, argv, environ);
  waitpid(pid, nullptr, 0);
}

// The child's output read through a pipe in 64 KiB reads until it ends, kept or not; the bytes
// read.
int64_t read_child_output_plainly(bool keep) {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  char* argv[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                  const_cast<char*>(kCaptureCommand), nullptr};
  pid_t pid = 0;
  posix_spawn(&pid, "/bin/sh", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  static char buffer[65536];
  std::string kept;
  int64_t total = 0;
  for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    total += got;
    if (keep) kept.append(buffer, static_cast<size_t>(got));
  }
  close(ends[0]);
  waitpid(pid, nullptr, 0);
  return total;
}

void report(benchmark::State& state, double ours, double baseline, const char* ratio_name,
            double ratio) {
  const double runs = static_cast<double>(state.iterations());
  state.counters["ours_ms"] = ours / runs * 1e3;
  state.counters["baseline_ms"] = baseline / runs * 1e3;
  state.counters[ratio_name] = ratio;
}

void BM_SysexecTrueWithWait(benchmark::State& state) {
  VKL_State* L = new_state();
  double ours = 0;
  double baseline = 0;
  for (auto _ : state) {
    auto start = Clock::now();
    spawn_true_and_wait();
    baseline += seconds_since(start);

    start = Clock::now();
    Cells exec(L, {"\"/bin/true\"", "\"true\"", "0", "1", "nil"});
    exec.call(vkl::system::sysexec);
    vkl::system::close_handle(VKL_AsIntPtr(&exec.result));
    ours += seconds_since(start);
  }
  report(state, ours, baseline, "ratio", ours / baseline);
  VKL_InterpFreeState(L);
}
BENCHMARK(BM_SysexecTrueWithWait)->Iterations(300)->Unit(benchmark::kMicrosecond);

void BM_Capture100MB(benchmark::State& state) {
  VKL_State* L = new_state();
  Cells pipe(L, {"1"});
  pipe.call(vkl::system::sysexecnewpipe);
  double ours = 0;
  double baseline = 0;
  double keeping = 0;
  const std::string command_line = std::string("array(\"sh\", \"-c\", \"") + kCaptureCommand + "\")";
  for (auto _ : state) {
    auto start = Clock::now();
    benchmark::DoNotOptimize(read_child_output_plainly(false));
    baseline += seconds_since(start);
    start = Clock::now();
    benchmark::DoNotOptimize(read_child_output_plainly(true));
    keeping += seconds_since(start);

    start = Clock::now();
    Cells exec(L, {"\"/bin/sh\"", command_line.c_str(), "0", "1", "nil"});
    exec.call(vkl::system::sysexec);
    const TObject* out = VKL_HashGetSZString(vkl_table(&exec.args[4]), "out");
    if (!out || VKL_StringLen(out) != kCaptureBytes) state.SkipWithError("capture incomplete");
    vkl::system::close_handle(VKL_AsIntPtr(&exec.result));
    ours += seconds_since(start);
  }
  report(state, ours, baseline, "throughput_ratio", baseline / ours);
  state.counters["keeping_ms"] = keeping / static_cast<double>(state.iterations()) * 1e3;
  state.counters["throughput_ratio_keeping"] = keeping / ours;
  Cells drop(L, {"0"});
  drop.call(vkl::system::sysexecdeletepipe);
  VKL_InterpFreeState(L);
}
BENCHMARK(BM_Capture100MB)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
