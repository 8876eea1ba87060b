// Code pages: the host code page and conversions between narrow text in a Windows code page and
// UTF-16, through ICU.
//
// Failure policy: an unknown code page gives -1 (conversions) or 0 (setters, target unchanged).
// Text is never rejected: bytes or characters the code page cannot express become its
// substitute ('?' for the legacy code pages, U+FFFD on the way to UTF-16).
#include <unicode/ucnv.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <vector>

#include "internal.h"

namespace {

constexpr int kDefaultCodePage = 936;
constexpr int64_t kMaxStrLen = 0x7FFFFFFE;

std::atomic<int> host_code_page{kDefaultCodePage};

// ---- Windows code-page numbers to ICU converters ----

// ICU's name for the code pages whose name cannot be derived from the number.
const char* fixed_icu_name(int code_page) {
  switch (code_page) {
    case 932:
      return "windows-31j";
    case 936:
      return "windows-936-2000";
    case 949:
      return "windows-949-2000";
    case 950:
      return "windows-950-2000";
    case 1200:
      return "UTF-16LE";
    case 1201:
      return "UTF-16BE";
    case 10000:
      return "macintosh";
    case 12000:
      return "UTF-32LE";
    case 12001:
      return "UTF-32BE";
    case 20127:
      return "US-ASCII";
    case 20866:
      return "KOI8-R";
    case 21866:
      return "KOI8-U";
    case 28603:
      return "ISO-8859-13";
    case 28605:
      return "ISO-8859-15";
    case 50220:
      return "ISO-2022-JP";
    case 50225:
      return "ISO-2022-KR";
    case 51932:
      return "EUC-JP";
    case 51949:
      return "EUC-KR";
    case 52936:
      return "HZ-GB-2312";
    case 54936:
      return "GB18030";
    case 65000:
      return "UTF-7";
    case 65001:
      return "UTF-8";
    default:
      return nullptr;
  }
}

UConverter* try_open(const char* name) {
  UErrorCode err = U_ZERO_ERROR;
  UConverter* cnv = ucnv_open(name, &err);
  if (U_FAILURE(err)) return nullptr;
  return cnv;
}

// Opens the ICU converter of a Windows code page, or null when ICU has none for it.
UConverter* open_code_page(int code_page) {
  if (code_page <= 0) return nullptr;
  if (const char* name = fixed_icu_name(code_page)) return try_open(name);
  char name[32];
  if (code_page >= 28591 && code_page <= 28599) {
    std::snprintf(name, sizeof name, "ISO-8859-%d", code_page - 28590);
    return try_open(name);
  }
  // The ANSI pages (874, 1250..1258) are ICU's windows-N; the OEM pages (437, 850, 866, ...)
  // are the IBM pages of the same number.
  std::snprintf(name, sizeof name, "windows-%d", code_page);
  if (UConverter* cnv = try_open(name)) return cnv;
  if (code_page < 1000) {
    std::snprintf(name, sizeof name, "ibm-%d", code_page);
    return try_open(name);
  }
  return nullptr;
}

// True when the 128 ASCII characters (zero included) are single bytes of the same value in both
// directions, so that ASCII runs can be copied without the converter.
bool ascii_identity(UConverter* cnv) {
  char bytes[128];
  UChar units[128];
  for (int i = 0; i < 128; ++i) {
    bytes[i] = static_cast<char>(i);
    units[i] = static_cast<UChar>(i);
  }
  UChar wide[256];
  UErrorCode err = U_ZERO_ERROR;
  int32_t n = ucnv_toUChars(cnv, wide, 256, bytes, 128, &err);
  if (U_FAILURE(err) || n != 128 || std::memcmp(wide, units, sizeof units) != 0) return false;
  char narrow[512];
  err = U_ZERO_ERROR;
  n = ucnv_fromUChars(cnv, narrow, sizeof narrow, units, 128, &err);
  return U_SUCCESS(err) && n == 128 && std::memcmp(narrow, bytes, sizeof bytes) == 0;
}

struct Converter {
  int code_page = 0;
  UConverter* cnv = nullptr;  // null: ICU has no converter for this code page
  bool ascii_compatible = false;
  bool byte_text = true;  // text of it can be zero-terminated bytes (not UTF-16 or UTF-32)
};

// Opening a converter costs far more than a conversion, so each thread keeps the converters it
// has used, including the code pages found unknown.
class ConverterCache {
 public:
  ConverterCache() = default;
  ConverterCache(const ConverterCache&) = delete;
  ConverterCache& operator=(const ConverterCache&) = delete;
  ~ConverterCache() {
    for (Converter& c : entries_) {
      if (c.cnv) ucnv_close(c.cnv);
    }
  }

