// Every registered script function, called with every argument list of up to two values from
// the pool and a fixed pseudo-random sample of longer ones. Whatever it is given, a handler
// returns 1 with a result whose text form can be made, or 0 with the result cell exactly as it
// was; and once the cells are released the state's payload count is back where it started.
// The one exception: a function the library marks as building its result in place (the
// elementwise ones) may reject a call leaving nil or a partly built table or cell matrix in the
// result cell, which is then released like any result.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <vkl/echo.h>
#include <vkl/interp.h>
#include <vkl/kernel.h>

#include "table_sweep.h"
#include "value_pool.h"

// Some calls ask for buffers of tens of gigabytes (a 2147483647-element resize), which the
// kernel allows up to a terabyte. The run caps single allocations so that such a request fails
// the same way on every machine, with a null pointer the library must handle, instead of
// succeeding and filling the memory of a big one. Without the sanitizer the cap is on the
// whole address space, which this run never comes near except through such a request.
#if defined(__SANITIZE_ADDRESS__)
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=2048";
}
void cap_allocations() {}
#else
void cap_allocations() {
  constexpr rlim_t kAddressSpace = rlim_t{8} << 30;
  rlimit limit{};
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur > kAddressSpace) {
    limit.rlim_cur = kAddressSpace;
    setrlimit(RLIMIT_AS, &limit);
  }
}
#endif

namespace torture {
namespace {

namespace fs = std::filesystem;
using Picks = std::vector<size_t>;

constexpr const char* kSentinelText = "sentinel";
// Longer argument lists: this many per function for each length from 3 to 6.
constexpr int kSamplesPerLength = 40;
// Functions never called here: they end the process, pause it as long as they are told, or
// hand out system-wide mutexes that live until the script closes their handles.
const char* const kNotCalled[] = {"systerminate", "sleep", "syscreatemutex"};
// Pairs of values tried per function in the passes without rights or memory.
constexpr int kSampledPairs = 300;
// Problems kept for the report; the count covers all of them.
constexpr size_t kReportedProblems = 60;

// The run's state with every right, the library loaded and initialised, and the pool. It
// lives from the first test to the end of the suite, so that it goes before exit starts,
// while the kernel's per-thread destruction queue is still there.
struct Harness {
  Harness() {
    cap_allocations();
    VKL_SetUserRights(VKL_GetUserNameFromL(L), VKL_RIGHT_ALL);
    // Named mutexes take this prefix into their system names, so the run can find its own.
    VKL_SetPrivatePrefix(L, mutex_prefix.c_str());
    const fs::path library = fs::read_symlink("/proc/self/exe").parent_path() / "libvklcplugin.so";
    void* module = dlopen(library.c_str(), RTLD_NOW);
    if (!module) load_error = dlerror();
    auto init = module ? reinterpret_cast<int (*)(VKL_State*, VKL_RegisterTableFn)>(
                             dlsym(module, "PKG_Init"))
                       : nullptr;
    init_result = init ? init(L, registerTable) : -1;
    pool = std::make_unique<ValuePool>(L);
    keeps_copies = VKL_FindFunction("setsysparam", -1);
    partial_result = module ? reinterpret_cast<int (*)(const char*)>(
                                  dlsym(module, "VKL_PluginPartialResult"))
                            : nullptr;
  }
  ~Harness() {
    pool.reset();
    VKL_FreeSysParams(L);
    VKL_InterpFreeState(L);
    std::error_code ignored;
    for (const fs::directory_entry& e : fs::directory_iterator("/dev/shm", ignored))
      if (e.path().filename().string().find(mutex_prefix) != std::string::npos)
        shm_unlink(("/" + e.path().filename().string()).c_str());
  }

  VKL_State* const L = VKL_InterpNewState();
  const std::string mutex_prefix = "vkl_torture_" + std::to_string(getpid());
  std::string load_error;
  int init_result = 0;
  std::unique_ptr<ValuePool> pool;
  // Keeps a copy of its argument (under every name it has).
  VKL_Handler keeps_copies = nullptr;
  // Whether a function may leave a partly built result when it rejects a call.
  int (*partial_result)(const char*) = nullptr;
  // Every call made while starved finds no room for one more byte of string or binary payload.
  bool starved = false;
};

struct Function {
  std::string name;
  VKL_Handler handler;
  bool partial_result;
};

// What a rejected call of a function that builds in place may leave in the result cell.
bool partly_built(const TObject* result) {
  return result->tag == VKL_TNIL || result->tag == VKL_TTABLE || result->tag == VKL_TMATRIX;
}

class TortureTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { h_ = new Harness; }
  static void TearDownTestSuite() { delete h_; }

