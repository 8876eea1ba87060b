// Interpreter states: a kernel state whose user data is the interpreter's record (user,
// original user, private prefix, system parameters, stop flag, hooks, host data, file name).
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

#include "interp_internal.h"

namespace {

// Set from a SIGINT handler: must stay lock-free.
std::atomic<int> g_stop_all{0};
static_assert(std::atomic<int>::is_always_lock_free,
              "the stop flag is written by a signal handler");

const char kEmpty[] = "";

// The name of the operating-system user the process runs as.
std::string os_user_name() {
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::string buffer(size > 0 ? static_cast<size_t>(size) : 16384, '\0');
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_name && *found->pw_name) {
    return found->pw_name;
  }
  if (const char* env = std::getenv("USER"); env && *env) return env;
  return "uid" + std::to_string(geteuid());
}

}  // namespace

namespace vkl::interp {

InterpData* interp_data(VKL_State* L) {
  if (!L) return nullptr;
  auto* d = static_cast<InterpData*>(VKL_StateGetUserData(L));
  return d && d->magic == InterpData::kMagic ? d : nullptr;
}

}  // namespace vkl::interp

using vkl::interp::interp_data;
using vkl::interp::InterpData;

extern "C" {

VKL_State* VKL_InterpNewState(void) {
  VKL_State* L = VKL_NewState();
  if (!L) return nullptr;
  auto* d = new (std::nothrow) InterpData();
  if (!d) {
    VKL_FreeState(L);
    return nullptr;
  }
  d->user = os_user_name();
  d->orig_user = d->user;
  VKL_StateSetUserData(L, d);
  return L;
}

void VKL_InterpFreeState(VKL_State* L) {
  if (!L) return;
  if (InterpData* d = interp_data(L)) {
    VKL_FreeSysParams(L);
    d->magic = 0;
    delete d;
    VKL_StateSetUserData(L, nullptr);
  }
  VKL_FreeState(L);
}

void* VKL_InterpGetHostData(VKL_State* L) {
  const InterpData* d = interp_data(L);
  return d ? d->host_data : nullptr;
}

void VKL_InterpSetHostData(VKL_State* L, void* data) {
  if (InterpData* d = interp_data(L)) d->host_data = data;
}

void VKL_SetUser(VKL_State* L, const char* user, const char* origUser) {
  InterpData* d = interp_data(L);
  if (!d) return;
  if (user) d->user = user;
  if (origUser) d->orig_user = origUser;
}

const char* VKL_GetUserNameFromL(VKL_State* L) {
  const InterpData* d = interp_data(L);
  return d ? d->user.c_str() : kEmpty;
}

const char* VKL_GetOrigUserID(VKL_State* L) {
  const InterpData* d = interp_data(L);
  return d ? d->orig_user.c_str() : kEmpty;
}

void VKL_SetPrivatePrefix(VKL_State* L, const char* prefix) {
  InterpData* d = interp_data(L);
  if (!d) return;
  if (prefix) {
    d->private_prefix = prefix;
  } else {
    d->private_prefix.reset();
  }
}

int VKL_InterpIsStopL(VKL_State* L) {
  if (g_stop_all.load(std::memory_order_relaxed)) return 1;
  const InterpData* d = interp_data(L);
  return d && d->stop.load(std::memory_order_relaxed) ? 1 : 0;
}

void VKL_InterpSetStop(VKL_State* L, int stop) {
  if (InterpData* d = interp_data(L)) d->stop.store(stop != 0, std::memory_order_relaxed);
}

void VKL_InterpStopAll(int stop) { g_stop_all.store(stop != 0, std::memory_order_relaxed); }

void VKL_InterpSetCallHook(VKL_State* L, VKL_CallHook hook) {
  if (InterpData* d = interp_data(L)) d->call_hook = hook;
}

void VKL_InterpSetClassHook(VKL_State* L, VKL_ClassHook hook) {
  if (InterpData* d = interp_data(L)) d->class_hook = hook;
}

void VKL_InterpSetFileName(VKL_State* L, const char* fileName) {
  if (InterpData* d = interp_data(L)) d->file_name = fileName ? fileName : "";
}

void VKL_InterpSetSQLError(VKL_State* L, const char* message) {
  if (InterpData* d = interp_data(L)) d->sql_error = message ? message : "";
}

}  // extern "C"
