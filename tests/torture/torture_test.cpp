// Every registered script function, called with every argument list of up to two values from
// the pool and a fixed pseudo-random sample of longer ones. Whatever it is given, a handler
// returns 1 with a result whose text form can be made, or 0 with the result cell exactly as it
// was; and once the cells are released the state's payload count is back where it started.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include "table_sweep.h"
#include "value_pool.h"

// Some calls ask for buffers of tens of gigabytes (a 2147483647-element resize), which the
// kernel allows up to a terabyte. The run caps single allocations so that such a request fails
// the same way on every machine, with a null pointer the library must handle, instead of
// succeeding and filling the memory of a big one.
#if defined(__SANITIZE_ADDRESS__)
#define TORTURE_UNDER_ASAN 1
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=2048";
}
#endif

namespace torture {
namespace {

using PKGInit = int (*)(VKL_State*, VKL_RegisterTableFn);

constexpr const char* kSentinelText = "sentinel";
// Longer argument lists: this many per function for each length from 3 to 6.
constexpr int kSamplesPerLength = 40;
constexpr int kShortestSampled = 3;
constexpr int kLongestSampled = 6;
// Pairs of values tried per function in the passes without rights or memory.
constexpr int kSampledPairs = 300;
// Problems kept for the report; the count covers all of them.
constexpr size_t kReportedProblems = 60;

// The same cap for the plain build: the whole address space, which this run never comes near
// except through such a request.
void cap_allocations() {
#ifndef TORTURE_UNDER_ASAN
  constexpr rlim_t kAddressSpace = rlim_t{8} << 30;
  rlimit limit{};
  if (getrlimit(RLIMIT_AS, &limit) == 0 &&
      (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur > kAddressSpace)) {
    limit.rlim_cur = kAddressSpace;
    setrlimit(RLIMIT_AS, &limit);
  }
#endif
}

std::string executable_dir() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return "./";
  path[n] = '\0';
  std::string dir(path);
  return dir.substr(0, dir.rfind('/') + 1);
}

// The process's state with every right, the library loaded and initialised, and the pool.
class Harness {
 public:
  Harness() : L_(VKL_InterpNewState()) {
    cap_allocations();
    give_rights(true);
    // Named mutexes take this prefix into their system names, so the run can find its own.
    mutex_prefix_ = "vkl_torture_" + std::to_string(getpid());
    VKL_SetPrivatePrefix(L_, mutex_prefix_.c_str());
    vkl_put_nil(&sentinel_);
    VKL_SetString(L_, &sentinel_, kSentinelText);

    const std::string library = executable_dir() + "libvklcplugin.so";
    module_ = dlopen(library.c_str(), RTLD_NOW);
    if (!module_) {
      load_error_ = dlerror();
      return;
    }
    auto init = reinterpret_cast<PKGInit>(dlsym(module_, "PKG_Init"));
    init_result_ = init ? init(L_, registerTable) : -1;
    pool_ = std::make_unique<ValuePool>(L_);
    // A stored deep copy of a cyclic table could never be released (tables are reference
    // counted), so the functions that keep a copy of their argument never get that one.
    keeps_copies_ = {VKL_FindFunction("setsysparam", -1)};
  }

  ~Harness() {
    pool_.reset();
    VKL_FreeObjectContent(L_, &sentinel_);
    VKL_FreeSysParams(L_);
    VKL_InterpFreeState(L_);
    remove_own_mutexes();
  }

  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  VKL_State* state() const { return L_; }
  // Every call made while starved finds no room for one more byte of string or binary payload.
  void starve(bool starved) { starved_ = starved; }
  // The state's user holds every right, or none.
  void give_rights(bool all) const {
    VKL_SetUserRights(VKL_GetUserNameFromL(L_), all ? VKL_RIGHT_ALL : 0);
  }
  const std::string& load_error() const { return load_error_; }
  int init_result() const { return init_result_; }
  const ValuePool& pool() const { return *pool_; }

  // Calls the handler with the picked pool values; empty when it kept every rule, else what
  // it broke.
  std::string run_call(VKL_Handler handler, const std::vector<size_t>& picks) {
    const int64_t before = VKL_GetMemUsed(L_);
    std::string problem = checked_call(handler, picks);
    VKL_FreeSysParams(L_);
    const int64_t after = VKL_GetMemUsed(L_);
    if (problem.empty() && after != before)
      problem = "payload count changed by " + std::to_string(after - before) + " bytes";
    return problem;
  }

  bool skips(VKL_Handler handler, const std::vector<size_t>& picks) const {
    for (VKL_Handler h : keeps_copies_)
      if (h == handler)
        for (size_t p : picks)
          if (p == pool_->cyclic_index()) return true;
    return false;
  }

