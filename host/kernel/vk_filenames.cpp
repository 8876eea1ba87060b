// File-name routines in three rule sets (this platform's, Windows', POSIX), narrow and wide,
// and the characters of multibyte texts. Narrow names are walked character by character, so a
// trail byte of a double-byte character never counts as a delimiter.
#include <vkl/kernel.h>
#include <vkl/vk_filenames.h>

#include <cwctype>
#include <string_view>

#include "vk_text.h"

using vkl::TextBuffer;

namespace {

template <class C>
using View = std::basic_string_view<C>;

template <class C>
View<C> view(const C* s, int64_t len) {
  return s && len > 0 ? View<C>(s, static_cast<size_t>(len)) : View<C>();
}

template <class C>
C* give(View<C> a, View<C> b, int64_t* outLen) {
  TextBuffer<C> out;
  if (!out.append(a) || !out.append(b)) return nullptr;
  return out.release(outLen);
}
template <class C>
C* give(View<C> a, int64_t* outLen) {
  return give(a, View<C>(), outLen);
}

// Index of the character after the one at i.
inline size_t next_char(View<char> s, size_t i) {
  const int64_t next =
      VKL_NextCharIndex(s.data(), static_cast<int64_t>(s.size()), static_cast<int64_t>(i));
  return next > static_cast<int64_t>(i) ? static_cast<size_t>(next) : i + 1;
}
inline size_t next_char(View<vkl_wchar> s, size_t i) {
  const int64_t next =
      VKL_NextCharIndexW(s.data(), static_cast<int64_t>(s.size()), static_cast<int64_t>(i));
  return next > static_cast<int64_t>(i) ? static_cast<size_t>(next) : i + 1;
}

template <class C>
bool contains(View<C> set, C c) {
  return set.find(c) != View<C>::npos;
}

// Index of the last single-unit character of s found in `delims`, or npos.
template <class C>
size_t last_delimiter(View<C> delims, View<C> s) {
  size_t found = View<C>::npos;
  for (size_t i = 0; i < s.size();) {
    const size_t next = next_char(s, i);
    if (next == i + 1 && s[i] != 0 && contains(delims, s[i])) found = i;
    i = next;
  }
  return found;
}

// 0 single, 1 lead, 2 trail: the kind of unit i (0-based, inside s).
template <class C>
int unit_kind(View<C> s, size_t i) {
  size_t at = 0;
  while (at < s.size()) {
    const size_t next = next_char(s, at);
    if (i < next) return i == at ? (next > at + 1 ? 1 : 0) : 2;
    at = next;
  }
  return 0;
}

// The rule sets: path delimiters, and those with the drive delimiter.
struct Rules {
  bool win;
};
constexpr Rules kPosix{false};
constexpr Rules kWin{true};
constexpr Rules kPlain = kPosix;

template <class C>
struct Delims {
  C path;
  C set[2];      // path delimiter and drive delimiter (win)
  C with_dot[3]; // the same and '.'
  size_t n;

