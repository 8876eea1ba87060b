#include "fuzz_harness.h"

#include <cstdio>
#include <cstdlib>

#include "handlers.h"
#include "host/vkl/engine.h"

namespace vkl_fuzz {
namespace {

// Enough for every legitimate fuzz program; runaway string doubling meets the limit instead
// of the machine's memory.
constexpr int64_t kMemLimit = 32 << 20;
// A run the watchdog stopped must end soon after.
constexpr double kMaxSeconds = 10.0;

// "t.vkl:LINE: message".
bool located(const std::string& error) {
  const std::string file = "t.vkl:";
  if (error.compare(0, file.size(), file) != 0) return false;
  size_t i = file.size();
  const size_t digits = i;
  while (i < error.size() && error[i] >= '0' && error[i] <= '9') ++i;
  return i > digits && error.compare(i, 2, ": ") == 0 && error.size() > i + 2;
}

}  // namespace

Watchdog::Watchdog() : thread_([this] { loop(); }) {}

Watchdog::~Watchdog() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void Watchdog::arm(VKL_State* L, std::chrono::milliseconds budget) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    target_ = L;
    deadline_ = std::chrono::steady_clock::now() + budget;
    fired_ = false;
  }
  wake_.notify_all();
}

bool Watchdog::disarm() {
  std::lock_guard<std::mutex> lock(mutex_);
  target_ = nullptr;
  return fired_;
}

void Watchdog::loop() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!quit_) {
    if (!target_) {
      wake_.wait(lock);
      continue;
    }
    if (wake_.wait_until(lock, deadline_) == std::cv_status::timeout && target_ &&
        std::chrono::steady_clock::now() >= deadline_) {
      VKL_InterpSetStop(target_, 1);
      fired_ = true;
      target_ = nullptr;
    }
  }
}

Outcome Harness::run(const std::string& source, Mode mode) {
  vkl_test::register_test_handlers();
  Outcome o;
  VKL_State* L = VKL_InterpNewState();
  VKL_SetMemLimit(L, kMemLimit);
  char* buffer = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&buffer, &size);
  const auto start = std::chrono::steady_clock::now();
  {
    vkl::lang::Engine engine(L, out);
    watchdog_.arm(L, budget_);
    switch (mode) {
      case Mode::Run:
        o.clean = engine.run(source, "t.vkl", &o.error);
        break;
      case Mode::Tests:
        o.clean = engine.run_tests(source, "t.vkl").failed == 0;
        break;
      case Mode::Piece:
        o.clean = engine.run_piece(source, "t.vkl", &o.error) != vkl::lang::PieceResult::Error;
        break;
    }
    o.stopped = watchdog_.disarm();
    o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    VKL_InterpSetStop(L, 0);
    std::string after_error;
    if (engine.run("fuzz_after := 6 * 7;", "after.vkl", &after_error)) {
      const TObject* v = engine.global("fuzz_after");
      o.usable_after = v && v->tag == VKL_TINT && vkl_int(v) == 42;
    }
  }
  std::fclose(out);
  o.output.assign(buffer, size);
  std::free(buffer);
  o.leaked = VKL_GetMemUsed(L);
  VKL_InterpFreeState(L);
  return o;
}

std::string printable(const std::string& source) {
  constexpr size_t kShown = 400;
  std::string text;
  for (size_t i = 0; i < source.size() && i < kShown; ++i) {
    const auto c = static_cast<unsigned char>(source[i]);
    if (c == '\n') {
      text += "\\n";
    } else if (c < 0x20 || c >= 0x7F) {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      text += hex;
    } else {
      text += static_cast<char>(c);
    }
  }
  if (source.size() > kShown) text += "... (" + std::to_string(source.size()) + " bytes)";
  return text;
}

testing::AssertionResult well_behaved(const Outcome& o, const std::string& source, Mode mode) {
  // Every error names its file and line.
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

}  // namespace vkl_fuzz
