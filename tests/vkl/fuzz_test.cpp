// Fuzzing the script engine with a fixed seed: whatever the text, a run ends (cleanly, with a
// located error, or stopped by the watchdog), gives back every payload byte, and leaves an
// engine that still works.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz_harness.h"
#include "fuzz_sources.h"
#include "handlers.h"

namespace vkl_fuzz {
namespace {

constexpr uint64_t kSeed = 20240611;

Mode mode_of(int64_t i) {
  static constexpr Mode kModes[] = {Mode::Run, Mode::Tests, Mode::Piece};
  return kModes[i % 3];
}

// Runs a batch, stopping at the first few misbehaving sources so that one bug does not bury
// the report.
class Batch {
 public:
  explicit Batch(Harness& h) : h_(h) {}
  Outcome run(const std::string& source, Mode mode) {
    Outcome o = h_.run(source, mode);
    if (failures_ < kMaxReported) {
      const testing::AssertionResult ok = well_behaved(o, source, mode);
      EXPECT_TRUE(ok);
      if (!ok) ++failures_;
    }
    return o;
  }

 private:
  static constexpr int kMaxReported = 5;
  Harness& h_;
  int failures_ = 0;
};

TEST(Fuzz, RandomBytesAndTokenSoups) {
  Harness harness;
  Batch batch(harness);
  Rng rng(kSeed);
  for (int64_t i = 0; i < 3000; ++i) batch.run(random_bytes(rng), mode_of(i));
  for (int64_t i = 0; i < 3000; ++i) batch.run(token_soup(rng), mode_of(i));
}

TEST(Fuzz, HostileInputs) {
  Harness harness;
  for (const NamedSource& input : hostile_inputs()) {
    SCOPED_TRACE(input.name);
    EXPECT_TRUE(well_behaved(harness.run(input.source, Mode::Run), input.source, Mode::Run));
    // The interactive reader sees the short ones too, where an open construct asks for more.
    if (input.source.size() < 4096) {
      EXPECT_TRUE(well_behaved(harness.run(input.source, Mode::Piece), input.source, Mode::Piece));
    }
  }
}

TEST(Fuzz, RunawayScriptsEndWithTheStopRequestOrTheMemoryLimit) {
  Harness harness;
  const Outcome loop = harness.run("x := 0;\nwhile 1 do x := x + 1;", Mode::Run);
  EXPECT_TRUE(loop.stopped);
  EXPECT_EQ(loop.error, "t.vkl:2: stopped");
  const Outcome doubling = harness.run("s := \"ab\";\nwhile 1 do s := s + s;", Mode::Run);
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
  Harness harness(std::chrono::milliseconds(50));
  Batch batch(harness);
  Rng rng(kSeed + 1);
  for (int64_t round = 0; round < 60; ++round)
    for (const std::string& original : originals)
      batch.run(mutate(original, rng), round % 4 == 0 ? Mode::Run : Mode::Tests);
}

TEST(Fuzz, GeneratedProgramsRun) {
  Harness harness;
  Batch batch(harness);
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
