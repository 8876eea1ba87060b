// Import/export formats, registered process-wide by their id.
#include <mutex>
#include <unordered_map>

#include "interp_internal.h"

namespace {

class Formats {
 public:
  void set(int64_t id, const VKL_ImpExpFormat* format) {
    std::lock_guard lock(mutex_);
    formats_[id] = format;
  }

  const VKL_ImpExpFormat* find(int64_t id) const {
    std::lock_guard lock(mutex_);
    auto it = formats_.find(id);
    return it == formats_.end() ? nullptr : it->second;
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<int64_t, const VKL_ImpExpFormat*> formats_;
};

Formats& formats() {
  static Formats instance;
  return instance;
}

}  // namespace

extern "C" {

int VKL_RegisterImpExp(int64_t id, const VKL_ImpExpFormat* format) {
  if (!format) return 0;
  formats().set(id, format);
  return 1;
}

const VKL_ImpExpFormat* VKL_FindImpExp(int64_t id) { return formats().find(id); }

}  // extern "C"