  std::string describe(const std::string& name, const std::vector<size_t>& picks) const {
    std::string text = name + "(";
    for (size_t i = 0; i < picks.size(); ++i) {
      if (i) text += ", ";
      text += pool_->name(picks[i]);
    }
    return text + ")";
  }

 private:
  std::string checked_call(VKL_Handler handler, const std::vector<size_t>& picks) {
    CallCells cells(L_, picks.size());
    for (size_t i = 0; i < picks.size(); ++i) pool_->make(picks[i], cells, i);
    TObject result;
    vkl_put_nil(&result);
    VKL_SetString(L_, &result, kSentinelText);
    TObject as_given;
    std::memcpy(&as_given, &result, sizeof result);

    // Starved: not one more byte of payload fits while the handler runs.
    if (starved_) VKL_SetMemLimit(L_, VKL_GetMemUsed(L_));
    const int answer = handler(L_, cells.args(), cells.count(), &result);
    VKL_SetMemLimit(L_, -1);

    std::string problem;
    if (answer == 0) {
      if (std::memcmp(&as_given, &result, sizeof result) != 0 || !VKL_ObjEqual(&result, &sentinel_))
        problem = "rejected the call but changed the result";
    } else if (answer != 1) {
      problem = "returned " + std::to_string(answer);
    }
    // Tables the call left reachable are held before the arguments go, so that the result is
    // read while only what the caller still has (references' targets) is alive.
    TableSweep sweep(L_, [this](const VKL_Table* t) { return pool_->is_shared(t); });
    for (int i = 0; i < cells.count(); ++i) {
      sweep.hold_reachable(&cells.arg(i));
      sweep.hold_reachable(&cells.target(i));
    }
    sweep.hold_reachable(&result);
    cells.release_args();
    if (answer == 1 && problem.empty()) {
      char* text = VKL_ObjToStr(L_, &result, 1);
      // A result holding the cyclic table has no text form; anything else must have one.
      if (!text && !holds_cycle(picks)) problem = "answered a result without a text form";
      VKL_Free(text);
    }
    sweep.release();
    VKL_FreeObjectContent(L_, &result);
    cells.release_targets();
    return problem;
  }

  bool holds_cycle(const std::vector<size_t>& picks) const {
    for (size_t p : picks)
      if (p == pool_->cyclic_index()) return true;
    return false;
  }

  // Unlinks the shared-memory objects of the mutexes this process made.
  void remove_own_mutexes() const {
    DIR* dir = opendir("/dev/shm");
    if (!dir) return;
    std::vector<std::string> own;
    while (const dirent* entry = readdir(dir))
      if (std::strstr(entry->d_name, mutex_prefix_.c_str())) own.emplace_back(entry->d_name);
    closedir(dir);
    for (const std::string& name : own) shm_unlink(("/" + name).c_str());
  }

  VKL_State* L_;
  std::string mutex_prefix_;
  TObject sentinel_;
  void* module_ = nullptr;
  std::string load_error_;
  int init_result_ = 0;
  std::unique_ptr<ValuePool> pool_;
  std::vector<VKL_Handler> keeps_copies_;
  bool starved_ = false;
};

// The harness lives from the first test to the end of the run; it goes before exit starts,
// while the kernel's per-thread destruction queue is still there.
std::unique_ptr<Harness> g_harness;

Harness& harness() {
  if (!g_harness) g_harness = std::make_unique<Harness>();
  return *g_harness;
}

class HarnessEnvironment : public ::testing::Environment {
 public:
  void TearDown() override { g_harness.reset(); }
};

[[maybe_unused]] ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new HarnessEnvironment);

// Problems found over many calls: all counted, the first few kept for the report.
class Problems {
 public:
  void add(std::string call, const std::string& problem) {
    ++count_;
    if (kept_.size() < kReportedProblems) kept_.push_back(std::move(call) + ": " + problem);
  }
  size_t count() const { return count_; }
  std::string report() const {
    std::string text;
    for (const std::string& line : kept_) text += "  " + line + "\n";
    return text;
  }

 private:
  size_t count_ = 0;
  std::vector<std::string> kept_;
};

struct Function {
  std::string name;
  VKL_Handler handler;
};

std::vector<Function> registered_functions() {
  std::vector<Function> functions;
  const int64_t count = VKL_FunctionCount();
  for (int64_t i = 0; i < count; ++i) {
    const char* name = VKL_FunctionName(i);
    VKL_Handler handler = VKL_FindFunction(name, -1);
    if (handler)
      functions.push_back({name, handler});
    else
      ADD_FAILURE() << name << " is listed but has no handler";
  }
  return functions;
}

// Runs one argument list against one function and records what went wrong.
void try_call(Harness& h, const Function& f, const std::vector<size_t>& picks, Problems& problems) {
  if (h.skips(f.handler, picks)) return;
  const std::string problem = h.run_call(f.handler, picks);
  if (!problem.empty()) problems.add(h.describe(f.name, picks), problem);
}

