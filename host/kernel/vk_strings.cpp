// The kernel's string routines: case mapping, comparison, trimming, identifiers, quoting, line
// breaks and wrapping. Each narrow and wide pair shares one template over the character type.
#include <vkl/vk_strings.h>

#include <unicode/ustring.h>
#include <vkl/kernel.h>

#include <cctype>
#include <cwctype>
#include <string_view>

#include "internal.h"
#include "vk_text.h"

using vkl::TextBuffer;

namespace {

template <class C>
using View = std::basic_string_view<C>;

template <class C>
C ascii_upper(C c) {
  return c >= 'a' && c <= 'z' ? static_cast<C>(c - ('a' - 'A')) : c;
}
template <class C>
C ascii_lower(C c) {
  return c >= 'A' && c <= 'Z' ? static_cast<C>(c + ('a' - 'A')) : c;
}

// Units as the comparisons see them: bytes unsigned.
inline unsigned unit(char c) { return static_cast<unsigned char>(c); }
inline unsigned unit(vkl_wchar c) { return c; }

template <class C>
View<C> view(const C* s, int64_t len) {
  return s && len > 0 ? View<C>(s, static_cast<size_t>(len)) : View<C>();
}

template <class C>
C* give(View<C> s, int64_t* outLen) {
  TextBuffer<C> out;
  if (!out.append(s)) return nullptr;
  return out.release(outLen);
}

template <class C, class Map>
C* map_units(const C* s, int64_t len, int64_t* outLen, Map map) {
  TextBuffer<C> out;
  if (!out.resize(len)) return nullptr;
  C* p = out.data();
  for (int64_t i = 0; i < len; ++i) p[i] = map(s[i]);
  return out.release(outLen);
}

// ---- Unicode case mapping through ICU ----

using CaseMapper = int32_t (*)(UChar*, int32_t, const UChar*, int32_t, const char*, UErrorCode*);

vkl_wchar* map_unicode(const vkl_wchar* s, int64_t len, int64_t* outLen, CaseMapper mapper) {
  if (len < 0 || len >= VKL_GetMaxStrLen()) return nullptr;
  const auto* src = reinterpret_cast<const UChar*>(s);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t n = mapper(nullptr, 0, src, static_cast<int32_t>(len), "", &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return nullptr;
  TextBuffer<vkl_wchar> out;
  if (!out.resize(n)) return nullptr;
  status = U_ZERO_ERROR;
  mapper(reinterpret_cast<UChar*>(out.data()), n + 1, src, static_cast<int32_t>(len), "",
         &status);
  if (U_FAILURE(status)) return nullptr;
  return out.release(outLen);
}

// A narrow text mapped through its wide form in the host code page.
char* map_narrow_unicode(const char* s, int64_t len, int64_t* outLen, CaseMapper mapper) {
  const int64_t wlen = VKL_MultiByteToWide(0, s, len, nullptr, 0);
  if (wlen < 0) return nullptr;
  TextBuffer<vkl_wchar> wide;
  if (!wide.resize(wlen)) return nullptr;
  VKL_MultiByteToWide(0, s, len, wide.data(), wlen);
  int64_t mlen = 0;
  vkl_wchar* mapped = map_unicode(wide.data(), wlen, &mlen, mapper);
  if (!mapped) return nullptr;
  const int64_t nlen = VKL_WideToMultiByte(0, mapped, mlen, nullptr, 0);
  TextBuffer<char> out;
  if (nlen < 0 || !out.resize(nlen)) {
    VKL_Free(mapped);
    return nullptr;
  }
  VKL_WideToMultiByte(0, mapped, mlen, out.data(), nlen);
  VKL_Free(mapped);
  return out.release(outLen);
}

// ---- comparison ----

template <class C, class Fold>
int compare_units(View<C> a, View<C> b, Fold fold) {
  const size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; ++i) {
    const unsigned x = fold(unit(a[i]));
    const unsigned y = fold(unit(b[i]));
    if (x != y) return static_cast<int>(x) - static_cast<int>(y);
  }
  const int64_t diff = static_cast<int64_t>(a.size()) - static_cast<int64_t>(b.size());
  return diff < 0 ? (diff < INT32_MIN ? INT32_MIN : static_cast<int>(diff))
                  : (diff > INT32_MAX ? INT32_MAX : static_cast<int>(diff));
}

unsigned same(unsigned c) { return c; }
unsigned fold_upper(unsigned c) { return c >= 'a' && c <= 'z' ? c - ('a' - 'A') : c; }

int sign_of(int v) { return (v > 0) - (v < 0); }

// ---- trimming ----

inline bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
inline bool is_space(vkl_wchar c) { return std::iswspace(static_cast<wint_t>(c)) != 0; }

template <class C>
C* trim(const C* s, int64_t len, bool left, bool right, int64_t* outLen) {
  View<C> v = view(s, len);
  if (left)
    while (!v.empty() && is_space(v.front())) v.remove_prefix(1);
  if (right)
    while (!v.empty() && is_space(v.back())) v.remove_suffix(1);
  return give(v, outLen);
}

// ---- identifiers ----

template <class C>
bool is_ident_start(C c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
template <class C>
bool is_ident_char(C c) {
  return is_ident_start(c) || (c >= '0' && c <= '9');
}

template <class C>
int valid_ident(const C* s, int64_t len) {
  const View<C> v = view(s, len);
  if (v.empty() || !is_ident_start(v[0])) return 0;
  for (C c : v.substr(1))
    if (!is_ident_char(c)) return 0;
  return 1;
}

// ---- quoting ----

// Index of the unit after the character at i (double-byte characters of the host code page
// count as one in narrow texts).
inline int64_t next_char(View<char> s, int64_t i) {
  const int64_t next = VKL_NextCharIndex(s.data(), static_cast<int64_t>(s.size()), i);
  return next > i ? next : i + 1;
}
inline int64_t next_char(View<vkl_wchar>, int64_t i) { return i + 1; }

template <class C>
C* quoted(const C* s, int64_t len, C quote, int64_t* outLen) {
  const View<C> v = view(s, len);
  TextBuffer<C> out;
  if (!out.reserve(len + 2) || !out.push(quote)) return nullptr;
  const auto n = static_cast<int64_t>(v.size());
  for (int64_t i = 0; i < n;) {
    const int64_t next = next_char(v, i);
    if (!out.append(v.data() + i, next - i)) return nullptr;
    if (next == i + 1 && v[static_cast<size_t>(i)] == quote && !out.push(quote)) return nullptr;
    i = next;
  }
  if (!out.push(quote)) return nullptr;
  return out.release(outLen);
}

template <class C>
C* dequoted(const C* s, int64_t len, C quote, int64_t* outLen) {
  const View<C> v = view(s, len);
  if (v.empty() || v[0] != quote) return give(v, outLen);
  TextBuffer<C> out;
  const auto n = static_cast<int64_t>(v.size());
  int64_t i = 1;
  while (i < n) {
    const int64_t next = next_char(v, i);
    if (next == i + 1 && v[static_cast<size_t>(i)] == quote) {
      if (i + 1 < n && v[static_cast<size_t>(i + 1)] == quote) {
        if (!out.push(quote)) return nullptr;
        i += 2;
        continue;
      }
      ++i;
      break;
    }
    if (!out.append(v.data() + i, next - i)) return nullptr;
    i = next;
  }
  // Nothing follows the quoted part: a text that does not also end with the quote is no quoted
  // text and comes back as it was.
  const bool at_end = i >= n;
  if ((out.size() == 0 || at_end) && v.back() != quote) return give(v, outLen);
  return out.release(outLen);
}

// ---- line breaks ----

template <class C>
C* adjust_line_breaks(const C* s, int64_t len, int style, int64_t* outLen) {
  const View<C> v = view(s, len);
  TextBuffer<C> out;
  if (!out.reserve(len)) return nullptr;
  const C crlf[] = {'\r', '\n'};
  const auto n = v.size();
  for (size_t i = 0; i < n; ++i) {
    const C c = v[i];
    if (c != '\r' && c != '\n') {
      if (!out.push(c)) return nullptr;
      continue;
    }
    // A CR LF or LF CR pair is one break.
    if (i + 1 < n && (v[i + 1] == '\r' || v[i + 1] == '\n') && v[i + 1] != c) ++i;
    if (!(style == 1 ? out.append(crlf, 2) : out.push('\n'))) return nullptr;
  }
  return out.release(outLen);
}

// ---- wrapping ----

template <class C>
bool is_break_char(C c) {
  return c == ' ' || c == '-' || c == '\t';
}
template <class C>
bool is_quote_char(C c) {
  return c == '\'' || c == '"';
}

// Positions are 0-based; `line_start` starts the part not yet written, `break_at` the last
// place where the line may be broken (after it).
template <class C>
C* wrap_text(const C* s, int64_t len, int64_t max_col, int64_t* outLen) {
  const View<C> v = view(s, len);
  const auto n = static_cast<int64_t>(v.size());
  auto at = [&](int64_t i) { return v[static_cast<size_t>(i)]; };
  TextBuffer<C> out;
  if (!out.reserve(len)) return nullptr;
  int64_t col = 1;
  int64_t pos = 0;
  int64_t line_start = 0;
  int64_t break_at = -1;
  C quote = 0;
  bool existing_break = false;
  while (pos < n) {
    const C c = at(pos);
    const int64_t next = next_char(v, pos);
    if (next > pos + 1) {
      col += next - pos - 1;
      pos = next - 1;
    } else if (c == '\n') {
      if (quote == 0) {
        existing_break = true;
        break_at = pos;
      }
    } else if (is_break_char(c)) {
      if (quote == 0) break_at = pos;
    } else if (is_quote_char(c)) {
      if (c == quote) quote = 0;
      else if (quote == 0) quote = c;
    }
    ++pos;
    ++col;
    if (quote == 0 && (existing_break || (col > max_col && break_at > line_start))) {
      col = pos - break_at;
      if (!out.append(v.data() + line_start, break_at - line_start + 1)) return nullptr;
      if (!is_quote_char(c)) {
        // No break when only blanks (or a single character) would follow it.
        while (pos < n && (is_break_char(at(pos)) || at(pos) == '\n')) ++pos;
        if (!existing_break && pos + 1 < n && !out.push('\n')) return nullptr;
      }
      line_start = break_at + 1;
      break_at = line_start;
      pos = line_start;
      existing_break = false;
    }
  }
  if (!out.append(v.data() + line_start, n - line_start)) return nullptr;
  return out.release(outLen);
}

template <class C>
int set_owned(VKL_State* L, TObject* o, C* s, int64_t len, int owned, int tag) {
  if (!owned) {
    if constexpr (sizeof(C) == 1) {
      return VKL_SetStringEx(L, o, s, len);
    } else {
      return VKL_SetWStringEx(L, o, s, len);
    }
  }
  const size_t bytes = (static_cast<size_t>(len) + 1) * sizeof(C);
  // The buffer itself joins the state's count: no copy.
  void* counted =
      len >= 0 && len < VKL_GetMaxStrLen() && s ? vkl::payload_adopt(L, s, bytes) : nullptr;
  if (!counted) {
    VKL_Free(s);
    return 0;
  }
  TObject fresh;
  vkl_put_nil(&fresh);
  vkl_put_ptr(&fresh, tag, counted);
  vkl_put_len(&fresh, static_cast<int32_t>(len + 1));
  vkl_put_owned(&fresh, 1);
  vkl::replace_cell(L, o, &fresh);
  return 1;
}

}  // namespace

extern "C" {

int VKL_SetString2(VKL_State* L, TObject* o, char* s, int64_t len, int owned) {
  return set_owned(L, o, s, len, owned, VKL_TSTRING);
}
int VKL_SetWString2(VKL_State* L, TObject* o, vkl_wchar* s, int64_t len, int owned) {
  return set_owned(L, o, s, len, owned, VKL_TWSTRING);
}

char* VK_UpperCase(const char* s, int64_t len, int64_t* outLen) {
  return map_units(s, len, outLen, ascii_upper<char>);
}
vkl_wchar* VK_UpperCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return map_units(s, len, outLen, ascii_upper<vkl_wchar>);
}
char* VK_LowerCase(const char* s, int64_t len, int64_t* outLen) {
  return map_units(s, len, outLen, ascii_lower<char>);
}
vkl_wchar* VK_LowerCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return map_units(s, len, outLen, ascii_lower<vkl_wchar>);
}
char* VK_AnsiUpperCase(const char* s, int64_t len, int64_t* outLen) {
  return map_narrow_unicode(s, len, outLen, u_strToUpper);
}
vkl_wchar* VK_AnsiUpperCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return map_unicode(s, len, outLen, u_strToUpper);
}
char* VK_AnsiLowerCase(const char* s, int64_t len, int64_t* outLen) {
  return map_narrow_unicode(s, len, outLen, u_strToLower);
}
vkl_wchar* VK_AnsiLowerCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return map_unicode(s, len, outLen, u_strToLower);
}

