// Cells for calling handlers directly, users without rights, and named mutexes that are
// removed from the system when a test ends.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstring>
#include <string>
#include <vector>

#include "system/named_mutex.h"

namespace plugin_test {

// Argument or result cells, released at the end of a test.
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
  Cells& text(size_t i, const std::string& s) {
    VKL_SetStringEx(L_, &cells_[i], s.data(), static_cast<int64_t>(s.size()));
    return *this;
  }
  Cells& integer(size_t i, int32_t v) {
    VKL_SetInt(L_, &cells_[i], v);
    return *this;
  }

 private:
  VKL_State* L_;
  std::vector<TObject> cells_;
};

inline std::string text_of(const TObject* o) {
  return std::string(VKL_AsString(o), VKL_StringLen(o));
}

// True when the handler rejects the call and leaves a result cell holding an owned text
// exactly as it was.
inline bool rejects_untouched(VKL_Handler handler, VKL_State* L, Cells& args) {
  TObject result;
  vkl_put_nil(&result);
  VKL_SetString(L, &result, "untouched");
  TObject before;
  std::memcpy(&before, &result, sizeof result);
  const bool rejected = handler(L, args.data(), args.count(), &result) == 0;
  const bool same = rejected && std::memcmp(&result, &before, sizeof result) == 0 &&
                    std::strcmp(VKL_AsString(&result), "untouched") == 0;
  VKL_FreeObjectContent(L, &result);
  return same;
}

// A state of its own for a user who holds no rights unless a test gives them.
class GuestState {
 public:
  explicit GuestState(const char* user) : L_(VKL_InterpNewState()) { VKL_SetUser(L_, user, user); }
  ~GuestState() { VKL_InterpFreeState(L_); }
  GuestState(const GuestState&) = delete;
  GuestState& operator=(const GuestState&) = delete;
  VKL_State* get() const { return L_; }

 private:
  VKL_State* L_;
};

// A named mutex's system name whose shared-memory object is removed when the test ends.
class MutexName {
 public:
  explicit MutexName(std::string name) : name_(std::move(name)) {}
  ~MutexName() { shm_unlink(vkl::system::named_mutex_object_name(name_).c_str()); }
  MutexName(const MutexName&) = delete;
  MutexName& operator=(const MutexName&) = delete;

  const std::string& str() const { return name_; }
  bool exists() const {
    const int fd = shm_open(vkl::system::named_mutex_object_name(name_).c_str(), O_RDONLY, 0);
    if (fd >= 0) close(fd);
    return fd >= 0;
  }

 private:
  std::string name_;
};

}  // namespace plugin_test
