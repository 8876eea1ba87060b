// Named mutexes on POSIX shared memory: each name is a small shared-memory object holding a
// robust, recursive, process-shared pthread mutex. Within one process every handle of a name
// shares one mapping, so a thread that holds the mutex always reaches it at one address (the
// robust list that lets the system hand an abandoned mutex on points into that mapping).
//
// The object counts the processes that have it mapped; the last one to let go removes it, so
// names do not pile up in the system. A process lets go when it closes its last handle, and at
// exit of every mutex it does not hold. Opening and letting go are serialised across processes
// by a lock on the object itself, which the system releases when a process dies; an opener
// that finds the object removed under it opens the name anew. A process that dies without
// letting go keeps its count, so the object (and an abandoned mutex in it) stays for the next
// opener.
#include "system/named_mutex.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "system/last_error.h"

namespace vkl::system {
namespace {

// The state of a block: a fresh (zero) block is set up by its first opener.
enum : uint32_t { kFresh = 0, kReady = 2 };

struct SharedBlock {
  uint32_t state;
  uint32_t openers;  // processes that have the block mapped
  pthread_mutex_t mutex;
};

struct Mapping {
  std::string object;
  bool named = true;             // false: a private mutex, its object already removed
  SharedBlock* block = nullptr;  // null once let go of at exit
  ino_t inode = 0;               // the object's identity, so that a namesake is never counted
  pid_t opener = 0;              // the process counted in the block (not a forked child)
  int64_t opens = 0;             // handles open on this mapping (under registry_lock())
  std::atomic<int64_t> held{0};  // system locks taken in this process, not yet given up
};

// What a handle points at: every open gets its own, as the system's handles are distinct.
// A shared handle is closed once by each holder.
struct Handle {
  Mapping* mapping;
  std::atomic<int> holders{1};
};

// The registry outlives the process's static destructors, so that a handle closed late in
// exit finds it.
std::mutex& registry_lock() {
  static auto* lock = new std::mutex;
  return *lock;
}
std::unordered_map<std::string, std::unique_ptr<Mapping>>& mappings() {
  static auto* all = new std::unordered_map<std::string, std::unique_ptr<Mapping>>;
  return *all;
}
std::atomic<uint64_t> g_private_count{0};

// An opener that keeps finding the object removed under it gives up after this many tries.
constexpr int kOpenAttempts = 100;

// Names longer than this are shortened to a prefix and a hash of the whole name.
constexpr size_t kMaxObjectName = 240;
constexpr size_t kKeptPrefix = 220;

uint64_t fnv1a(std::string_view s) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : s) h = (h ^ c) * 1099511628211ull;
  return h;
}

// A descriptor of an object, locked against the opening and letting go of other processes
// while alive (a descriptor of its own each time, so that a forked child never shares the
// parent's lock).
class ObjectLock {
 public:
  explicit ObjectLock(int fd) : fd_(fd) {
    if (fd_ >= 0 && (flock(fd_, LOCK_EX) != 0 || fstat(fd_, &stat_) != 0)) {
      set_last_error(errno);
      close(fd_);
      fd_ = -1;
    }
  }
  // Unlocked explicitly: a mapping made through the descriptor would keep the lock past close.
  ~ObjectLock() {
    if (fd_ < 0) return;
    flock(fd_, LOCK_UN);
    close(fd_);
  }
  ObjectLock(const ObjectLock&) = delete;
  ObjectLock& operator=(const ObjectLock&) = delete;
  bool held() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  const struct stat& stat() const { return stat_; }
  // False once the object's last holder has removed it from the system's names.
  bool linked() const { return stat_.st_nlink > 0; }

 private:
  int fd_;
  struct stat stat_ {};
};

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

// Maps the locked object, setting a fresh block up and counting this process; null with the
// last error set when it cannot. `created` tells whether this opener set the block up.
SharedBlock* map_block(const ObjectLock& lock, bool* created) {
  void* p = MAP_FAILED;
  // A new object is empty; growing it to the block's size zero-fills it (state kFresh).
  if (lock.stat().st_size >= static_cast<off_t>(sizeof(SharedBlock)) ||
      ftruncate(lock.fd(), sizeof(SharedBlock)) == 0)
    p = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, lock.fd(), 0);
  if (p == MAP_FAILED) return fail_with_errno<SharedBlock*>(nullptr);
  auto* block = static_cast<SharedBlock*>(p);
  // Only openers holding the object's lock set blocks up, so a block not ready here is new or
  // was left half-made by a process that died: it is set up (again).
  *created = block->state != kReady;
  if (*created) {
    if (!init_mutex(&block->mutex)) {
      munmap(block, sizeof(SharedBlock));
      set_last_error(ENOMEM);
      return nullptr;
    }
    block->state = kReady;
  }
  ++block->openers;
  return block;
}

// Opens the object of a name, or makes it, and locks it; retries while the object it finds is
// removed before the lock is had. Not held (the last error set) when it cannot.
std::unique_ptr<ObjectLock> lock_named(const std::string& object) {
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    int fd = shm_open(object.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0 && errno == EEXIST) fd = shm_open(object.c_str(), O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0 && errno == ENOENT) continue;
    if (fd < 0) break;
    auto lock = std::make_unique<ObjectLock>(fd);
    if (!lock->held() || lock->linked()) return lock;
  }
  set_last_error(errno ? errno : EAGAIN);
  return std::make_unique<ObjectLock>(-1);
}