  explicit constexpr Delims(Rules r)
      : path(r.win ? '\\' : '/'),
        set{path, ':'},
        with_dot{'.', path, ':'},
        n(r.win ? 2 : 1) {}
  View<C> all() const { return View<C>(set, n); }
  View<C> all_and_dot() const { return View<C>(with_dot, n + 1); }
};

template <class C>
View<C> file_path(View<C> s, Rules r) {
  const size_t i = last_delimiter(Delims<C>(r).all(), s);
  return i == View<C>::npos ? View<C>() : s.substr(0, i + 1);
}

template <class C>
bool is_delimiter_at(View<C> delims, View<C> s, size_t i) {
  return i < s.size() && unit_kind(s, i) == 0 && s[i] != 0 && contains(delims, s[i]);
}

template <class C>
View<C> file_dir(View<C> s, Rules r) {
  const Delims<C> d(r);
  const size_t i = last_delimiter(d.all(), s);
  if (i == View<C>::npos) return View<C>();
  if (i > 0 && s[i] == d.path && !is_delimiter_at(d.all(), s, i - 1)) return s.substr(0, i);
  return s.substr(0, i + 1);
}

template <class C>
View<C> file_drive(View<C> s, Rules r) {
  if (!r.win) return View<C>();
  if (s.size() >= 2 && s[1] == ':') return s.substr(0, 2);
  if (s.size() >= 2 && s[0] == '\\' && s[1] == '\\') {
    // \\server\share: up to the delimiter after the share name
    size_t i = 2;
    int seen = 0;
    while (i < s.size()) {
      if (s[i] == '\\' && ++seen == 2) break;
      i = next_char(s, i);
    }
    return s.substr(0, i);
  }
  return View<C>();
}

template <class C>
View<C> file_name(View<C> s, Rules r) {
  const size_t i = last_delimiter(Delims<C>(r).all(), s);
  return i == View<C>::npos ? s : s.substr(i + 1);
}

template <class C>
View<C> file_ext(View<C> s, Rules r) {
  const size_t i = last_delimiter(Delims<C>(r).all_and_dot(), s);
  return i != View<C>::npos && s[i] == '.' ? s.substr(i) : View<C>();
}

template <class C>
C* change_ext(View<C> s, View<C> ext, Rules r, int64_t* outLen) {
  const size_t i = last_delimiter(Delims<C>(r).all_and_dot(), s);
  const View<C> stem = i != View<C>::npos && s[i] == '.' ? s.substr(0, i) : s;
  return give(stem, ext, outLen);
}

inline unsigned folded(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u >= 'a' && u <= 'z' ? u - ('a' - 'A') : u;
}
inline unsigned folded(vkl_wchar c) { return static_cast<unsigned>(std::towupper(c)); }

// Windows names compare without case, the others exactly.
template <class C>
bool same_name(View<C> a, View<C> b, Rules r) {
  if (!r.win) return a == b;
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (folded(a[i]) != folded(b[i])) return false;
  return true;
}

// The parts of a directory path between its delimiters, read one at a time; a path ending in
// a delimiter has an empty last part.
template <class C>
class PathParts {
 public:
  PathParts(View<C> path, C delim) : path_(path), delim_(delim), at_(path.empty() ? npos : 0) {}
  bool more() const { return at_ != npos; }
  View<C> rest() const { return more() ? path_.substr(at_) : View<C>(); }
  // The next part; false when none is left.
  bool next(View<C>* part) {
    if (!more()) return false;
    size_t end = at_;
    while (end < path_.size() && path_[end] != delim_) end = next_char(path_, end);
    *part = path_.substr(at_, end - at_);
    at_ = end < path_.size() ? end + 1 : npos;
    return true;
  }

