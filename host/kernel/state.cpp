// States, plain kernel memory, the counted payload buffers and the stack gauge.
#include <malloc.h>
#include <pthread.h>

#include <cstdlib>
#include <new>

#include "internal.h"

namespace {

// The state of operations called with a null L (start-up code, notifications).
VKL_State kernel_state;

// Lowest usable address of the calling thread's stack (0 when unknown).
uintptr_t stack_low_bound() {
  thread_local uintptr_t low = [] {
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) != 0) return uintptr_t{0};
    void* addr = nullptr;
    size_t size = 0;
    const int rc = pthread_attr_getstack(&attr, &addr, &size);
    pthread_attr_destroy(&attr);
    return rc == 0 ? reinterpret_cast<uintptr_t>(addr) : uintptr_t{0};
  }();
  return low;
}

// Stack kept free below any recursive walk of the kernel.
constexpr int64_t kStackReserve = 256 * 1024;

// Unused bytes an adopted buffer may keep before it is shrunk to its payload.
constexpr size_t kAdoptSlack = 256;

}  // namespace

namespace vkl {

VKL_State* state_of(VKL_State* L) { return L ? L : &kernel_state; }

void* payload_alloc(VKL_State* L, size_t bytes) {
  VKL_State* s = state_of(L);
  if (!VKL_CheckMoreMem(s, static_cast<int64_t>(bytes))) return nullptr;
  void* p = std::malloc(bytes ? bytes : 1);
  if (p) s->mem_used.fetch_add(static_cast<int64_t>(bytes), std::memory_order_relaxed);
  return p;
}

void* payload_realloc(VKL_State* L, void* p, size_t old_bytes, size_t new_bytes) {
  VKL_State* s = state_of(L);
  const int64_t delta = static_cast<int64_t>(new_bytes) - static_cast<int64_t>(old_bytes);
  if (delta > 0 && !VKL_CheckMoreMem(s, delta)) return nullptr;
  void* q = std::realloc(p, new_bytes ? new_bytes : 1);
  if (q) s->mem_used.fetch_add(delta, std::memory_order_relaxed);
  return q;
}

void* payload_adopt(VKL_State* L, void* p, size_t bytes) {
  VKL_State* s = state_of(L);
  if (!VKL_CheckMoreMem(s, static_cast<int64_t>(bytes))) return nullptr;
  if (::malloc_usable_size(p) > bytes + kAdoptSlack) {
    p = std::realloc(p, bytes ? bytes : 1);
    if (!p) return nullptr;
  }
  s->mem_used.fetch_add(static_cast<int64_t>(bytes), std::memory_order_relaxed);
  return p;
}

void payload_free(VKL_State* L, void* p, size_t bytes) {
  if (!p) return;
  std::free(p);
  state_of(L)->mem_used.fetch_sub(static_cast<int64_t>(bytes), std::memory_order_relaxed);
}

bool stack_room() {
  const int64_t avail = VKL_StackAvail();
  return avail == 0 || avail > kStackReserve;
}

}  // namespace vkl

extern "C" {

VKL_State* VKL_NewState(void) { return new (std::nothrow) VKL_State(); }

void VKL_FreeState(VKL_State* L) { delete L; }

void* VKL_StateGetUserData(VKL_State* L) { return vkl::state_of(L)->user; }

void VKL_StateSetUserData(VKL_State* L, void* data) { vkl::state_of(L)->user = data; }

void* VKL_Malloc(size_t size) { return std::malloc(size ? size : 1); }

void* VKL_Realloc(void* p, size_t size) { return std::realloc(p, size ? size : 1); }

void* VKL_ReallocNoLeak(void* p, size_t size) {
  void* q = std::realloc(p, size ? size : 1);
  if (!q) std::free(p);
  return q;
}

void VKL_Free(void* p) { std::free(p); }

int64_t VKL_GetMemUsed(VKL_State* L) {
  return vkl::state_of(L)->mem_used.load(std::memory_order_relaxed);
}

void VKL_SetMemLimit(VKL_State* L, int64_t limit) {
  vkl::state_of(L)->mem_limit.store(limit, std::memory_order_relaxed);
}

int VKL_CheckMoreMem(VKL_State* L, int64_t bytes) {
  const VKL_State* s = vkl::state_of(L);
  const int64_t limit = s->mem_limit.load(std::memory_order_relaxed);
  if (limit < 0 || bytes <= 0) return 1;
  return s->mem_used.load(std::memory_order_relaxed) + bytes <= limit;
}

int64_t VKL_StackAvail(void) {
  const uintptr_t low = stack_low_bound();
  if (low == 0) return 0;
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  return here > low ? static_cast<int64_t>(here - low) : 1;
}

}  // extern "C"