  void SetUp() override {
    ASSERT_TRUE(h_->load_error.empty()) << h_->load_error;
    ASSERT_EQ(h_->init_result, 1);
    ASSERT_NE(h_->partial_result, nullptr);
    for (int64_t i = 0; i < VKL_FunctionCount(); ++i) {
      const char* name = VKL_FunctionName(i);
      if (std::find_if(std::begin(kNotCalled), std::end(kNotCalled), [&](const char* skipped) {
            return std::strcmp(skipped, name) == 0;
          }) != std::end(kNotCalled))
        continue;
      VKL_Handler handler = VKL_FindFunction(name, -1);
      EXPECT_NE(handler, nullptr) << name << " is listed but has no handler";
      if (handler) functions_.push_back({name, handler, h_->partial_result(name) != 0});
    }
    ASSERT_FALSE(functions_.empty());
  }
  void TearDown() override { EXPECT_EQ(problem_count_, 0u) << report_; }

  bool holds_cycle(const Picks& picks) const {
    return std::count(picks.begin(), picks.end(), h_->pool->cyclic_index()) > 0;
  }

  // Like the system parameters, an echo capture started by a call outlives it; it ends here so
  // that what later calls echo is not counted against them.
  static void end_echo_capture(VKL_State* L) {
    if (!VKL_isEchoRedirect(L)) return;
    TObject text;
    vkl_put_nil(&text);
    VKL_UnsetEchoStream(L, &text);
    VKL_FreeObjectContent(L, &text);
  }

  // Calls the handler with the picked pool values; empty when it kept every rule, else what
  // it broke.
  std::string run_call(VKL_Handler handler, const Picks& picks, bool partial_result = false) {
    const int64_t before = VKL_GetMemUsed(h_->L);
    std::string problem = checked_call(handler, picks, partial_result);
    VKL_FreeSysParams(h_->L);
    end_echo_capture(h_->L);
    const int64_t after = VKL_GetMemUsed(h_->L);
    if (problem.empty() && after != before)
      problem = "payload count changed by " + std::to_string(after - before) + " bytes";
    return problem;
  }

  std::string checked_call(VKL_Handler handler, const Picks& picks, bool partial_result) {
    VKL_State* L = h_->L;
    CallCells cells(L, picks.size());
    for (size_t i = 0; i < picks.size(); ++i) h_->pool->make(picks[i], cells, i);
    TObject result;
    vkl_put_nil(&result);
    VKL_SetString(L, &result, kSentinelText);
    TObject as_given;
    std::memcpy(&as_given, &result, sizeof result);

    if (h_->starved) VKL_SetMemLimit(L, VKL_GetMemUsed(L));
    const int answer = handler(L, cells.args(), cells.count(), &result);
    VKL_SetMemLimit(L, -1);

    const bool as_was = std::memcmp(&as_given, &result, sizeof result) == 0 &&
                        std::strcmp(VKL_AsString(&result), kSentinelText) == 0;
    std::string problem;
    if (answer == 0 && !as_was && !(partial_result && partly_built(&result)))
      problem = "rejected the call but changed the result";
    else if (answer != 0 && answer != 1)
      problem = "returned " + std::to_string(answer);
    // Tables the call left reachable are held before the arguments go, so that the result is
    // read while only what the caller still has (references' targets) is alive.
    TableSweep sweep(L, [](const VKL_Table* t) { return h_->pool->is_shared(t); });
    for (int i = 0; i < cells.count(); ++i) {
      sweep.hold_reachable(&cells.arg(i));
      sweep.hold_reachable(&cells.target(i));
    }
    sweep.hold_reachable(&result);
    cells.release_args();
    if (problem.empty() && (answer == 1 || !as_was)) {
      char* text = VKL_ObjToStr(L, &result, 1);
      // A result holding the cyclic table has no text form; anything else must have one.
      if (!text && !holds_cycle(picks)) problem = "answered a result without a text form";
      VKL_Free(text);
    }
    sweep.release();
    VKL_FreeObjectContent(L, &result);
    return problem;
  }

