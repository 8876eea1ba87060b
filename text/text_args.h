// Reading the string arguments of coded functions and handing kernel-made texts to cells.
// A string argument is narrow (kinds 2, 6, or a binary's bytes) or wide (kind 24); routines
// with a string of either width follow its width, calling the kernel's narrow or W form.
#pragma once

#include <vkl/kernel.h>
#include <vkl/vk_strings.h>

#include <cstdint>
#include <new>
#include <string>
#include <string_view>

namespace vkl::text {

inline bool is_wide(const TObject* o) { return o->tag == VKL_TWSTRING; }
inline bool is_text(const TObject* o) {
  return vkl_is_string_tag(o->tag) || o->tag == VKL_TBINARY || is_wide(o);
}

// The bytes of a narrow string or binary ("" for other kinds).
inline std::string_view narrow_of(const TObject* o) {
  if (o->tag == VKL_TBINARY) return {VKL_AsString(o), static_cast<size_t>(vkl_len(o))};
  return {VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o))};
}

// The units of a wide string (u"" for other kinds).
inline std::u16string_view wide_of(const TObject* o) {
  return {VKL_AsWString(o), static_cast<size_t>(VKL_WStringLen(o))};
}

inline int64_t length_of(std::string_view s) { return static_cast<int64_t>(s.size()); }
inline int64_t length_of(std::u16string_view s) { return static_cast<int64_t>(s.size()); }

// A string of either width read as UTF-16: a wide one in place, a narrow one converted
// through the host code page. May throw std::bad_alloc.
class WideText {
 public:
  explicit WideText(const TObject* o) {
    if (is_wide(o)) {
      view_ = wide_of(o);
      return;
    }
    const std::string_view a = narrow_of(o);
    const int64_t n = VKL_MultiByteToWide(0, a.data(), length_of(a), nullptr, 0);
    if (n > 0) {
      owned_.resize(static_cast<size_t>(n));
      VKL_MultiByteToWide(0, a.data(), length_of(a), owned_.data(), n);
    }
    view_ = owned_;
  }
  const vkl_wchar* data() const { return view_.data(); }
  int64_t size() const { return length_of(view_); }

 private:
  std::u16string owned_;
  std::u16string_view view_;
};

// The answer of `body`, or 0 when memory runs out on the way.
template <class Body>
int unless_out_of_memory(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

inline int set_int(VKL_State* L, TObject* result, int64_t v) {
  VKL_SetIntAuto(L, result, v);
  return 1;
}

// Hands a kernel-made text (null: out of memory) to a cell; 1 when the cell holds it.
inline int take_text(VKL_State* L, TObject* o, char* s, int64_t len) {
  return s ? VKL_SetString2(L, o, s, len, 1) : 0;
}
inline int take_text(VKL_State* L, TObject* o, vkl_wchar* s, int64_t len) {
  return s ? VKL_SetWString2(L, o, s, len, 1) : 0;
}

// A text-to-text kernel operation of either width applied to the string `s`, the result in the
// width of `s`; `extra...` are passed after the text.
template <auto Narrow, auto Wide, class... Extra>
int map_text(VKL_State* L, const TObject* s, TObject* result, Extra... extra) {
  int64_t n = 0;
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    vkl_wchar* out = Wide(w.data(), length_of(w), extra..., &n);
    return take_text(L, result, out, n);
  }
  const std::string_view a = narrow_of(s);
  char* out = Narrow(a.data(), length_of(a), extra..., &n);
  return take_text(L, result, out, n);
}

// An operation on two texts: narrow when both are, else wide (the narrow one converted).
// `extra...` follow the texts.
template <auto Narrow, auto Wide, class... Extra>
auto on_two(const TObject* a, const TObject* b, Extra... extra) {
  if (!is_wide(a) && !is_wide(b)) {
    const std::string_view x = narrow_of(a), y = narrow_of(b);
    return Narrow(x.data(), length_of(x), y.data(), length_of(y), extra...);
  }
  const WideText x(a), y(b);
  return Wide(x.data(), x.size(), y.data(), y.size(), extra...);
}

// Two texts to a text: narrow when both are, else wide (the narrow one converted).
template <auto Narrow, auto Wide>
int map_two(VKL_State* L, const TObject* a, const TObject* b, TObject* result) {
  int64_t n = 0;
  if (!is_wide(a) && !is_wide(b)) {
    const std::string_view x = narrow_of(a), y = narrow_of(b);
    char* out = Narrow(x.data(), length_of(x), y.data(), length_of(y), &n);
    return take_text(L, result, out, n);
  }
  const WideText x(a), y(b);
  vkl_wchar* out = Wide(x.data(), x.size(), y.data(), y.size(), &n);
  return take_text(L, result, out, n);
}

}  // namespace vkl::text