 private:
  static constexpr size_t npos = View<C>::npos;
  View<C> path_;
  C delim_;
  size_t at_;
};

template <class C>
C* relative_path(View<C> base, View<C> dest, Rules r, int64_t* outLen) {
  const View<C> base_drive = file_drive(base, r);
  const View<C> dest_drive = file_drive(dest, r);
  if (!same_name(base_drive, dest_drive, r)) return give(dest, outLen);
  const C delim = Delims<C>(r).path;
  PathParts<C> b(file_path(base, r).substr(base_drive.size()), delim);
  PathParts<C> d(file_path(dest, r).substr(dest_drive.size()), delim);
  View<C> bp, dp;
  bool have_b = b.next(&bp);
  bool have_d = d.next(&dp);
  while (have_b && have_d && same_name(bp, dp, r)) {
    have_b = b.next(&bp);
    have_d = d.next(&dp);
  }
  TextBuffer<C> out;
  const C up[] = {'.', '.', delim};
  for (View<C> skipped; b.more(); b.next(&skipped))
    if (!out.append(up, 3)) return nullptr;
  if (have_d && !dp.empty() && (!out.append(dp) || !out.push(delim))) return nullptr;
  if (!out.append(d.rest()) || !out.append(file_name(dest, r))) return nullptr;
  return out.release(outLen);
}

template <class C>
bool ends_with_delimiter(View<C> s) {
  return !s.empty() && is_delimiter_at(View<C>(Delims<C>(kPlain).set, 1), s, s.size() - 1);
}

// ---- characters ----

template <class C>
int64_t chars_before(View<C> s, size_t limit) {
  int64_t chars = 0;
  for (size_t i = 0; i < s.size() && i < limit; i = next_char(s, i)) ++chars;
  return chars;
}

// The first unit of character `index` (1-based), or npos.
template <class C>
size_t char_start(View<C> s, int64_t index) {
  size_t i = 0;
  for (int64_t k = 1; i < s.size(); i = next_char(s, i), ++k)
    if (k == index) return i;
  return View<C>::npos;
}

template <class C>
bool in_text(View<C> s, int64_t index) {
  return index >= 1 && index <= static_cast<int64_t>(s.size());
}

template <class C>
int64_t char_to_byte_len(View<C> s, int64_t max_len) {
  if (max_len <= 0) return 0;
  const size_t start = char_start(s, max_len);
  if (start == View<C>::npos) return static_cast<int64_t>(s.size());
  return static_cast<int64_t>(next_char(s, start));
}

template <class C>
int64_t char_length(View<C> s, int64_t index) {
  if (!in_text(s, index)) return 0;
  const auto i = static_cast<size_t>(index - 1);
  return unit_kind(s, i) == 1 ? static_cast<int64_t>(next_char(s, i) - i) : 1;
}

template <class C>
int64_t next_char_index(View<C> s, int64_t index) {
  return in_text(s, index) ? index + char_length(s, index) : 0;
}

// ---- UTF-8 ----

// Narrow in one code page to wide.
vkl_wchar* widen(int cp, const char* s, int64_t len, int64_t* outLen) {
  const int64_t n = VKL_MultiByteToWide(cp, s, len, nullptr, 0);
  TextBuffer<vkl_wchar> out;
  if (n < 0 || !out.resize(n)) return nullptr;
  VKL_MultiByteToWide(cp, s, len, out.data(), n);
  return out.release(outLen);
}
char* narrow(int cp, const vkl_wchar* s, int64_t len, int64_t* outLen) {
  const int64_t n = VKL_WideToMultiByte(cp, s, len, nullptr, 0);
  TextBuffer<char> out;
  if (n < 0 || !out.resize(n)) return nullptr;
  VKL_WideToMultiByte(cp, s, len, out.data(), n);
  return out.release(outLen);
}
char* recode(int to_cp, int from_cp, const char* s, int64_t len, int64_t* outLen) {
  int64_t wlen = 0;
  vkl_wchar* wide = widen(from_cp, s, len, &wlen);
  if (!wide) return nullptr;
  char* out = narrow(to_cp, wide, wlen, outLen);
  VKL_Free(wide);
  return out;
}

constexpr int kHostCodePage = 0;
constexpr int kUtf8 = 65001;

}  // namespace

#define VK_FILENAME_DEFINE(Name, op)                                                       \
  char* VK_##Name(const char* s, int64_t len, int64_t* outLen) {                           \
    return give(op(view(s, len), kPlain), outLen);                                         \
  }                                                                                        \
  vkl_wchar* VK_##Name##W(const vkl_wchar* s, int64_t len, int64_t* outLen) {              \
    return give(op(view(s, len), kPlain), outLen);                                         \
  }                                                                                        \
  char* VK_##Name##Win(const char* s, int64_t len, int64_t* outLen) {                      \
    return give(op(view(s, len), kWin), outLen);                                           \
  }                                                                                        \
  vkl_wchar* VK_##Name##WinW(const vkl_wchar* s, int64_t len, int64_t* outLen) {           \
    return give(op(view(s, len), kWin), outLen);                                           \
  }                                                                                        \
  char* VK_##Name##Posix(const char* s, int64_t len, int64_t* outLen) {                    \
    return give(op(view(s, len), kPosix), outLen);                                         \
  }                                                                                        \
  vkl_wchar* VK_##Name##PosixW(const vkl_wchar* s, int64_t len, int64_t* outLen) {         \
    return give(op(view(s, len), kPosix), outLen);                                         \
  }