  // Runs one argument list against one function and records what went wrong. A stored deep
  // copy of the cyclic table could never be released (tables are reference counted), so the
  // function that keeps a copy of its argument never gets that one.
  void try_call(const Function& f, const Picks& picks) {
    if (f.handler == h_->keeps_copies && holds_cycle(picks)) return;
    const std::string problem = run_call(f.handler, picks, f.partial_result);
    if (problem.empty() || problem_count_++ >= kReportedProblems) return;
    report_ += "  " + f.name + "(";
    for (size_t i = 0; i < picks.size(); ++i)
      report_ += (i ? ", " : "") + std::string(h_->pool->name(picks[i]));
    report_ += "): " + problem + "\n";
  }

  void expect_pool_intact(const std::string& after) {
    const std::string damage = h_->pool->shared_damage();
    EXPECT_TRUE(damage.empty()) << damage << " (after " << after << ")";
  }

  // Lists of up to one value and a sample of pairs, for the passes under harder conditions.
  void try_short_lists(uint32_t seed) {
    const size_t n = h_->pool->size();
    std::mt19937 random(seed);
    for (const Function& f : functions_) {
      try_call(f, {});
      for (size_t a = 0; a < n; ++a) try_call(f, {a});
      for (int sample = 0; sample < kSampledPairs; ++sample)
        try_call(f, {random() % n, random() % n});
    }
  }

  static inline Harness* h_ = nullptr;
  std::vector<Function> functions_;
  size_t problem_count_ = 0;
  std::string report_;
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
int rejects_leaving_a_table(VKL_State* L, TObject*, int, TObject* result) {
  VKL_FreeObjectContent(L, result);
  VKL_SetInt(L, VKL_HashSetInt(L, VKL_NewHash(L, result), 0), 1);
  return 0;
}
int answers_a_cycle(VKL_State* L, TObject*, int, TObject* result) {
  VKL_Table* t = VKL_NewHash(L, result);
  VKL_SetHashRef(L, VKL_HashSetInt(L, t, 0), t);
  return 1;
}

TEST_F(TortureTest, BrokenHandlersAreCaught) {
  EXPECT_EQ(run_call(changes_result_then_rejects, {0}), "rejected the call but changed the result");
  // Only a function that builds in place may leave what it built, and only a table or matrix.
  EXPECT_EQ(run_call(rejects_leaving_a_table, {0}), "rejected the call but changed the result");
  EXPECT_EQ(run_call(rejects_leaving_a_table, {0}, true), "");
  EXPECT_EQ(run_call(changes_result_then_rejects, {0}, true),
            "rejected the call but changed the result");
  vkl_put_nil(&g_kept_by_handler);
  EXPECT_EQ(run_call(keeps_a_text, {}), "payload count changed by 5 bytes");
  VKL_FreeObjectContent(h_->L, &g_kept_by_handler);
  EXPECT_EQ(run_call(answers_two, {}), "returned 2");
  EXPECT_EQ(run_call(answers_a_cycle, {}), "answered a result without a text form");
  // The same cycle is allowed when the caller handed one in.
  EXPECT_EQ(run_call(answers_a_cycle, {h_->pool->cyclic_index()}), "");
}

TEST_F(TortureTest, EveryArgumentListUpToTwoValues) {
  const size_t n = h_->pool->size();
  for (const Function& f : functions_) {
    try_call(f, {});
    for (size_t a = 0; a < n; ++a) {
      try_call(f, {a});
      for (size_t b = 0; b < n; ++b) try_call(f, {a, b});
    }
    expect_pool_intact(f.name);
  }
}

TEST_F(TortureTest, SampledArgumentListsOfThreeToSixValues) {
  const size_t n = h_->pool->size();
  std::mt19937 random(20240601u);
  for (const Function& f : functions_) {
    for (size_t length = 3; length <= 6; ++length) {
      for (int sample = 0; sample < kSamplesPerLength; ++sample) {
        Picks picks(length);
        for (size_t& p : picks) p = random() % n;
        try_call(f, picks);
      }
    }
    expect_pool_intact(f.name);
  }
}

// Functions that need a right must turn the call down cleanly without it.
TEST_F(TortureTest, WithoutRightsShortArgumentLists) {
  VKL_SetUserRights(VKL_GetUserNameFromL(h_->L), 0);
  try_short_lists(20240602u);
  VKL_SetUserRights(VKL_GetUserNameFromL(h_->L), VKL_RIGHT_ALL);
}

// Every text or binary a handler tries to make fails: the failure paths must still reject
// cleanly (or answer without the payload) and release what they made.
TEST_F(TortureTest, WithoutPayloadMemoryShortArgumentLists) {
  h_->starved = true;
  try_short_lists(20240603u);
  h_->starved = false;
}

}  // namespace
}  // namespace torture
