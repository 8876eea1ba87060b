// Strings: lengths of string cells, searching in byte and UTF-16 text, stepping over the
// characters of the host code page, and string lists.
//
// Failure policy: searches give -1 and lengths 0 for bad input (null text, negative lengths,
// other kinds); string-list operations on a null list do nothing; a list that runs out of
// memory keeps what it had.
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "internal.h"

namespace {

constexpr int32_t kMaxStrLen = 0x7FFFFFFE;

int32_t clamp_length(size_t n) {
  return n > static_cast<size_t>(kMaxStrLen) ? kMaxStrLen : static_cast<int32_t>(n);
}

// Text length of a string cell of width Unit: the stored length less the zero, or a scan for
// the zero when no length is stored.
template <class Unit>
int32_t text_length(const TObject* o) {
  const auto* p = static_cast<const Unit*>(vkl_ptr(o));
  if (!p) return 0;
  const int32_t stored = vkl_len(o);
  if (stored >= 1) return stored - 1;
  return clamp_length(std::basic_string_view<Unit>(p).size());
}

bool valid_text(const void* s, int64_t len) {
  return len >= 0 && (s || len == 0);
}

// ---- Characters of the host code page ----

bool in_range(unsigned char b, unsigned lo, unsigned hi) {
  return b >= lo && b <= hi;
}

// Double-byte code pages: a lead byte and whatever byte follows it.
int64_t next_double_byte(const unsigned char* s, int64_t len, int64_t i,
                         bool (*is_lead)(unsigned char)) {
  return is_lead(s[i]) && i + 1 < len ? i + 2 : i + 1;
}

bool dbcs_lead(unsigned char b) {
  return in_range(b, 0x81, 0xFE);
}
bool shift_jis_lead(unsigned char b) {
  return in_range(b, 0x81, 0x9F) || in_range(b, 0xE0, 0xFC);
}

// GB18030: a four-byte form is lead, digit, lead, digit; otherwise as the double-byte pages.
int64_t next_gb18030(const unsigned char* s, int64_t len, int64_t i) {
  if (i + 3 < len && dbcs_lead(s[i]) && in_range(s[i + 1], 0x30, 0x39) && dbcs_lead(s[i + 2]) &&
      in_range(s[i + 3], 0x30, 0x39)) {
    return i + 4;
  }
  return next_double_byte(s, len, i, dbcs_lead);
}

// UTF-8: a lead byte and the continuation bytes it announces that are present; a stray byte is
// one character.
int64_t next_utf8(const unsigned char* s, int64_t len, int64_t i) {
  const unsigned char b = s[i];
  int follow = 0;
  if (in_range(b, 0xC2, 0xDF)) {
    follow = 1;
  } else if (in_range(b, 0xE0, 0xEF)) {
    follow = 2;
  } else if (in_range(b, 0xF0, 0xF4)) {
    follow = 3;
  }
  int64_t j = i + 1;
  while (follow-- > 0 && j < len && in_range(s[j], 0x80, 0xBF)) ++j;
  return j;
}

// ---- String lists ----

// Settles a text argument of the string lists: a negative length reads up to the zero, a null
// text stands for "" and is refused when it claims a length.
bool text_span(const char** s, int64_t* len) {
  if (!*s) {
    if (*len > 0) return false;
    *s = "";
    *len = 0;
  }
  if (*len < 0) *len = static_cast<int64_t>(std::strlen(*s));
  return true;
}

bool append_line(std::vector<std::string>& lines, const char* s, int64_t len) {
  try {
    lines.emplace_back(s, static_cast<size_t>(len));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

struct VKL_StringList {
  std::vector<std::string> items;
};

extern "C" {

int32_t VKL_StringLen(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  return vkl_is_string_tag(o->tag) ? text_length<char>(o) : 0;
}

int32_t VKL_WStringLen(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  return o->tag == VKL_TWSTRING ? text_length<vkl_wchar>(o) : 0;
}

int32_t VKL_GetMaxStrLen(void) {
  return kMaxStrLen;
}

// A `ch` outside the byte range (signed or unsigned) matches nothing.
int64_t VKL_strchex(const char* s, int64_t len, int ch) {
  if (!valid_text(s, len) || ch < -128 || ch > 255 || len == 0) return -1;
  const void* hit = std::memchr(s, ch & 0xFF, static_cast<size_t>(len));
  return hit ? static_cast<const char*>(hit) - s : -1;
}

int64_t VKL_wstrchex(const vkl_wchar* s, int64_t len, vkl_wchar ch) {
  if (!valid_text(s, len)) return -1;
  const size_t at = std::u16string_view(s, static_cast<size_t>(len)).find(ch);
  return at == std::u16string_view::npos ? -1 : static_cast<int64_t>(at);
}

int64_t VKL_strstrex(const char* s, int64_t len, const char* needle, int64_t nlen) {
  if (!valid_text(s, len) || !valid_text(needle, nlen)) return -1;
  if (nlen == 0) return 0;
  if (len == 0) return -1;
  const void* hit = memmem(s, static_cast<size_t>(len), needle, static_cast<size_t>(nlen));
  return hit ? static_cast<const char*>(hit) - s : -1;
}

// Scans for the needle's first unit with the library's find, then compares the rest.
int64_t VKL_wstrstrex(const vkl_wchar* s, int64_t len, const vkl_wchar* needle, int64_t nlen) {
  if (!valid_text(s, len) || !valid_text(needle, nlen)) return -1;
  if (nlen == 0) return 0;
  if (nlen > len) return -1;
  using Traits = std::char_traits<vkl_wchar>;
  const vkl_wchar* p = s;
  const vkl_wchar* const last = s + (len - nlen);
  while (p <= last) {
    p = Traits::find(p, static_cast<size_t>(last - p) + 1, needle[0]);
    if (!p) return -1;
    if (Traits::compare(p + 1, needle + 1, static_cast<size_t>(nlen - 1)) == 0) return p - s;
    ++p;
  }
  return -1;
}

int64_t VKL_NextCharIndex(const char* s, int64_t len, int64_t i) {
  if (!s || len <= 0) return len > 0 ? len : 0;
  if (i < 0) return 0;
  if (i >= len) return len;
  const auto* u = reinterpret_cast<const unsigned char*>(s);
  switch (VKL_GetCodePage()) {
    case 936:
    case 949:
    case 950:
      return next_double_byte(u, len, i, dbcs_lead);
    case 932:
      return next_double_byte(u, len, i, shift_jis_lead);
    case 54936:
      return next_gb18030(u, len, i);
    case 65001:
      return next_utf8(u, len, i);
    default:
      return i + 1;
  }
}

int64_t VKL_NextCharIndexW(const vkl_wchar* s, int64_t len, int64_t i) {
  if (!s || len <= 0) return len > 0 ? len : 0;
  if (i < 0) return 0;
  if (i >= len) return len;
  const bool high = s[i] >= 0xD800 && s[i] <= 0xDBFF;
  const bool low_follows = i + 1 < len && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF;
  return high && low_follows ? i + 2 : i + 1;
}

VKL_StringList* VKL_StringListCreate(void) {
  return new (std::nothrow) VKL_StringList();
}

// A negative length takes the text up to its zero; null text with a length is refused.
void VKL_StringListAdd(VKL_StringList* sl, const char* s, int64_t len) {
  if (!sl || !text_span(&s, &len)) return;
  append_line(sl->items, s, len);
}

// A line ends at CR LF, LF or CR; a text ending in a line end has no empty last line. The new
// lines are built aside so that running out of memory leaves the list as it was.
void VKL_StringListSetText(VKL_StringList* sl, const char* text, int64_t len) {
  if (!sl || !text_span(&text, &len)) return;
  std::vector<std::string> lines;
  int64_t start = 0;
  int64_t i = 0;
  while (i < len) {
    const char c = text[i];
    if (c != '\r' && c != '\n') {
      ++i;
      continue;
    }
    if (!append_line(lines, text + start, i - start)) return;
    i += (c == '\r' && i + 1 < len && text[i + 1] == '\n') ? 2 : 1;
    start = i;
  }
  if (start < len && !append_line(lines, text + start, len - start)) return;
  sl->items.swap(lines);
}

int64_t VKL_StringListCount(const VKL_StringList* sl) {
  return sl ? static_cast<int64_t>(sl->items.size()) : 0;
}

const char* VKL_StringListStrings(const VKL_StringList* sl, int64_t i, int64_t* len) {
  if (!sl || i < 0 || i >= static_cast<int64_t>(sl->items.size())) {
    if (len) *len = 0;
    return nullptr;
  }
  const std::string& item = sl->items[static_cast<size_t>(i)];
  if (len) *len = static_cast<int64_t>(item.size());
  return item.c_str();
}

void VKL_StringListFree(VKL_StringList* sl) {
  delete sl;
}

}  // extern "C"