#define VK_FILENAME_DEFINE2(Name, op)                                                       \
  char* VK_##Name(const char* a, int64_t alen, const char* b, int64_t blen, int64_t* outLen) { \
    return op(view(a, alen), view(b, blen), kPlain, outLen);                                \
  }                                                                                         \
  vkl_wchar* VK_##Name##W(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen, \
                          int64_t* outLen) {                                                \
    return op(view(a, alen), view(b, blen), kPlain, outLen);                                \
  }                                                                                         \
  char* VK_##Name##Win(const char* a, int64_t alen, const char* b, int64_t blen,            \
                       int64_t* outLen) {                                                   \
    return op(view(a, alen), view(b, blen), kWin, outLen);                                  \
  }                                                                                         \
  vkl_wchar* VK_##Name##WinW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,          \
                             int64_t blen, int64_t* outLen) {                               \
    return op(view(a, alen), view(b, blen), kWin, outLen);                                  \
  }                                                                                         \
  char* VK_##Name##Posix(const char* a, int64_t alen, const char* b, int64_t blen,          \
                         int64_t* outLen) {                                                 \
    return op(view(a, alen), view(b, blen), kPosix, outLen);                                \
  }                                                                                         \
  vkl_wchar* VK_##Name##PosixW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,        \
                               int64_t blen, int64_t* outLen) {                             \
    return op(view(a, alen), view(b, blen), kPosix, outLen);                                \
  }

extern "C" {

VK_FILENAME_DEFINE(ExtractFilePath, file_path)
VK_FILENAME_DEFINE(ExtractFileDir, file_dir)
VK_FILENAME_DEFINE(ExtractFileDrive, file_drive)
VK_FILENAME_DEFINE(ExtractFileName, file_name)
VK_FILENAME_DEFINE(ExtractFileExt, file_ext)
VK_FILENAME_DEFINE2(ChangeFileExt, change_ext)
VK_FILENAME_DEFINE2(ExtractRelativePath, relative_path)

char* VK_IncludeTrailingPathDelimiter(const char* s, int64_t len, int64_t* outLen) {
  const View<char> v = view(s, len);
  return give(v, ends_with_delimiter(v) ? View<char>() : View<char>("/", 1), outLen);
}
vkl_wchar* VK_IncludeTrailingPathDelimiterW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  const View<vkl_wchar> v = view(s, len);
  return give(v, ends_with_delimiter(v) ? View<vkl_wchar>() : View<vkl_wchar>(u"/", 1), outLen);
}
char* VK_ExcludeTrailingPathDelimiter(const char* s, int64_t len, int64_t* outLen) {
  const View<char> v = view(s, len);
  return give(ends_with_delimiter(v) ? v.substr(0, v.size() - 1) : v, outLen);
}
vkl_wchar* VK_ExcludeTrailingPathDelimiterW(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  const View<vkl_wchar> v = view(s, len);
  return give(ends_with_delimiter(v) ? v.substr(0, v.size() - 1) : v, outLen);
}

int VK_IsPathDelimiter(const char* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) &&
         is_delimiter_at(View<char>("/", 1), view(s, len), static_cast<size_t>(index - 1));
}
int VK_IsPathDelimiterW(const vkl_wchar* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) &&
         is_delimiter_at(View<vkl_wchar>(u"/", 1), view(s, len), static_cast<size_t>(index - 1));
}
int VK_IsDelimiter(const char* delims, int64_t dlen, const char* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) &&
         is_delimiter_at(view(delims, dlen), view(s, len), static_cast<size_t>(index - 1));
}
int VK_IsDelimiterW(const vkl_wchar* delims, int64_t dlen, const vkl_wchar* s, int64_t len,
                    int64_t index) {
  return in_text(view(s, len), index) &&
         is_delimiter_at(view(delims, dlen), view(s, len), static_cast<size_t>(index - 1));
}
int64_t VK_LastDelimiter(const char* delims, int64_t dlen, const char* s, int64_t len) {
  const size_t i = last_delimiter(view(delims, dlen), view(s, len));
  return i == View<char>::npos ? 0 : static_cast<int64_t>(i) + 1;
}
int64_t VK_LastDelimiterW(const vkl_wchar* delims, int64_t dlen, const vkl_wchar* s,
                          int64_t len) {
  const size_t i = last_delimiter(view(delims, dlen), view(s, len));
  return i == View<vkl_wchar>::npos ? 0 : static_cast<int64_t>(i) + 1;
}

