// A console reporter that pairs benchmarks by name: <pair><measured suffix> against
// <pair><baseline suffix>, or every benchmark against one named baseline. It keeps the best CPU time per iteration of every benchmark over its
// repetitions (the least disturbed by other load on the machine) and prints each pair's ratio
// of measured time to baseline time at the end.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter(std::string measured_suffix, std::string baseline_suffix)
      : measured_(std::move(measured_suffix)), baseline_(std::move(baseline_suffix)) {}
  explicit RatioReporter(std::string common_baseline) : common_(std::move(common_baseline)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string name = run.run_name.function_name;
      const double time = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      const auto known = seconds_.find(name);
      if (known == seconds_.end() || time < known->second) seconds_[name] = time;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void print_ratios() const {
    for_each_pair([](const std::string& pair, double measured, double baseline) {
      std::printf("ratio %s: %.2f\n", pair.c_str(), measured / baseline);
    });
  }

  // The time a pair's measured benchmark adds to its baseline, for per-call overheads.
  void print_differences() const {
    for_each_pair([](const std::string& pair, double measured, double baseline) {
      std::printf("added %s: %.1f ns\n", pair.c_str(), (measured - baseline) * 1e9);
    });
  }

 private:
  template <typename Print>
  void for_each_pair(Print print) const {
    if (!common_.empty()) {
      const auto baseline = seconds_.find(common_);
      if (baseline == seconds_.end() || baseline->second <= 0) return;
      for (const auto& [name, measured_time] : seconds_)
        if (name != common_) print(name, measured_time, baseline->second);
      return;
    }
    for (const auto& [name, measured_time] : seconds_) {
      if (name.size() <= measured_.size() ||
          name.compare(name.size() - measured_.size(), measured_.size(), measured_) != 0) {
        continue;
      }
      const std::string pair = name.substr(0, name.size() - measured_.size());
      const auto baseline = seconds_.find(pair + baseline_);
      if (baseline == seconds_.end() || baseline->second <= 0) continue;
      print(pair, measured_time, baseline->second);
    }
  }

  std::string measured_, baseline_, common_;
  std::map<std::string, double> seconds_;
};