void expect_pool_intact(const Harness& h, const std::string& after) {
  const std::string damage = h.pool().shared_damage();
  EXPECT_TRUE(damage.empty()) << damage << " (after " << after << ")";
}

class TortureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(harness().load_error().empty()) << harness().load_error();
    ASSERT_EQ(harness().init_result(), 1);
    functions_ = registered_functions();
    ASSERT_FALSE(functions_.empty());
  }

  std::vector<Function> functions_;
};

// Handlers that break one rule each, to show that the checks above would notice.
TObject g_kept_by_handler;

int changes_result_then_rejects(VKL_State* L, TObject*, int, TObject* result) {
  VKL_SetInt(L, result, 5);
  return 0;
}
int keeps_a_text(VKL_State* L, TObject*, int, TObject* result) {
  VKL_SetString(L, &g_kept_by_handler, "kept");
  VKL_SetInt(L, result, 1);
  return 1;
}
int answers_two(VKL_State*, TObject*, int, TObject*) { return 2; }
int answers_a_cycle(VKL_State* L, TObject*, int, TObject* result) {
  VKL_Table* t = VKL_NewHash(L, result);
  VKL_SetHashRef(L, VKL_HashSetInt(L, t, 0), t);
  return 1;
}

TEST_F(TortureTest, BrokenHandlersAreCaught) {
  Harness& h = harness();
  EXPECT_EQ(h.run_call(changes_result_then_rejects, {0}),
            "rejected the call but changed the result");
  vkl_put_nil(&g_kept_by_handler);
  EXPECT_EQ(h.run_call(keeps_a_text, {}), "payload count changed by 5 bytes");
  VKL_FreeObjectContent(h.state(), &g_kept_by_handler);
  EXPECT_EQ(h.run_call(answers_two, {}), "returned 2");
  EXPECT_EQ(h.run_call(answers_a_cycle, {}), "answered a result without a text form");
  // The same cycle is allowed when the caller handed one in.
  EXPECT_EQ(h.run_call(answers_a_cycle, {h.pool().cyclic_index()}), "");
}

TEST_F(TortureTest, EveryArgumentListUpToTwoValues) {
  Harness& h = harness();
  const size_t n = h.pool().size();
  Problems problems;
  for (const Function& f : functions_) {
    try_call(h, f, {}, problems);
    for (size_t a = 0; a < n; ++a) {
      try_call(h, f, {a}, problems);
      for (size_t b = 0; b < n; ++b) try_call(h, f, {a, b}, problems);
    }
    expect_pool_intact(h, f.name);
  }
  EXPECT_EQ(problems.count(), 0u) << problems.report();
}

TEST_F(TortureTest, SampledArgumentListsOfThreeToSixValues) {
  Harness& h = harness();
  const size_t n = h.pool().size();
  std::mt19937 random(20240601u);
  Problems problems;
  for (const Function& f : functions_) {
    for (int length = kShortestSampled; length <= kLongestSampled; ++length) {
      for (int sample = 0; sample < kSamplesPerLength; ++sample) {
        std::vector<size_t> picks(static_cast<size_t>(length));
        for (size_t& p : picks) p = random() % n;
        try_call(h, f, picks, problems);
      }
    }
    expect_pool_intact(h, f.name);
  }
  EXPECT_EQ(problems.count(), 0u) << problems.report();
}

// Lists of up to one value and a sample of pairs, for the passes under harder conditions.
void try_short_lists(Harness& h, const std::vector<Function>& functions, uint32_t seed,
                     Problems& problems) {
  const size_t n = h.pool().size();
  std::mt19937 random(seed);
  for (const Function& f : functions) {
    try_call(h, f, {}, problems);
    for (size_t a = 0; a < n; ++a) try_call(h, f, {a}, problems);
    for (int sample = 0; sample < kSampledPairs; ++sample)
      try_call(h, f, {random() % n, random() % n}, problems);
  }
}

// Functions that need a right must turn the call down cleanly without it.
TEST_F(TortureTest, WithoutRightsShortArgumentLists) {
  Harness& h = harness();
  h.give_rights(false);
  Problems problems;
  try_short_lists(h, functions_, 20240602u, problems);
  h.give_rights(true);
  EXPECT_EQ(problems.count(), 0u) << problems.report();
}

// Every text or binary a handler tries to make fails: the failure paths must still reject
// cleanly (or answer without the payload) and release what they made.
TEST_F(TortureTest, WithoutPayloadMemoryShortArgumentLists) {
  Harness& h = harness();
  h.starve(true);
  Problems problems;
  try_short_lists(h, functions_, 20240603u, problems);
  h.starve(false);
  EXPECT_EQ(problems.count(), 0u) << problems.report();
}

}  // namespace
}  // namespace torture
