// Named mutexes on POSIX shared memory: each name is a small shared-memory object holding a
// robust, recursive, process-shared pthread mutex. Within one process every handle of a name
// shares one mapping, so a thread that holds the mutex always reaches it at one address (the
// robust list that lets the system hand an abandoned mutex on points into that mapping).
#include "system/named_mutex.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

namespace vkl::system {
namespace {

// Initialisation states of a shared block, guarding against two processes creating the same
// name at once: the first to move it from fresh to initialising sets the mutex up.
enum : uint32_t { kFresh = 0, kInitialising = 1, kReady = 2 };

struct SharedBlock {
  uint32_t state;
  pthread_mutex_t mutex;
};

struct Mapping {
  std::string object;
  SharedBlock* block = nullptr;
  int64_t opens = 0;             // handles open on this mapping (under g_registry_lock)
  std::atomic<int64_t> held{0};  // system locks taken in this process, not yet given up
};

std::mutex g_registry_lock;
std::unordered_map<std::string, std::unique_ptr<Mapping>> g_mappings;

// How long an opener waits for another process to finish setting a new mutex up.
constexpr int kInitWaitSteps = 2000;
constexpr long kInitWaitStepNs = 1000000;

// Names longer than this are shortened to a prefix and a hash of the whole name.
constexpr size_t kMaxObjectName = 240;
constexpr size_t kKeptPrefix = 220;

uint64_t fnv1a(std::string_view s) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : s) h = (h ^ c) * 1099511628211ull;
  return h;
}

SharedBlock* map_block(const std::string& object) {
  const int fd = shm_open(object.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return nullptr;
  struct stat st {};
  void* p = MAP_FAILED;
  // A new object is empty; growing it to the block's size zero-fills it (state kFresh).
  if (fstat(fd, &st) == 0 && (st.st_size >= static_cast<off_t>(sizeof(SharedBlock)) ||
                              ftruncate(fd, sizeof(SharedBlock)) == 0))
    p = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  return p == MAP_FAILED ? nullptr : static_cast<SharedBlock*>(p);
}

bool init_mutex(pthread_mutex_t* m) {
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) return false;
  const bool ok = pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED) == 0 &&
                  pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST) == 0 &&
                  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                  pthread_mutex_init(m, &attr) == 0;
  pthread_mutexattr_destroy(&attr);
  return ok;
}

bool ensure_initialised(SharedBlock* block) {
  std::atomic_ref<uint32_t> state(block->state);
  uint32_t expected = kFresh;
  if (state.compare_exchange_strong(expected, kInitialising, std::memory_order_acq_rel)) {
    if (!init_mutex(&block->mutex)) {
      state.store(kFresh, std::memory_order_release);
      return false;
    }
    state.store(kReady, std::memory_order_release);
    return true;
  }
  const timespec step{0, kInitWaitStepNs};
  for (int i = 0; i < kInitWaitSteps && state.load(std::memory_order_acquire) != kReady; ++i)
    nanosleep(&step, nullptr);
  return state.load(std::memory_order_acquire) == kReady;
}

Mapping* mapping_of(intptr_t handle) {
  return reinterpret_cast<Mapping*>(handle);
}

int lock_for(pthread_mutex_t* m, int64_t ms) {
  // Beyond about a century a wait is as good as unlimited.
  constexpr int64_t kUnlimitedMs = int64_t{100} * 365 * 24 * 3600 * 1000;
  if (ms < 0 || ms >= kUnlimitedMs) return pthread_mutex_lock(m);
  if (ms == 0) return pthread_mutex_trylock(m);
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += static_cast<time_t>(ms / 1000);
  deadline.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  return pthread_mutex_clocklock(m, CLOCK_MONOTONIC, &deadline);
}

}  // namespace

std::string named_mutex_object_name(std::string_view name) {
  std::string object = "/";
  const std::string_view kept = name.size() > kMaxObjectName ? name.substr(0, kKeptPrefix) : name;
  for (char c : kept) object += (c == '/' || c == '\0') ? '_' : c;
  if (name.size() > kMaxObjectName) {
    char hash[24];
    std::snprintf(hash, sizeof hash, "#%016llx", static_cast<unsigned long long>(fnv1a(name)));
    object += hash;
  }
  // The system refuses an empty name and the directory names "." and "..".
  if (object == "/" || object == "/." || object == "/..") object += '_';
  return object;
}

intptr_t named_mutex_open(std::string_view name) {
  try {
    const std::string object = named_mutex_object_name(name);
    std::lock_guard<std::mutex> guard(g_registry_lock);
    auto found = g_mappings.find(object);
    if (found != g_mappings.end()) {
      ++found->second->opens;
      return reinterpret_cast<intptr_t>(found->second.get());
    }
    SharedBlock* block = map_block(object);
    if (!block) return 0;
    if (!ensure_initialised(block)) {
      munmap(block, sizeof(SharedBlock));
      return 0;
    }
    auto mapping = std::make_unique<Mapping>();
    mapping->object = object;
    mapping->block = block;
    mapping->opens = 1;
    Mapping* handle = mapping.get();
    g_mappings.emplace(object, std::move(mapping));
    return reinterpret_cast<intptr_t>(handle);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int named_mutex_wait(intptr_t handle, int64_t ms) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping) return kWaitFailed;
  pthread_mutex_t* m = &mapping->block->mutex;
  switch (lock_for(m, ms)) {
    case 0:
      ++mapping->held;
      return kWaitAcquired;
    case EOWNERDEAD:
      // The previous owner died holding it: the mutex is ours, marked usable again.
      pthread_mutex_consistent(m);
      ++mapping->held;
      return kWaitAbandoned;
    case EBUSY:
    case ETIMEDOUT:
      return kWaitTimedOut;
    default:
      return kWaitFailed;
  }
}

bool named_mutex_release(intptr_t handle) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping || pthread_mutex_unlock(&mapping->block->mutex) != 0) return false;
  --mapping->held;
  return true;
}

void named_mutex_close(intptr_t handle) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping) return;
  std::lock_guard<std::mutex> guard(g_registry_lock);
  if (--mapping->opens > 0 || mapping->held.load() > 0) return;
  // Unmapped only when no thread of this process still holds it, so no robust-list entry
  // can point into the released pages; otherwise the mapping waits for the next opener.
  munmap(mapping->block, sizeof(SharedBlock));
  g_mappings.erase(g_mappings.find(mapping->object));
}

}  // namespace vkl::system
