// The kernel's string routines: case mapping, comparison, trimming, identifiers, quoting,
// line breaks. Each has a narrow and a wide form sharing one template over the character type.
#include <vkl/vk_strings.h>

#include <vkl/kernel.h>

#include <cstring>

#include "internal.h"
#include "vk_text.h"

using vkl::TextBuffer;

namespace {

template <class C>
C ascii_upper(C c) {
  return c >= 'a' && c <= 'z' ? static_cast<C>(c - ('a' - 'A')) : c;
}
template <class C>
C ascii_lower(C c) {
  return c >= 'A' && c <= 'Z' ? static_cast<C>(c + ('a' - 'A')) : c;
}

template <class C, class Map>
C* map_units(const C* s, int64_t len, int64_t* outLen, Map map) {
  TextBuffer<C> out;
  if (!out.resize(len)) return nullptr;
  C* p = out.data();
  for (int64_t i = 0; i < len; ++i) p[i] = map(s[i]);
  return out.release(outLen);
}

template <class C>
int set_owned(VKL_State* L, TObject* o, C* s, int64_t len, int owned, int tag) {
  if (!owned) {
    if constexpr (sizeof(C) == 1) return VKL_SetStringEx(L, o, s, len);
    else return VKL_SetWStringEx(L, o, s, len);
  }
  const size_t bytes = (static_cast<size_t>(len) + 1) * sizeof(C);
  // The buffer joins the state's count: a resize to its own size accounts for it.
  void* counted = len >= 0 && len < VKL_GetMaxStrLen() && s
                      ? vkl::payload_realloc(L, s, 0, bytes)
                      : nullptr;
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

}  // extern "C"
