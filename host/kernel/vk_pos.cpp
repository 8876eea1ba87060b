// Substring positions: Pos, PosEx and AnsiPos, narrow and wide. The case-sensitive search
// filters candidate starts by the needle's first and last unit, 32 bytes at a time (AVX2 when
// the processor has it, else SSE2), and compares the rest only where both match.
#include <immintrin.h>
#include <vkl/kernel.h>
#include <vkl/vk_strings.h>

#include <cstring>
#include <cwctype>

namespace {

template <class C>
bool same_units(const C* a, const C* b, int64_t n) {
  return std::memcmp(a, b, static_cast<size_t>(n) * sizeof(C)) == 0;
}

// The first and last units of the needle are checked by the filter; the middle is compared.
template <class C>
bool middle_matches(const C* at, const C* sub, int64_t n) {
  return n <= 2 || same_units(at + 1, sub + 1, n - 2);
}

template <class C>
int64_t find_scalar(const C* s, int64_t from, int64_t starts, const C* sub, int64_t n) {
  for (int64_t i = from; i < starts; ++i)
    if (s[i] == sub[0] && s[i + n - 1] == sub[n - 1] && middle_matches(s + i, sub, n)) return i;
  return -1;
}

// Candidate starts of a 32-byte block as a bit mask: bit k of `mask` stands for byte k.
template <class C>
int64_t check_mask(uint32_t mask, const C* s, int64_t i, const C* sub, int64_t n) {
  while (mask) {
    const int bit = __builtin_ctz(mask);
    const int64_t at = i + bit / static_cast<int>(sizeof(C));
    if (middle_matches(s + at, sub, n)) return at;
    mask &= mask - 1;
    if constexpr (sizeof(C) == 2) mask &= mask - 1;  // the second byte of the same unit
  }
  return -1;
}

template <class C>
__attribute__((target("avx2"))) int64_t find_avx2(const C* s, int64_t len, const C* sub,
                                                  int64_t n) {
  constexpr int64_t kStep = 32 / sizeof(C);
  const int64_t starts = len - n + 1;
  __m256i first, last;
  if constexpr (sizeof(C) == 1) {
    first = _mm256_set1_epi8(sub[0]);
    last = _mm256_set1_epi8(sub[n - 1]);
  } else {
    first = _mm256_set1_epi16(static_cast<short>(sub[0]));
    last = _mm256_set1_epi16(static_cast<short>(sub[n - 1]));
  }
  int64_t i = 0;
  for (; i + kStep <= starts; i += kStep) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + n - 1));
    __m256i hits;
    if constexpr (sizeof(C) == 1) {
      hits = _mm256_and_si256(_mm256_cmpeq_epi8(a, first), _mm256_cmpeq_epi8(b, last));
    } else {
      hits = _mm256_and_si256(_mm256_cmpeq_epi16(a, first), _mm256_cmpeq_epi16(b, last));
    }
    const auto mask = static_cast<uint32_t>(_mm256_movemask_epi8(hits));
    if (mask) {
      const int64_t at = check_mask(mask, s, i, sub, n);
      if (at >= 0) return at;
    }
  }
  return find_scalar(s, i, starts, sub, n);
}

template <class C>
int64_t find_sse2(const C* s, int64_t len, const C* sub, int64_t n) {
  constexpr int64_t kStep = 16 / sizeof(C);
  const int64_t starts = len - n + 1;
  __m128i first, last;
  if constexpr (sizeof(C) == 1) {
    first = _mm_set1_epi8(sub[0]);
    last = _mm_set1_epi8(sub[n - 1]);
  } else {
    first = _mm_set1_epi16(static_cast<short>(sub[0]));
    last = _mm_set1_epi16(static_cast<short>(sub[n - 1]));
  }
  int64_t i = 0;
  for (; i + kStep <= starts; i += kStep) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + n - 1));
    __m128i hits;
    if constexpr (sizeof(C) == 1) {
      hits = _mm_and_si128(_mm_cmpeq_epi8(a, first), _mm_cmpeq_epi8(b, last));
    } else {
      hits = _mm_and_si128(_mm_cmpeq_epi16(a, first), _mm_cmpeq_epi16(b, last));
    }
    const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hits));
    if (mask) {
      const int64_t at = check_mask(mask, s, i, sub, n);
      if (at >= 0) return at;
    }
  }
  return find_scalar(s, i, starts, sub, n);
}

