// Argument and result cells for calling handlers directly, released at the end of a test.
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstring>
#include <string>
#include <vector>

namespace plugin_test {

class Cells {
 public:
  Cells(VKL_State* L, size_t count) : L_(L), cells_(count) {
    for (TObject& c : cells_) vkl_put_nil(&c);
  }
  ~Cells() {
    for (TObject& c : cells_) VKL_FreeObjectContent(L_, &c);
  }
  Cells(const Cells&) = delete;
  Cells& operator=(const Cells&) = delete;

  TObject* data() { return cells_.data(); }
  TObject& operator[](size_t i) { return cells_[i]; }
  int count() const { return static_cast<int>(cells_.size()); }

  void text(size_t i, const std::string& s) {
    VKL_SetStringEx(L_, &cells_[i], s.data(), static_cast<int64_t>(s.size()));
  }
  void integer(size_t i, int32_t v) { VKL_SetInt(L_, &cells_[i], v); }

 private:
  VKL_State* L_;
  std::vector<TObject> cells_;
};

// A result cell holding an owned string, to see that a rejected call leaves it as it was.
class SentinelResult {
 public:
  explicit SentinelResult(VKL_State* L) : L_(L) {
    vkl_put_nil(&cell_);
    VKL_SetString(L_, &cell_, "untouched");
    std::memcpy(&before_, &cell_, sizeof cell_);
  }
  ~SentinelResult() { VKL_FreeObjectContent(L_, &cell_); }
  SentinelResult(const SentinelResult&) = delete;
  SentinelResult& operator=(const SentinelResult&) = delete;

  TObject* get() { return &cell_; }
  bool untouched() const {
    return std::memcmp(&cell_, &before_, sizeof cell_) == 0 &&
           std::strcmp(VKL_AsString(&cell_), "untouched") == 0;
  }

 private:
  VKL_State* L_;
  TObject cell_;
  TObject before_;
};

// A state of its own for a user who holds no rights unless a test gives them.
class GuestState {
 public:
  explicit GuestState(const char* user = "plugin-test-guest") : L_(VKL_InterpNewState()) {
    VKL_SetUser(L_, user, user);
  }
  ~GuestState() { VKL_InterpFreeState(L_); }
  GuestState(const GuestState&) = delete;
  GuestState& operator=(const GuestState&) = delete;
  VKL_State* get() const { return L_; }

 private:
  VKL_State* L_;
};

}  // namespace plugin_test
