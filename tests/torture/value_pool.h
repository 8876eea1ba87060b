// The values handlers are called with: every kind of cell, the awkward numbers and texts, and
// containers that break naive code (a table nested 100,000 levels deep, a table that contains
// itself). Most values are made fresh for every call; the two big tables are made once, shared
// and marked constant, so a handler that wants to change them has to copy them first.
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

namespace torture {

// The cells of one call: contiguous arguments and, beside each, the cell a reference argument
// points at (nil otherwise). Everything is released on destruction.
class CallCells {
 public:
  CallCells(VKL_State* L, size_t count);
  ~CallCells() { release_args(), release_targets(); }
  CallCells(const CallCells&) = delete;
  CallCells& operator=(const CallCells&) = delete;

  TObject* args() { return args_.data(); }
  int count() const { return static_cast<int>(args_.size()); }
  TObject& arg(size_t i) { return args_[i]; }
  TObject& target(size_t i) { return targets_[i]; }
  // Releases the argument cells only (a reference's target lives on, as a variable would).
  void release_args();
  void release_targets();

 private:
  VKL_State* L_;
  std::vector<TObject> args_;
  std::vector<TObject> targets_;  // sized once: references point into it
};

class ValuePool {
 public:
  explicit ValuePool(VKL_State* L);
  ~ValuePool();
  ValuePool(const ValuePool&) = delete;
  ValuePool& operator=(const ValuePool&) = delete;

  size_t size() const;
  const char* name(size_t index) const;
  // Makes value `index` in argument `i` of `cells` (and its target, for a reference).
  void make(size_t index, CallCells& cells, size_t i) const;

  // The pool's index of the table that contains itself.
  size_t cyclic_index() const;
  // True for every table the pool shares between calls (each level of the deep table too).
  bool is_shared(const VKL_Table* t) const { return shared_.count(t) != 0; }
  // Empty when the shared tables are as they were made, else what changed.
  std::string shared_damage() const;

  static constexpr int kDeepLevels = 100000;

 private:
  VKL_State* L_;
  TObject deep_;
  TObject cyclic_;
  TObject int_constant_;
  std::unordered_set<const VKL_Table*> shared_;
};

}  // namespace torture