const bool g_has_avx2 = __builtin_cpu_supports("avx2");

// Index of the first `sub` in s[0..len), or -1; n >= 1.
template <class C>
int64_t find(const C* s, int64_t len, const C* sub, int64_t n) {
  if (n > len) return -1;
  if constexpr (sizeof(C) == 1) {
    if (n == 1) {
      const void* hit = std::memchr(s, sub[0], static_cast<size_t>(len));
      return hit ? static_cast<const char*>(hit) - s : -1;
    }
  }
  return g_has_avx2 ? find_avx2(s, len, sub, n) : find_sse2(s, len, sub, n);
}

inline unsigned fold(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u >= 'a' && u <= 'z' ? u - ('a' - 'A') : u;
}
inline unsigned fold(vkl_wchar c) { return static_cast<unsigned>(std::towupper(c)); }

template <class C>
int64_t find_nocase(const C* s, int64_t len, const C* sub, int64_t n) {
  for (int64_t i = 0; i + n <= len; ++i) {
    int64_t k = 0;
    while (k < n && fold(s[i + k]) == fold(sub[k])) ++k;
    if (k == n) return i;
  }
  return -1;
}

template <class C>
int64_t pos(const C* sub, int64_t sublen, const C* s, int64_t len) {
  if (!sub || !s || sublen <= 0 || len <= 0) return 0;
  const int64_t at = find(s, len, sub, sublen);
  return at < 0 ? 0 : at + 1;
}

template <class C>
int64_t pos_ex(const C* sub, int64_t sublen, const C* s, int64_t len, int64_t offset,
               int64_t count, int case_sensitive) {
  if (count == 0 || offset < 1 || offset > len || !sub || !s || sublen <= 0) return 0;
  int64_t range = len - (offset - 1);
  if (count > 0 && count < range) range = count;
  if (range < sublen) return 0;
  const C* from = s + (offset - 1);
  const int64_t at =
      case_sensitive ? find(from, range, sub, sublen) : find_nocase(from, range, sub, sublen);
  return at < 0 ? 0 : offset + at;
}

}  // namespace

extern "C" {

int64_t VK_Pos(const char* sub, int64_t sublen, const char* s, int64_t len) {
  return pos(sub, sublen, s, len);
}
int64_t VK_PosW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s, int64_t len) {
  return pos(sub, sublen, s, len);
}
int64_t VK_PosEx(const char* sub, int64_t sublen, const char* s, int64_t len, int64_t offset,
                 int64_t count, int caseSensitive) {
  return pos_ex(sub, sublen, s, len, offset, count, caseSensitive);
}
int64_t VK_PosExW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s, int64_t len,
                  int64_t offset, int64_t count, int caseSensitive) {
  return pos_ex(sub, sublen, s, len, offset, count, caseSensitive);
}

// A match counts only where a character starts: candidates inside a double-byte character are
// passed over.
int64_t VK_AnsiPos(const char* sub, int64_t sublen, const char* s, int64_t len) {
  if (!sub || !s || sublen <= 0 || len <= 0) return 0;
  int64_t boundary = 0;
  for (int64_t from = 0; from + sublen <= len;) {
    const int64_t at = find(s + from, len - from, sub, sublen);
    if (at < 0) return 0;
    const int64_t hit = from + at;
    while (boundary < hit) boundary = VKL_NextCharIndex(s, len, boundary);
    if (boundary == hit) return hit + 1;
    from = boundary;
  }
  return 0;
}
int64_t VK_AnsiPosW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s, int64_t len) {
  return pos(sub, sublen, s, len);
}

}  // extern "C"
