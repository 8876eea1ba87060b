// A text being built by a VK_ routine: a VKL_Malloc'd buffer that grows, always with room for
// the terminating zero, released unless handed out.
#pragma once

#include <vkl/kernel.h>

#include <cstdint>
#include <cstring>
#include <string_view>

namespace vkl {

template <class C>
class TextBuffer {
 public:
  TextBuffer() = default;
  ~TextBuffer() { VKL_Free(p_); }
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  C* data() { return p_; }
  int64_t size() const { return n_; }

  bool reserve(int64_t cap) {
    if (cap <= cap_ && p_) return true;
    if (cap < 0 || cap >= VKL_GetMaxStrLen()) return false;
    auto* q = static_cast<C*>(VKL_Realloc(p_, static_cast<size_t>(cap + 1) * sizeof(C)));
    if (!q) return false;
    p_ = q;
    cap_ = cap;
    return true;
  }
  bool resize(int64_t n) {
    if (!reserve(n)) return false;
    n_ = n;
    return true;
  }
  bool append(const C* s, int64_t n) {
    if (n_ + n > cap_ && !reserve(grown(n_ + n))) return false;
    if (n > 0) std::memcpy(p_ + n_, s, static_cast<size_t>(n) * sizeof(C));
    n_ += n;
    return true;
  }
  bool append(std::basic_string_view<C> s) { return append(s.data(), static_cast<int64_t>(s.size())); }
  bool push(C c) { return append(&c, 1); }

  // The finished buffer, zero-terminated, for the caller to own; null if none could be made.
  C* release(int64_t* outLen) {
    if (!reserve(n_)) return nullptr;
    p_[n_] = 0;
    *outLen = n_;
    C* out = p_;
    p_ = nullptr;
    n_ = cap_ = 0;
    return out;
  }

 private:
  static int64_t grown(int64_t need) { return need < 16 ? 16 : need + need / 2; }

  C* p_ = nullptr;
  int64_t n_ = 0;
  int64_t cap_ = 0;
};

}  // namespace vkl