int VK_CompareStr(const char* a, int64_t alen, const char* b, int64_t blen) {
  return compare_units(view(a, alen), view(b, blen), same);
}
int VK_CompareStrW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen) {
  return compare_units(view(a, alen), view(b, blen), same);
}
int VK_CompareText(const char* a, int64_t alen, const char* b, int64_t blen) {
  return compare_units(view(a, alen), view(b, blen), fold_upper);
}
int VK_CompareTextW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen) {
  return compare_units(view(a, alen), view(b, blen), fold_upper);
}
int VK_sametext(const char* a, int64_t alen, const char* b, int64_t blen) {
  return alen == blen && VK_CompareText(a, alen, b, blen) == 0;
}
int VK_wsametext(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen) {
  return alen == blen && VK_CompareTextW(a, alen, b, blen) == 0;
}
int VK_AnsiCompareStr(const char* a, int64_t alen, const char* b, int64_t blen) {
  return sign_of(VK_CompareStr(a, alen, b, blen));
}
int VK_AnsiCompareStrW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen) {
  return sign_of(VK_CompareStrW(a, alen, b, blen));
}

char* VK_Trim(const char* s, int64_t len, int64_t* outLen) {
  return trim(s, len, true, true, outLen);
}
vkl_wchar* VK_TrimW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return trim(s, len, true, true, outLen);
}
char* VK_TrimLeft(const char* s, int64_t len, int64_t* outLen) {
  return trim(s, len, true, false, outLen);
}
vkl_wchar* VK_TrimLeftW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return trim(s, len, true, false, outLen);
}
char* VK_TrimRight(const char* s, int64_t len, int64_t* outLen) {
  return trim(s, len, false, true, outLen);
}
vkl_wchar* VK_TrimRightW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return trim(s, len, false, true, outLen);
}

