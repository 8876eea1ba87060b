// The handle registry and the waits over it. Handles are process-wide, so the registry is
// locked; a wait runs without the lock.
#include "system/handles.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include <vkl/kernel.h>

#include "plugin/args.h"
#include "system/last_error.h"
#include "system/sys_right.h"

namespace vkl::system {
namespace {

using Clock = std::chrono::steady_clock;

std::mutex g_lock;
std::map<intptr_t, const HandleKind*> g_handles;

// Time-outs at or above the system's "infinite" (0xFFFFFFFF) mean no limit, like negative ones.
constexpr int64_t kInfinite = 0xFFFFFFFFll;
// A wait over kinds without a descriptor polls them this often.
constexpr auto kPollSlice = std::chrono::milliseconds(1);

// The deadline of a wait of `ms`, or nullopt-like max() without a limit.
Clock::time_point deadline_after(int64_t ms) {
  if (ms < 0 || ms >= kInfinite) return Clock::time_point::max();
  return Clock::now() + std::chrono::milliseconds(ms);
}

// Milliseconds left before the deadline (-1 without one, 0 once passed).
int64_t remaining_ms(Clock::time_point deadline) {
  if (deadline == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() > 0 ? left.count() : 0;
}

int poll_ms(int64_t ms) {
  return ms < 0 || ms > 1000000 ? 1000000 : static_cast<int>(ms);
}

struct Waited {
  intptr_t handle;
  const HandleKind* kind;
};

// The kinds of all handles, or false (last error EBADF) when one is not registered.
bool kinds_of(const intptr_t* handles, size_t count, std::vector<Waited>* out) {
  std::lock_guard<std::mutex> hold(g_lock);
  for (size_t i = 0; i < count; ++i) {
    auto found = g_handles.find(handles[i]);
    if (!is_handle_value(handles[i]) || found == g_handles.end()) {
      set_last_error(EBADF);
      return false;
    }
    out->push_back({handles[i], found->second});
  }
  return true;
}

// Sleeps until one of the descriptors is readable or `ms` passes; false when the kinds have no
// descriptors, in which case the caller sleeps one slice instead.
bool sleep_on_descriptors(const std::vector<Waited>& waited, int64_t ms) {
  std::vector<pollfd> fds;
  for (const Waited& w : waited) {
    const int fd = w.kind->poll_fd ? w.kind->poll_fd(w.handle) : -1;
    if (fd < 0) return false;
    fds.push_back({fd, POLLIN, 0});
  }
  if (poll(fds.data(), fds.size(), poll_ms(ms)) < 0 && errno != EINTR) set_last_error(errno);
  return true;
}

int wait_any(const std::vector<Waited>& waited, Clock::time_point deadline) {
  for (;;) {
    for (size_t i = 0; i < waited.size(); ++i) {
      const int code = waited[i].kind->wait(waited[i].handle, 0);
      if (code == kWaitAcquired || code == kWaitAbandoned) return code + static_cast<int>(i);
      if (code == kWaitFailed) return kWaitFailed;
    }
    const int64_t left = remaining_ms(deadline);
    if (left == 0) return kWaitTimedOut;
    if (!sleep_on_descriptors(waited, left)) std::this_thread::sleep_for(kPollSlice);
  }
}

int wait_all(const std::vector<Waited>& waited, Clock::time_point deadline) {
  int answer = kWaitAcquired;
  for (size_t i = 0; i < waited.size(); ++i) {
    const int code = waited[i].kind->wait(waited[i].handle, remaining_ms(deadline));
    if (code == kWaitAbandoned && answer == kWaitAcquired)
      answer = kWaitAbandoned + static_cast<int>(i);
    if (code != kWaitAcquired && code != kWaitAbandoned) {
      for (size_t j = 0; j < i; ++j)
        if (waited[j].kind->undo_wait) waited[j].kind->undo_wait(waited[j].handle);
      return code;
    }
  }
  return answer;
}

}  // namespace

bool register_handle(intptr_t handle, const HandleKind* kind) {
  if (!is_handle_value(handle) || !kind) return false;
  std::lock_guard<std::mutex> hold(g_lock);
  return g_handles.emplace(handle, kind).second;
}

const HandleKind* handle_kind(intptr_t handle) {
  std::lock_guard<std::mutex> hold(g_lock);
  auto found = g_handles.find(handle);
  return found == g_handles.end() ? nullptr : found->second;
}

int wait_handle(intptr_t handle, int64_t ms) {
  const HandleKind* kind = is_handle_value(handle) ? handle_kind(handle) : nullptr;
  if (!kind) {
    set_last_error(EBADF);
    return kWaitFailed;
  }
  return kind->wait(handle, ms >= kInfinite ? -1 : ms);
}

int wait_handles(const intptr_t* handles, size_t count, bool wait_all_of_them, int64_t ms) {
  if (count == 0 || count > kMaxWaitHandles) {
    set_last_error(EINVAL);
    return kWaitFailed;
  }
  std::vector<Waited> waited;
  if (!kinds_of(handles, count, &waited)) return kWaitFailed;
  const Clock::time_point deadline = deadline_after(ms);
  return wait_all_of_them ? wait_all(waited, deadline) : wait_any(waited, deadline);
}

int close_handle(intptr_t handle) {
  const HandleKind* kind = nullptr;
  {
    std::lock_guard<std::mutex> hold(g_lock);
    auto found = g_handles.find(handle);
    if (found != g_handles.end()) {
      kind = found->second;
      g_handles.erase(found);
    }
  }
  if (!kind) {
    set_last_error(EBADF);
    return 0;
  }
  return kind->close(handle) ? 1 : 0;
}

int sysclosehandle(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (!has_sys_right(L) || nargs != 1 || !plugin::arg_is_number(args, nargs, 0)) return 0;
  const intptr_t handle = VKL_AsIntPtr(plugin::arg_at(args, 0));
  if (is_handle_value(handle)) VKL_SetInt(L, result, close_handle(handle));
  return 1;
}

int syswaitforsingleobject(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int64_t ms = 0;
  if (!has_sys_right(L) || nargs != 2 || !plugin::arg_is_number(args, nargs, 0) ||
      !plugin::arg_int64(args, nargs, 1, &ms))
    return 0;
  const intptr_t handle = VKL_AsIntPtr(plugin::arg_at(args, 0));
  VKL_SetInt(L, result, is_handle_value(handle) ? wait_handle(handle, ms) : kWaitFailed);
  return 1;
}

int syswaitformultipleobjects(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int64_t ms = 0;
  if (!has_sys_right(L) || nargs != 3 || !VKL_HashCheck(plugin::arg_at(args, 0)) ||
      !plugin::arg_is_number(args, nargs, 1) || !plugin::arg_int64(args, nargs, 2, &ms))
    return 0;
  const VKL_Table* table = vkl_table(plugin::arg_at(args, 0));
  const bool all = VKL_AsBool(plugin::arg_at(args, 1)) != 0;
  std::vector<intptr_t> handles;
  const int64_t count = VKL_HashArrayCount(table);
  for (int64_t i = 0; i < count && handles.size() <= kMaxWaitHandles; ++i) {
    const TObject* entry = VKL_HashGetInt64(table, i);
    if (entry && vkl_is_number_tag(vkl_follow(entry)->tag))
      handles.push_back(VKL_AsIntPtr(vkl_follow(entry)));
  }
  VKL_SetInt(L, result, wait_handles(handles.data(), handles.size(), all, ms));
  return 1;
}

}  // namespace vkl::system