  const Converter* get(int code_page) {
    if (last_ && last_->code_page == code_page) return last_;
    for (Converter& c : entries_) {
      if (c.code_page == code_page) return last_ = &c;
    }
    entries_.reserve(entries_.size() + 1);  // so that keeping the converter cannot fail
    Converter c;
    c.code_page = code_page;
    c.cnv = open_code_page(code_page);
    if (c.cnv) {
      c.ascii_compatible = ascii_identity(c.cnv);
      c.byte_text = ucnv_getMinCharSize(c.cnv) == 1;
      // Legacy code pages substitute '?' as the system's users expect (ICU's own choice is
      // often the SUB control); the Unicode forms keep U+FFFD.
      if (c.ascii_compatible && ucnv_getType(c.cnv) != UCNV_UTF8) {
        UErrorCode err = U_ZERO_ERROR;
        ucnv_setSubstChars(c.cnv, "?", 1, &err);
      }
    }
    entries_.push_back(c);
    return last_ = &entries_.back();
  }

 private:
  std::vector<Converter> entries_;
  Converter* last_ = nullptr;
};

const Converter* converter_for(int code_page) {
  thread_local ConverterCache cache;
  if (code_page == 0) code_page = host_code_page.load(std::memory_order_relaxed);
  try {
    const Converter* c = cache.get(code_page);
    return c->cnv ? c : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// ---- The conversion loop ----

// ICU takes at most 2^31-1 source bytes and 2^30-1 target units per call; longer texts go
// through in slices.
constexpr int64_t kSlice = int64_t{1} << 29;

// Runs one ICU conversion direction over the whole input. Output goes to `out` while there is
// room (cap units) and to a scratch buffer after that, so the result is the full length.
template <class In, class Out, class Step>
int64_t convert(const In* s, int64_t len, Out* out, int64_t cap, Step step) {
  Out scratch[1024];
  int64_t produced = 0;
  const In* src = s;
  const In* const end = s + len;
  for (;;) {
    const In* slice_end = end - src > kSlice ? src + kSlice : end;
    const bool flush = slice_end == end;
    Out* start = scratch;
    Out* limit = scratch + std::size(scratch);
    if (produced < cap) {
      start = out + produced;
      limit = start + std::min(cap - produced, kSlice);
    }
    Out* target = start;
    UErrorCode err = U_ZERO_ERROR;
    step(&target, limit, &src, slice_end, flush, &err);
    produced += target - start;
    if (err == U_BUFFER_OVERFLOW_ERROR) continue;
    if (U_FAILURE(err)) return -1;
    if (flush) return produced;
  }
}

// Length of the leading run of ASCII characters.
template <class Unit>
int64_t ascii_run(const Unit* s, int64_t len) {
  int64_t i = 0;
  if constexpr (sizeof(Unit) == 1) {
    // Eight bytes at a time: ASCII text is the common case.
    for (; i + 8 <= len; i += 8) {
      uint64_t word;
      std::memcpy(&word, s + i, 8);
      if (word & 0x8080808080808080ULL) break;
    }
  }
  while (i < len && static_cast<std::make_unsigned_t<Unit>>(s[i]) < 0x80) ++i;
  return i;
}

template <class Unit>
int64_t zero_terminated_length(const Unit* s) {
  int64_t n = 0;
  while (s[n]) ++n;
  return n;
}

// Common frame of both directions: argument checks and the ASCII fast path, then ICU for the
// rest of the text.
template <class In, class Out, class Step>
int64_t convert_text(int code_page, const In* s, int64_t len, Out* out, int64_t cap, Step step) {
  const Converter* c = converter_for(code_page);
  if (!c) return -1;
  if (!s) return 0;
  if (len < 0) len = zero_terminated_length(s);
  if (!out || cap < 0) cap = 0;
  int64_t done = 0;
  if (c->ascii_compatible) {
    done = ascii_run(s, len);
    const int64_t copied = std::min(done, cap);
    for (int64_t i = 0; i < copied; ++i) out[i] = static_cast<Out>(s[i]);
    if (done == len) return len;
  }
  ucnv_reset(c->cnv);
  const int64_t rest =
      convert(s + done, len - done, cap > done ? out + done : nullptr, cap > done ? cap - done : 0,
              [&](auto... args) { step(c->cnv, args...); });
  return rest < 0 ? -1 : done + rest;
}

// Converts to a temporary buffer (the source may be the target cell's own text) and hands the
// result to `store`.
template <class In, class Out, class Convert, class Store>
int convert_to_cell(const In* s, int64_t len, Convert conv, Store store) {
  Out small[256];
  const int64_t n = conv(s, len, small, static_cast<int64_t>(std::size(small)));
  if (n < 0 || n > kMaxStrLen) return 0;
  if (n <= static_cast<int64_t>(std::size(small))) return store(small, n);
  std::vector<Out> big;
  try {
    big.resize(static_cast<size_t>(n));
  } catch (const std::bad_alloc&) {
    return 0;
  }
  if (conv(s, len, big.data(), n) != n) return 0;
  return store(big.data(), n);
}

}  // namespace

extern "C" {

int VKL_GetCodePage(void) {
  return host_code_page.load(std::memory_order_relaxed);
}

// Narrow strings are zero-terminated, so code pages whose characters contain zero bytes
// (UTF-16, UTF-32) can convert but cannot be the host code page.
int VKL_SetCodePage(int codePage) {
  if (codePage == 0) return 0;
  const Converter* c = converter_for(codePage);
  if (!c || !c->byte_text) return 0;
  host_code_page.store(codePage, std::memory_order_relaxed);
  return 1;
}

int64_t VKL_MultiByteToWide(int codePage, const char* s, int64_t len, vkl_wchar* out, int64_t cap) {
  return convert_text(codePage, s, len, out, cap,
                      [](UConverter* cnv, UChar** target, const UChar* limit, const char** src,
                         const char* src_end, bool flush, UErrorCode* err) {
                        ucnv_toUnicode(cnv, target, limit, src, src_end, nullptr, flush, err);
                      });
}

int64_t VKL_WideToMultiByte(int codePage, const vkl_wchar* s, int64_t len, char* out, int64_t cap) {
  return convert_text(codePage, s, len, out, cap,
                      [](UConverter* cnv, char** target, const char* limit, const UChar** src,
                         const UChar* src_end, bool flush, UErrorCode* err) {
                        ucnv_fromUnicode(cnv, target, limit, src, src_end, nullptr, flush, err);
                      });
}

int VKL_SetWStringFromStr(VKL_State* L, TObject* o, const char* s, int64_t len) {
  if (!o) return 0;
  return convert_to_cell<char, vkl_wchar>(
      s, len,
      [](const char* in, int64_t n, vkl_wchar* buf, int64_t cap) {
        return VKL_MultiByteToWide(0, in, n, buf, cap);
      },
      [&](const vkl_wchar* w, int64_t n) { return VKL_SetWStringEx(L, o, w, n); });
}

int VKL_SetStringFromWStr(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t len) {
  if (!o) return 0;
  return convert_to_cell<vkl_wchar, char>(
      s, len,
      [](const vkl_wchar* in, int64_t n, char* buf, int64_t cap) {
        return VKL_WideToMultiByte(0, in, n, buf, cap);
      },
      [&](const char* b, int64_t n) { return VKL_SetStringEx(L, o, b, n); });
}

}  // extern "C"
