// Runs one untrusted script on a fresh state and engine, under a watchdog that asks the run to
// stop when it takes too long, and reports what a caller must see: a clean end or a located
// error message, every payload byte returned, and an engine still able to run code afterwards.
#pragma once

#include <gtest/gtest.h>

#include <vkl/interp.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vkl_fuzz {

enum class Mode { Run, Tests, Piece };

struct Outcome {
  bool clean = false;        // ran through without an error or a failed check
  std::string error;         // the first error message (run and piece modes)
  std::string output;        // echo output and test reports
  bool stopped = false;      // the watchdog asked the run to stop
  bool usable_after = false; // the engine ran a follow-up statement correctly
  int64_t leaked = 0;        // payload bytes still counted after the engine was gone
  double seconds = 0;
};

// One thread that sets the stop request of the armed state when its deadline passes.
class Watchdog {
 public:
  Watchdog();
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  void arm(VKL_State* L, std::chrono::milliseconds budget);
  // After disarm returns the watchdog no longer touches the state; true when it fired.
  bool disarm();

 private:
  void loop();

  std::mutex mutex_;
  std::condition_variable wake_;
  VKL_State* target_ = nullptr;
  std::chrono::steady_clock::time_point deadline_;
  bool fired_ = false;
  bool quit_ = false;
  std::thread thread_;
};

class Harness {
 public:
  // `budget`: run time before the watchdog asks for a stop.
  explicit Harness(std::chrono::milliseconds budget = std::chrono::milliseconds(100))
      : budget_(budget) {}

  Outcome run(const std::string& source, Mode mode);

 private:
  std::chrono::milliseconds budget_;
  Watchdog watchdog_;
};

// Checks the promises every run keeps, whatever its source; the failure shows the source.
testing::AssertionResult well_behaved(const Outcome& o, const std::string& source, Mode mode);

// The source in a form fit for a failure message: escaped and cut short.
std::string printable(const std::string& source);

}  // namespace vkl_fuzz