int VK_ByteType(const char* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) ? unit_kind(view(s, len), static_cast<size_t>(index - 1))
                                      : 0;
}
int VK_ByteTypeW(const vkl_wchar* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) ? unit_kind(view(s, len), static_cast<size_t>(index - 1))
                                      : 0;
}
int64_t VK_ByteToCharLen(const char* s, int64_t len, int64_t maxLen) {
  return maxLen <= 0 ? 0 : chars_before(view(s, len), static_cast<size_t>(maxLen));
}
int64_t VK_ByteToCharLenW(const vkl_wchar* s, int64_t len, int64_t maxLen) {
  return maxLen <= 0 ? 0 : chars_before(view(s, len), static_cast<size_t>(maxLen));
}
int64_t VK_CharToByteLen(const char* s, int64_t len, int64_t maxLen) {
  return char_to_byte_len(view(s, len), maxLen);
}
int64_t VK_CharToByteLenW(const vkl_wchar* s, int64_t len, int64_t maxLen) {
  return char_to_byte_len(view(s, len), maxLen);
}
int64_t VK_ByteToCharIndex(const char* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) ? chars_before(view(s, len), static_cast<size_t>(index))
                                      : 0;
}
int64_t VK_ByteToCharIndexW(const vkl_wchar* s, int64_t len, int64_t index) {
  return in_text(view(s, len), index) ? chars_before(view(s, len), static_cast<size_t>(index))
                                      : 0;
}
int64_t VK_CharToByteIndex(const char* s, int64_t len, int64_t index) {
  const size_t i = index >= 1 ? char_start(view(s, len), index) : View<char>::npos;
  return i == View<char>::npos ? 0 : static_cast<int64_t>(i) + 1;
}
int64_t VK_CharToByteIndexW(const vkl_wchar* s, int64_t len, int64_t index) {
  const size_t i = index >= 1 ? char_start(view(s, len), index) : View<vkl_wchar>::npos;
  return i == View<vkl_wchar>::npos ? 0 : static_cast<int64_t>(i) + 1;
}
int64_t VK_CharLength(const char* s, int64_t len, int64_t index) {
  return char_length(view(s, len), index);
}
int64_t VK_CharLengthW(const vkl_wchar* s, int64_t len, int64_t index) {
  return char_length(view(s, len), index);
}
int64_t VK_NextCharIndex(const char* s, int64_t len, int64_t index) {
  return next_char_index(view(s, len), index);
}
int64_t VK_NextCharIndexW(const vkl_wchar* s, int64_t len, int64_t index) {
  return next_char_index(view(s, len), index);
}

char* VK_AnsiToUtf8(const char* s, int64_t len, int64_t* outLen) {
  return recode(kUtf8, kHostCodePage, s, len, outLen);
}
char* VK_utf8toansi(const char* s, int64_t len, int64_t* outLen) {
  return recode(kHostCodePage, kUtf8, s, len, outLen);
}
vkl_wchar* VK_utf8tounicode(const char* s, int64_t len, int64_t* outLen) {
  return widen(kUtf8, s, len, outLen);
}
char* VK_unicodetoutf8(const vkl_wchar* s, int64_t len, int64_t* outLen) {
  return narrow(kUtf8, s, len, outLen);
}

}  // extern "C"
