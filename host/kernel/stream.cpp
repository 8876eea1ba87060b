// Streams: file streams over a POSIX descriptor and memory streams over a growable buffer, with
// one set of read, write, seek and size operations.
//
// Failure policy: creation gives null; reads, writes and seeks give -1; setters give 0. A null
// or dead stream is refused the same way, and freeing one is harmless.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>
#include <vector>

#include "internal.h"

struct VKL_Stream {
  uint32_t magic;
  int fd;  // file streams; -1 for a memory stream
  // Memory streams: `size` bytes in a buffer of `capacity`; the position may lie past the end.
  unsigned char* data;
  int64_t size;
  int64_t capacity;
  int64_t position;
};

namespace {

constexpr uint32_t kStreamMagic = 0x5354524D;
constexpr int kCreateMode = 0xFF00;
// The most one read() or write() call is asked for.
constexpr int64_t kIoSlice = int64_t{1} << 30;
constexpr int64_t kMinCapacity = 64;

// ---- Registry of live streams ----
// VKL_isStream must answer for any pointer, so it looks the pointer up instead of reading it.

struct Registry {
  std::mutex mutex;
  std::unordered_set<const void*> live;
};

// Never destroyed: streams may be freed by other libraries' exit code.
Registry& registry() {
  static auto* r = new Registry;
  return *r;
}

bool register_stream(const VKL_Stream* s) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  try {
    r.live.insert(s);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool unregister_stream(const void* p) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return r.live.erase(p) == 1;
}

VKL_Stream* new_stream(int fd) {
  auto* s = new (std::nothrow) VKL_Stream{kStreamMagic, fd, nullptr, 0, 0, 0};
  if (!s) return nullptr;
  if (fd < 0) {
    s->data = static_cast<unsigned char*>(std::malloc(kMinCapacity));
    s->capacity = kMinCapacity;
  }
  if ((fd < 0 && !s->data) || !register_stream(s)) {
    std::free(s->data);
    delete s;
    return nullptr;
  }
  return s;
}

bool usable(const VKL_Stream* s) {
  return s && s->magic == kStreamMagic;
}
bool is_memory(const VKL_Stream* s) {
  return s->fd < 0;
}

// ---- File names ----

// Strict UTF-16 to UTF-8: an unpaired surrogate makes the name unusable.
bool utf16_to_utf8(const vkl_wchar* w, std::string& out) {
  for (size_t i = 0; w[i]; ++i) {
    uint32_t c = w[i];
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (w[i + 1] < 0xDC00 || w[i + 1] > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (w[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return false;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

// A host-code-page name as the UTF-8 the file system uses. Bytes the code page cannot read
// refuse the name rather than open some other file.
bool host_to_utf8(const char* name, std::string& out) {
  const size_t n = std::strlen(name);
  const bool ascii = std::all_of(name, name + n, [](char c) { return (c & 0x80) == 0; });
  if (ascii || VKL_GetCodePage() == 65001) {
    out.assign(name, n);
    return true;
  }
  const int64_t units = VKL_MultiByteToWide(0, name, static_cast<int64_t>(n), nullptr, 0);
  if (units < 0) return false;
  std::vector<vkl_wchar> wide(static_cast<size_t>(units) + 1, 0);
  VKL_MultiByteToWide(0, name, static_cast<int64_t>(n), wide.data(), units);
  if (std::find(wide.begin(), wide.end() - 1, u'\uFFFD') != wide.end() - 1) return false;
  return utf16_to_utf8(wide.data(), out);
}

int open_flags(int mode) {
  if ((mode & kCreateMode) == kCreateMode) return O_RDWR | O_CREAT | O_TRUNC;
  switch (mode & 3) {
    case 0:
      return O_RDONLY;
    case 1:
      return O_WRONLY;
    case 2:
      return O_RDWR;
    default:
      return -1;
  }
}

VKL_Stream* open_file(const std::string& path, int mode) {
  const int flags = open_flags(mode);
  if (flags < 0 || path.empty()) return nullptr;
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return nullptr;
  struct stat st;
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(fd);
    return nullptr;
  }
  VKL_Stream* s = new_stream(fd);
  if (!s) ::close(fd);
  return s;
}

// ---- Memory streams ----

// Room for `bytes` in the buffer, growing it geometrically.
bool reserve(VKL_Stream* s, int64_t bytes) {
  if (bytes <= s->capacity) return true;
  if (bytes > PTRDIFF_MAX) return false;
  int64_t capacity = s->capacity > PTRDIFF_MAX / 2 ? PTRDIFF_MAX : s->capacity * 2;
  capacity = std::max({capacity, bytes, kMinCapacity});
  void* p = std::realloc(s->data, static_cast<size_t>(capacity));
  if (!p) return false;
  s->data = static_cast<unsigned char*>(p);
  s->capacity = capacity;
  return true;
}

// Makes the stream `size` bytes long; bytes gained are zero.
bool resize_memory(VKL_Stream* s, int64_t size) {
  if (size > s->size) {
    if (!reserve(s, size)) return false;
    std::memset(s->data + s->size, 0, static_cast<size_t>(size - s->size));
  } else if (s->capacity > 4096 && size < s->capacity / 4) {
    // Give back most of a buffer that shrank a lot; keeping it is harmless if this fails.
    const int64_t capacity = std::max(size, kMinCapacity);
    if (void* p = std::realloc(s->data, static_cast<size_t>(capacity))) {
      s->data = static_cast<unsigned char*>(p);
      s->capacity = capacity;
    }
  }
  s->size = size;
  return true;
}

int64_t memory_read(VKL_Stream* s, void* buf, int64_t n) {
  const int64_t available = s->position < s->size ? s->size - s->position : 0;
  const int64_t count = std::min(n, available);
  if (count > 0) std::memcpy(buf, s->data + s->position, static_cast<size_t>(count));
  s->position += count;
  return count;
}

int64_t memory_write(VKL_Stream* s, const void* buf, int64_t n) {
  if (s->position > INT64_MAX - n) return -1;
  const int64_t end = s->position + n;
  if (end > s->size && !resize_memory(s, end)) return -1;
  std::memcpy(s->data + s->position, buf, static_cast<size_t>(n));
  s->position = end;
  return n;
}

// ---- File streams ----

// Reads until `n` bytes or the end of the file; an error after some bytes still reports them.
int64_t file_read(VKL_Stream* s, void* buf, int64_t n) {
  auto* p = static_cast<unsigned char*>(buf);
  int64_t done = 0;
  while (done < n) {
    const ssize_t got = ::read(s->fd, p + done, static_cast<size_t>(std::min(n - done, kIoSlice)));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return done > 0 ? done : -1;
    if (got == 0) break;
    done += got;
  }
  return done;
}

int64_t file_write(VKL_Stream* s, const void* buf, int64_t n) {
  const auto* p = static_cast<const unsigned char*>(buf);
  int64_t done = 0;
  while (done < n) {
    const ssize_t put = ::write(s->fd, p + done, static_cast<size_t>(std::min(n - done, kIoSlice)));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return done > 0 ? done : -1;
    done += put;
  }
  return done;
}

bool valid_transfer(const VKL_Stream* s, const void* buf, int64_t n) {
  return usable(s) && n >= 0 && (buf || n == 0);
}

}  // namespace

extern "C" {

VKL_Stream* VKL_StreamFileCreate(const char* name, int mode) {
  if (!name) return nullptr;
  try {
    std::string path;
    if (!host_to_utf8(name, path)) return nullptr;
    return open_file(path, mode);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

VKL_Stream* VKL_StreamFileCreateW(const vkl_wchar* name, int mode) {
  if (!name) return nullptr;
  try {
    std::string path;
    if (!utf16_to_utf8(name, path)) return nullptr;
    return open_file(path, mode);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

VKL_Stream* VKL_StreamMemCreate(void) {
  return new_stream(-1);
}

void* VKL_StreamMemGetBuf(VKL_Stream* s, int64_t* size) {
  const bool memory = usable(s) && is_memory(s);
  if (size) *size = memory ? s->size : 0;
  return memory ? s->data : nullptr;
}

int64_t VKL_StreamRead(VKL_Stream* s, void* buf, int64_t n) {
  if (!valid_transfer(s, buf, n)) return -1;
  if (n == 0) return 0;
  return is_memory(s) ? memory_read(s, buf, n) : file_read(s, buf, n);
}

int64_t VKL_StreamWrite(VKL_Stream* s, const void* buf, int64_t n) {
  if (!valid_transfer(s, buf, n)) return -1;
  if (n == 0) return 0;
  return is_memory(s) ? memory_write(s, buf, n) : file_write(s, buf, n);
}

int64_t VKL_StreamSeek(VKL_Stream* s, int64_t offset, int origin) {
  if (!usable(s) || origin < 0 || origin > 2) return -1;
  if (!is_memory(s)) {
    static const int whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    return ::lseek(s->fd, offset, whence[origin]);
  }
  const int64_t base = origin == 0 ? 0 : origin == 1 ? s->position : s->size;
  if ((offset > 0 && base > INT64_MAX - offset) || base + offset < 0) return -1;
  s->position = base + offset;
  return s->position;
}

int64_t VKL_StreamGetPosition(VKL_Stream* s) {
  return VKL_StreamSeek(s, 0, 1);
}

int VKL_StreamSetPosition(VKL_Stream* s, int64_t pos) {
  return pos >= 0 && VKL_StreamSeek(s, pos, 0) == pos;
}

int64_t VKL_StreamGetSize(VKL_Stream* s) {
  if (!usable(s)) return -1;
  if (is_memory(s)) return s->size;
  struct stat st;
  return ::fstat(s->fd, &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}

// A position past the new end moves back to the end.
int VKL_StreamSetSize(VKL_Stream* s, int64_t size) {
  if (!usable(s) || size < 0) return 0;
  if (is_memory(s)) {
    if (!resize_memory(s, size)) return 0;
    s->position = std::min(s->position, size);
    return 1;
  }
  int rc;
  do {
    rc = ::ftruncate(s->fd, size);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) return 0;
  if (::lseek(s->fd, 0, SEEK_CUR) > size) ::lseek(s->fd, size, SEEK_SET);
  return 1;
}

void VKL_StreamFree(VKL_Stream* s) {
  if (!s || !unregister_stream(s)) return;
  if (is_memory(s)) {
    std::free(s->data);
  } else {
    ::close(s->fd);
  }
  s->magic = 0;  // a stale pointer used by mistake then most likely fails usable()
  delete s;
}

int VKL_isStream(const void* p) {
  if (!p) return 0;
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return r.live.count(p) == 1;
}

}  // extern "C"
