// Fuzzing the script engine with a fixed seed: whatever the text, a run ends (cleanly, with a
// located error, or stopped by a watchdog), gives back every payload byte, and leaves an
// engine that still works.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "fuzz_sources.h"
#include "handlers.h"
#include "host/vkl/engine.h"

namespace vkl_fuzz {
namespace {

using std::chrono::milliseconds;

constexpr uint64_t kSeed = 20240611;
// Enough for every legitimate fuzz program; runaway string doubling meets the limit instead
// of the machine's memory.
constexpr int64_t kMemLimit = 32 << 20;
// A run the watchdog stopped must end soon after.
constexpr double kMaxSeconds = 10.0;

enum class Mode { Run, Tests, Piece };

struct Outcome {
  bool clean = false;         // ran through without an error or a failed check
  std::string error;          // the first error (run and piece modes)
  bool stopped = false;       // the watchdog asked the run to stop
  bool usable_after = false;  // the engine then ran a follow-up statement correctly
  int64_t leaked = 0;         // payload bytes still counted after the engine was gone
  double seconds = 0;
};

// Runs one script on a fresh state and engine; a watchdog asks the run to stop once it has
// taken `budget`.
Outcome run_script(const std::string& source, Mode mode, milliseconds budget) {
  vkl_test::register_test_handlers();
  Outcome o;
  VKL_State* L = VKL_InterpNewState();
  VKL_SetMemLimit(L, kMemLimit);
  std::FILE* sink = std::fopen("/dev/null", "w");
  const auto start = std::chrono::steady_clock::now();
  {
    vkl::lang::Engine engine(L, sink);
    std::promise<void> done;
    std::atomic<bool> fired{false};
    std::thread watchdog([&, finished = done.get_future()] {
      if (finished.wait_for(budget) == std::future_status::ready) return;
      VKL_InterpSetStop(L, 1);
      fired = true;
    });
    switch (mode) {
      case Mode::Run: o.clean = engine.run(source, "t.vkl", &o.error); break;
      case Mode::Tests: o.clean = engine.run_tests(source, "t.vkl").failed == 0; break;
      case Mode::Piece:
        o.clean = engine.run_piece(source, "t.vkl", &o.error) != vkl::lang::PieceResult::Error;
        break;
    }
    done.set_value();
    watchdog.join();
    o.stopped = fired;
    o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    VKL_InterpSetStop(L, 0);
    std::string after_error;
    if (engine.run("fuzz_after := 6 * 7;", "after.vkl", &after_error)) {
      const TObject* v = engine.global("fuzz_after");
      o.usable_after = v && v->tag == VKL_TINT && vkl_int(v) == 42;
    }
  }
  std::fclose(sink);
  o.leaked = VKL_GetMemUsed(L);
  VKL_InterpFreeState(L);
  return o;
}

// The source in a form fit for a failure message: escaped and cut short.
std::string printable(const std::string& source) {
  constexpr size_t kShown = 400;
  std::string text;
  for (const char c : source.substr(0, kShown)) {
    const auto u = static_cast<unsigned char>(c);
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02X", u);
    text += u >= 0x20 && u < 0x7F ? std::string(1, c) : std::string(hex);
  }
  if (source.size() > kShown) text += "... (" + std::to_string(source.size()) + " bytes)";
  return text;
}

// "t.vkl:LINE: message".
bool located(const std::string& error) {
  const size_t prefix = 6;
  if (error.compare(0, prefix, "t.vkl:") != 0) return false;
  size_t i = prefix;
  while (i < error.size() && error[i] >= '0' && error[i] <= '9') ++i;
  return i > prefix && error.compare(i, 2, ": ") == 0 && error.size() > i + 2;
}

// The promises every run keeps, whatever its source.
testing::AssertionResult well_behaved(const Outcome& o, const std::string& source, Mode mode) {
  std::string problem;
  if (o.leaked != 0) problem = std::to_string(o.leaked) + " payload bytes leaked";
  else if (!o.usable_after) problem = "the engine could not run code afterwards";
  else if (o.seconds > kMaxSeconds) problem = "the run took " + std::to_string(o.seconds) + " s";
  else if (mode != Mode::Tests && !o.clean && !located(o.error))
    problem = "badly placed error message \"" + printable(o.error) + "\"";
  if (problem.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << problem << " for the script \"" << printable(source)
                                     << "\"";
}

// Runs sources and checks each; after a few misbehaving ones the rest go unreported, so that
// one bug does not bury the report.
struct Batch {
  milliseconds budget{100};
  int failures = 0;
  void run(const std::string& source, Mode mode) {
    const Outcome o = run_script(source, mode, budget);
    if (failures >= 5) return;
    const testing::AssertionResult ok = well_behaved(o, source, mode);
    EXPECT_TRUE(ok);
    failures += ok ? 0 : 1;
  }
};

Mode mode_of(int64_t i) { return static_cast<Mode>(i % 3); }

TEST(Fuzz, RandomBytesAndTokenSoups) {
  Batch batch;
  Rng rng(kSeed);
  for (int64_t i = 0; i < 3000; ++i) batch.run(random_bytes(rng), mode_of(i));
  for (int64_t i = 0; i < 3000; ++i) batch.run(token_soup(rng), mode_of(i));
}

TEST(Fuzz, HostileInputs) {
  Batch batch;
  for (const NamedSource& input : hostile_inputs()) {
    SCOPED_TRACE(input.name);
    batch.run(input.source, Mode::Run);
    // The interactive reader sees the short ones too, where an open construct asks for more.
    if (input.source.size() < 4096) batch.run(input.source, Mode::Piece);
  }
}

TEST(Fuzz, RunawayScriptsEndWithTheStopRequestOrTheMemoryLimit) {
  const Outcome loop = run_script("x := 0;\nwhile 1 do x := x + 1;", Mode::Run, milliseconds(100));
  EXPECT_TRUE(loop.stopped);
  EXPECT_EQ(loop.error, "t.vkl:2: stopped");
  const Outcome doubling =
      // It ends by itself; the generous budget keeps a loaded machine from stopping it first.
      run_script("s := \"ab\";\nwhile 1 do s := s + s;", Mode::Run, milliseconds(10000));
  EXPECT_FALSE(doubling.stopped);
  EXPECT_EQ(doubling.error, "t.vkl:2: string too long");
  EXPECT_EQ(doubling.leaked, 0);
}

std::vector<std::string> script_tests() {
  std::vector<std::string> sources;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(VKL_SCRIPT_TEST_DIR)) {
    if (entry.path().extension() != ".vkl") continue;
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    sources.push_back(text.str());
  }
  std::sort(sources.begin(), sources.end());  // the directory order is not fixed
  return sources;
}

TEST(Fuzz, MutatedScriptTests) {
  const std::vector<std::string> originals = script_tests();
  ASSERT_GE(originals.size(), 5u);
  Batch batch{milliseconds(50)};
  Rng rng(kSeed + 1);
  for (int64_t round = 0; round < 60; ++round)
    for (const std::string& original : originals)
      batch.run(mutate(original, rng), round % 4 == 0 ? Mode::Run : Mode::Tests);
}

TEST(Fuzz, GeneratedProgramsRun) {
  Batch batch;
  Rng rng(kSeed + 2);
  int64_t statements = 0;
  vkl_test::g_count_calls = 0;
  for (int64_t i = 0; i < 400; ++i) {
    const Program p = random_program(rng);
    statements += p.statements;
    batch.run(p.source, i % 5 == 0 ? Mode::Run : Mode::Tests);
  }
  // The generator is worth something only when a fair share of its statements runs through.
  EXPECT_GT(vkl_test::g_count_calls * 4, statements)
      << vkl_test::g_count_calls << " of " << statements << " statements ran through";
}

}  // namespace
}  // namespace vkl_fuzz