int VK_IsValidIdent(const char* s, int64_t len) { return valid_ident(s, len); }
int VK_IsValidIdentW(const vkl_wchar* s, int64_t len) { return valid_ident(s, len); }

char* VK_QuotedStr(const char* s, int64_t len, int64_t* outLen) {
  return quoted<char>(s, len, '\'', outLen);
}
vkl_wchar* VK_QuotedStrW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return quoted<vkl_wchar>(s, len, u'\'', outLen);
}
char* VK_AnsiQuotedStr(const char* s, int64_t len, char quote, int64_t* outLen) {
  return quoted(s, len, quote, outLen);
}
vkl_wchar* VK_AnsiQuotedStrW(const vkl_wchar* s, int64_t len, vkl_wchar quote, int64_t* outLen) {
  return quoted(s, len, quote, outLen);
}
char* VK_AnsiDequotedStr(const char* s, int64_t len, char quote, int64_t* outLen) {
  return dequoted(s, len, quote, outLen);
}
vkl_wchar* VK_AnsiDequotedStrW(const vkl_wchar* s, int64_t len, vkl_wchar quote,
                               int64_t* outLen) {
  return dequoted(s, len, quote, outLen);
}

char* VK_AdjustLineBreaks(const char* s, int64_t len, int style, int64_t* outLen) {
  return adjust_line_breaks(s, len, style, outLen);
}
vkl_wchar* VK_AdjustLineBreaksW(const vkl_wchar* s, int64_t len, int style, int64_t* outLen) {
  return adjust_line_breaks(s, len, style, outLen);
}

char* VK_WrapText(const char* s, int64_t len, int64_t maxCol, int64_t* outLen) {
  return wrap_text(s, len, maxCol, outLen);
}
vkl_wchar* VK_WrapTextW(const vkl_wchar* s, int64_t len, int64_t maxCol, int64_t* outLen) {
  return wrap_text(s, len, maxCol, outLen);
}

}  // extern "C"