// Lets go of a mapping no handle and no lock of this process uses any more: the process's
// count in the object goes, and with the last count the object itself.
void let_go(Mapping* mapping) {
  if (mapping->named && mapping->opener == getpid()) {
    ObjectLock lock(shm_open(mapping->object.c_str(), O_RDWR | O_CLOEXEC, 0));
    if (lock.held() && lock.stat().st_ino == mapping->inode && --mapping->block->openers == 0)
      shm_unlink(mapping->object.c_str());
  }
  munmap(mapping->block, sizeof(SharedBlock));
  mapping->block = nullptr;
}

// A mapping this process still holds as it ends: when no other process has the object, its
// name goes (the mapping stays, since the system marks the held mutex through it at exit).
void remove_if_alone(const Mapping* mapping) {
  if (!mapping->named || mapping->opener != getpid()) return;
  ObjectLock lock(shm_open(mapping->object.c_str(), O_RDWR | O_CLOEXEC, 0));
  if (lock.held() && lock.stat().st_ino == mapping->inode && mapping->block->openers == 1)
    shm_unlink(mapping->object.c_str());
}

Handle* new_handle(Mapping* mapping) {
  auto* handle = new (std::nothrow) Handle{mapping};
  if (handle) ++mapping->opens;
  return handle;
}

// Maps a locked object into a new mapping and gives its first handle; 0 when it cannot.
intptr_t open_new(const ObjectLock& lock, const std::string& object, const std::string& key,
                  bool named, bool* created) {
  static const bool exit_hook = std::atexit(named_mutex_let_go_all) == 0;
  (void)exit_hook;
  if (!lock.held()) return 0;
  SharedBlock* block = map_block(lock, created);
  if (!block) return 0;
  if (!named) shm_unlink(object.c_str());  // nobody else may find a private one
  auto mapping = std::make_unique<Mapping>();
  mapping->object = object;
  mapping->named = named;
  mapping->block = block;
  mapping->inode = lock.stat().st_ino;
  mapping->opener = getpid();
  Handle* handle = new_handle(mapping.get());
  if (!handle) {
    --block->openers;
    munmap(block, sizeof(SharedBlock));
    return 0;
  }
  mappings().emplace(key, std::move(mapping));
  return reinterpret_cast<intptr_t>(handle);
}

Mapping* mapping_of(intptr_t handle) {
  return handle ? reinterpret_cast<Handle*>(handle)->mapping : nullptr;
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

intptr_t named_mutex_open(std::string_view name, bool* created) {
  bool made = false;
  if (!created) created = &made;
  *created = false;
  try {
    const std::string object = named_mutex_object_name(name);
    std::lock_guard<std::mutex> guard(registry_lock());
    auto found = mappings().find(object);
    if (found != mappings().end() && found->second->block)
      return reinterpret_cast<intptr_t>(new_handle(found->second.get()));
    if (found != mappings().end()) return fail_with_errno<intptr_t>(0);
    const std::unique_ptr<ObjectLock> lock = lock_named(object);
    return open_new(*lock, object, object, true, created);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

intptr_t named_mutex_open_private() {
  try {
    const uint64_t n = ++g_private_count;
    const std::string object =
        "/vkl_private_mutex_" + std::to_string(getpid()) + "_" + std::to_string(n);
    // A key no cleaned name can be (it holds a second "/"), so no named open finds it.
    const std::string key = "/private/" + std::to_string(n);
    bool created = false;
    std::lock_guard<std::mutex> guard(registry_lock());
    const ObjectLock lock(shm_open(object.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!lock.held()) return fail_with_errno<intptr_t>(0);
    return open_new(lock, object, key, false, &created);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int named_mutex_wait(intptr_t handle, int64_t ms) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping || !mapping->block) return kWaitFailed;
  pthread_mutex_t* m = &mapping->block->mutex;
  switch (const int rc = lock_for(m, ms)) {
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
      set_last_error(rc);
      return kWaitFailed;
  }
}

bool named_mutex_release(intptr_t handle) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping || !mapping->block) return false;
  if (const int rc = pthread_mutex_unlock(&mapping->block->mutex); rc != 0) {
    set_last_error(rc);
    return false;
  }
  --mapping->held;
  return true;
}

void named_mutex_let_go_all() {
  std::lock_guard<std::mutex> guard(registry_lock());
  for (auto& [key, mapping] : mappings()) {
    if (!mapping->block) continue;
    if (mapping->held.load() == 0)
      let_go(mapping.get());
    else
      remove_if_alone(mapping.get());
  }
}

void named_mutex_share(intptr_t handle) {
  if (handle) ++reinterpret_cast<Handle*>(handle)->holders;
}

void named_mutex_close(intptr_t handle) {
  Mapping* mapping = mapping_of(handle);
  if (!mapping) return;
  if (--reinterpret_cast<Handle*>(handle)->holders > 0) return;
  delete reinterpret_cast<Handle*>(handle);
  std::lock_guard<std::mutex> guard(registry_lock());
  if (--mapping->opens > 0 || mapping->held.load() > 0) return;
  // Unmapped only when no thread of this process still holds it, so no robust-list entry
  // can point into the released pages; otherwise the mapping waits for the next opener, or
  // for the exit.
  if (mapping->block) let_go(mapping);
  std::erase_if(mappings(), [&](const auto& entry) { return entry.second.get() == mapping; });
}

}  // namespace vkl::system
