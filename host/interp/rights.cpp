// Users and their rights. Rights belong to user names, process-wide; user names are compared
// exactly, as the operating system compares them.
#include <mutex>
#include <shared_mutex>

#include "interp_internal.h"

namespace {

class Rights {
 public:
  void set(std::string_view user, unsigned rights) {
    std::unique_lock lock(mutex_);
    rights_[std::string(user)] = rights;
  }

  unsigned get(std::string_view user) const {
    std::shared_lock lock(mutex_);
    auto it = rights_.find(user);
    return it == rights_.end() ? 0u : it->second;
  }

 private:
  mutable std::shared_mutex mutex_;
  vkl::interp::NameMap<unsigned> rights_;
};

Rights& rights() {
  static Rights instance;
  return instance;
}

int state_user_holds(VKL_State* L, unsigned right) {
  const vkl::interp::InterpData* d = vkl::interp::interp_data(L);
  return d && (rights().get(d->user) & right) ? 1 : 0;
}

}  // namespace

extern "C" {

void VKL_SetUserRights(const char* user, unsigned rightsMask) {
  if (!user) return;
  rights().set(user, rightsMask & VKL_RIGHT_ALL);
}

unsigned VKL_GetUserRights(const char* user) { return user ? rights().get(user) : 0u; }

int VKL_CheckSysRight(const char* user) {
  return user && (rights().get(user) & VKL_RIGHT_SYS) ? 1 : 0;
}

int VKL_CheckWriteSecurity(VKL_State* L) { return state_user_holds(L, VKL_RIGHT_WRITE); }

int VKL_CheckHighLevelSecurity(VKL_State* L, const char*, int) {
  return state_user_holds(L, VKL_RIGHT_HIGHLEVEL);
}

int VKL_CheckClassSecurity(VKL_State* L, const char*) {
  return state_user_holds(L, VKL_RIGHT_CLASS);
}

}  // extern "C"
