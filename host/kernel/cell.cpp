// Cells: kind checks, conversions to C values, setters, boxes (objects, functions, references,
// deferred values) and releasing what a cell holds.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <new>

#include "internal.h"

namespace {

constexpr int32_t kMaxStrLen = 0x7FFFFFFE;

const VKL_BoxType reference_type = {"reference", nullptr, nullptr};

// A number parsed from text: kind 0 (none), 1 (integer in *i) or 2 (real in *d). Leading and
// trailing white space is allowed; anything else makes it no number.
int parse_number(const char* s, int64_t* i, double* d) {
  while (*s == ' ' || *s == '\t' || *s == '\r' || *s == '\n') ++s;
  if (!*s) return 0;
  auto only_space_after = [](const char* end) {
    while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n') ++end;
    return *end == 0;
  };
  char* end = nullptr;
  errno = 0;
  const long long iv = std::strtoll(s, &end, 10);
  if (end != s && errno == 0 && only_space_after(end)) {
    *i = iv;
    return 1;
  }
  const double dv = std::strtod(s, &end);
  if (end != s && only_space_after(end)) {
    *d = dv;
    return 2;
  }
  return 0;
}

// The text of a string cell up to the limits a parser needs: ASCII digits of a wide string are
// narrowed into `buf`.
int parse_cell_number(const TObject* o, int64_t* i, double* d) {
  if (vkl_is_string_tag(o->tag)) return parse_number(VKL_AsString(o), i, d);
  if (o->tag == VKL_TWSTRING) {
    char buf[128];
    const vkl_wchar* w = VKL_AsWString(o);
    size_t n = 0;
    for (; w[n] && n + 1 < sizeof buf; ++n) {
      if (w[n] > 0x7F) return 0;
      buf[n] = static_cast<char>(w[n]);
    }
    if (w[n]) return 0;
    buf[n] = 0;
    return parse_number(buf, i, d);
  }
  return 0;
}

bool fm_element_is_real(const TObject* o) {
  return VKL_FMGetType(static_cast<const VKL_FixedMatrix*>(vkl_ptr(o))) == VKL_FM_DOUBLE;
}

void box_destroy(VKL_State* L, void* p) {
  auto* box = static_cast<VKL_Box*>(p);
  if (box->type && box->type->release) box->type->release(L, box->data);
  delete box;
}

void box_release(VKL_State* L, VKL_Box* box) {
  if (box && --box->refcount == 0) vkl::destroy_later(L, box_destroy, box);
}

// Puts a fresh wide-string payload of `len` units (copied from s, or zero) into `o`, which is
// overwritten without being released.
bool put_wstring(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t len) {
  const size_t bytes = static_cast<size_t>(len + 1) * sizeof(vkl_wchar);
  auto* p = static_cast<vkl_wchar*>(vkl::payload_alloc(L, bytes));
  if (!p) return false;
  if (s) {
    memcpy(p, s, static_cast<size_t>(len) * sizeof(vkl_wchar));
  } else {
    memset(p, 0, static_cast<size_t>(len) * sizeof(vkl_wchar));
  }
  p[len] = 0;
  vkl_put_nil(o);
  vkl_put_ptr(o, VKL_TWSTRING, p);
  vkl_put_len(o, static_cast<int32_t>(len + 1));
  vkl_put_owned(o, 1);
  return true;
}

bool put_binary(VKL_State* L, TObject* o, const void* data, int64_t len) {
  auto* p = static_cast<uint8_t*>(vkl::payload_alloc(L, static_cast<size_t>(len) + 1));
  if (!p) return false;
  if (data) {
    memcpy(p, data, static_cast<size_t>(len));
  } else {
    memset(p, 0, static_cast<size_t>(len));
  }
  p[len] = 0;
  vkl_put_nil(o);
  vkl_put_ptr(o, VKL_TBINARY, p);
  vkl_put_len(o, static_cast<int32_t>(len));
  vkl_put_owned(o, 1);
  return true;
}

bool valid_len(int64_t len) { return len >= 0 && len <= kMaxStrLen; }

}  // namespace

namespace vkl {

size_t payload_bytes(const TObject* o) {
  if (!vkl_owned(o) || !vkl_ptr(o)) return 0;
  const int64_t len = vkl_len(o);
  switch (o->tag) {
    case VKL_TSTRING:
    case VKL_TSTRING2:
      return static_cast<size_t>(len);
    case VKL_TWSTRING:
      return static_cast<size_t>(len) * sizeof(vkl_wchar);
    case VKL_TBINARY:
      return static_cast<size_t>(len) + 1;
    default:
      return 0;
  }
}

bool put_string(VKL_State* L, TObject* o, const char* s, int64_t len, int tag) {
  if (!valid_len(len)) return false;
  auto* p = static_cast<char*>(payload_alloc(L, static_cast<size_t>(len) + 1));
  if (!p) return false;
  if (s) {
    memcpy(p, s, static_cast<size_t>(len));
  } else {
    memset(p, 0, static_cast<size_t>(len));
  }
  p[len] = 0;
  vkl_put_nil(o);
  vkl_put_ptr(o, tag, p);
  vkl_put_len(o, static_cast<int32_t>(len + 1));
  vkl_put_owned(o, 1);
  return true;
}

void release(VKL_State* L, TObject* o) {
  void* p = vkl_ptr(o);
  switch (o->tag) {
    case VKL_TSTRING:
    case VKL_TSTRING2:
    case VKL_TWSTRING:
    case VKL_TBINARY:
      if (vkl_owned(o)) payload_free(L, p, payload_bytes(o));
      break;
    case VKL_TTABLE:
      if (p) table_release(L, static_cast<VKL_Table*>(p));
      break;
    case VKL_TMATRIX:
      if (p) matrix_release(L, static_cast<VKL_Matrix*>(p));
      break;
    case VKL_TFIXEDMATRIX:
    case VKL_TFMELEMENT:
      if (p) fm_release(L, static_cast<VKL_FixedMatrix*>(p));
      break;
    default:
      if (vkl_is_box_tag(o->tag)) box_release(L, static_cast<VKL_Box*>(p));
      break;
  }
  vkl_put_nil(o);
}

void replace_cell(VKL_State* L, TObject* dst, TObject* fresh) {
  release(L, dst);
  move_cell(dst, fresh);
}

void move_cell(TObject* dst, TObject* src) {
  if (dst == src) return;
  memcpy(dst, src, sizeof(TObject));
  vkl_put_nil(src);
}

void retain_box(TObject* o) { ++static_cast<VKL_Box*>(vkl_ptr(o))->refcount; }

}  // namespace vkl

extern "C" {

// ---- kind checks ----

int VKL_NumberCheck(const TObject* o) { return o && vkl_is_number_tag(vkl_follow(o)->tag); }

int VKL_DoubleCheck(const TObject* o) {
  if (!o) return 0;
  const int tag = vkl_follow(o)->tag;
  return vkl_is_number_tag(tag) || tag == VKL_TFMELEMENT;
}

int VKL_StringCheck(const TObject* o) { return o && vkl_is_string_tag(vkl_follow(o)->tag); }

int VKL_WStringCheck(const TObject* o) { return o && vkl_follow(o)->tag == VKL_TWSTRING; }

int VKL_StringCheckAll(const TObject* o) {
  if (!o) return 0;
  const int tag = vkl_follow(o)->tag;
  return vkl_is_string_tag(tag) || tag == VKL_TWSTRING;
}

int VKL_HashCheck(const TObject* o) { return o && vkl_follow(o)->tag == VKL_TTABLE; }

// ---- conversions ----

int64_t VKL_AsInt64(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  switch (o->tag) {
    case VKL_TINT:
      return vkl_int(o);
    case VKL_TREAL:
      return vkl::real_to_int64(vkl_real(o));
    case VKL_TINT64:
      return vkl_int64(o);
    case VKL_TFMELEMENT: {
      const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(o));
      return VKL_FMGetInt64(fm, vkl_elem_offset(o));
    }
    default: {
      int64_t i = 0;
      double d = 0;
      switch (parse_cell_number(o, &i, &d)) {
        case 1:
          return i;
        case 2:
          return vkl::real_to_int64(d);
        default:
          return 0;
      }
    }
  }
}

int32_t VKL_AsInt(const TObject* o) { return vkl::saturate_int32(VKL_AsInt64(o)); }

intptr_t VKL_AsIntPtr(const TObject* o) { return static_cast<intptr_t>(VKL_AsInt64(o)); }

double VKL_AsDouble(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  switch (o->tag) {
    case VKL_TINT:
      return vkl_int(o);
    case VKL_TREAL:
      return vkl_real(o);
    case VKL_TINT64:
      return static_cast<double>(vkl_int64(o));
    case VKL_TFMELEMENT: {
      const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(o));
      return VKL_FMGetDouble(fm, vkl_elem_offset(o));
    }
    default: {
      int64_t i = 0;
      double d = 0;
      switch (parse_cell_number(o, &i, &d)) {
        case 1:
          return static_cast<double>(i);
        case 2:
          return d;
        default:
          return 0;
      }
    }
  }
}

int VKL_AsBool(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  switch (o->tag) {
    case VKL_TINT:
      return vkl_int(o) != 0;
    case VKL_TREAL:
      return vkl_real(o) != 0;
    case VKL_TINT64:
      return vkl_int64(o) != 0;
    case VKL_TFMELEMENT:
      return fm_element_is_real(o) ? VKL_AsDouble(o) != 0 : VKL_AsInt64(o) != 0;
    case VKL_TSTRING:
    case VKL_TSTRING2:
      return VKL_StringLen(o) > 0;
    case VKL_TWSTRING:
      return VKL_WStringLen(o) > 0;
    case VKL_TBINARY:
      return vkl_len(o) > 0;
    case VKL_TNIL:
    case VKL_TNONE:
      return 0;
    default:
      return 1;
  }
}

const char* VKL_AsString(const TObject* o) {
  if (!o) return "";
  o = vkl_follow(o);
  if (!vkl_is_string_tag(o->tag) && o->tag != VKL_TBINARY) return "";
  const char* p = static_cast<const char*>(vkl_ptr(o));
  return p ? p : "";
}

const vkl_wchar* VKL_AsWString(const TObject* o) {
  if (!o) return u"";
  o = vkl_follow(o);
  if (o->tag != VKL_TWSTRING) return u"";
  const auto* p = static_cast<const vkl_wchar*>(vkl_ptr(o));
  return p ? p : u"";
}

// ---- setters ----

void VKL_SetInt(VKL_State* L, TObject* o, int32_t v) {
  vkl::release(L, o);
  vkl_put_int(o, v);
}

void VKL_SetInt64(VKL_State* L, TObject* o, int64_t v) {
  vkl::release(L, o);
  vkl_put_int64(o, v);
}

void VKL_SetIntPtr(VKL_State* L, TObject* o, intptr_t v) {
  VKL_SetInt64(L, o, static_cast<int64_t>(v));
}

void VKL_SetIntAuto(VKL_State* L, TObject* o, int64_t v) {
  if (v >= INT32_MIN && v <= INT32_MAX) {
    VKL_SetInt(L, o, static_cast<int32_t>(v));
  } else {
    VKL_SetInt64(L, o, v);
  }
}

void VKL_SetReal(VKL_State* L, TObject* o, double v) {
  vkl::release(L, o);
  vkl_put_real(o, v);
}

void VKL_SetNil(VKL_State* L, TObject* o) { vkl::release(L, o); }

void VKL_SetNone(VKL_State* L, TObject* o, int32_t code) {
  vkl::release(L, o);
  vkl_put_none(o, code);
}

int VKL_SetString(VKL_State* L, TObject* o, const char* s) {
  return VKL_SetStringEx(L, o, s, s ? static_cast<int64_t>(strlen(s)) : 0);
}

int VKL_SetStringEx(VKL_State* L, TObject* o, const char* s, int64_t len) {
  TObject fresh;
  if (!vkl::put_string(L, &fresh, s, len)) return 0;
  vkl::replace_cell(L, o, &fresh);
  return 1;
}

void VKL_SetConstString(VKL_State* L, TObject* o, const char* s) {
  if (!s) s = "";
  const size_t n = strlen(s);
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TSTRING, s);
  vkl_put_len(o, n < static_cast<size_t>(kMaxStrLen) ? static_cast<int32_t>(n + 1) : 0);
  vkl_put_owned(o, 0);
}

int VKL_SetWString(VKL_State* L, TObject* o, const vkl_wchar* s) {
  int64_t n = 0;
  if (s) {
    while (s[n]) ++n;
  }
  return VKL_SetWStringEx(L, o, s, n);
}

int VKL_SetWStringEx(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t len) {
  if (!valid_len(len)) return 0;
  TObject fresh;
  if (!put_wstring(L, &fresh, s, len)) return 0;
  vkl::replace_cell(L, o, &fresh);
  return 1;
}

int VKL_SetBin(VKL_State* L, TObject* o, const void* data, int64_t len) {
  if (!valid_len(len)) return 0;
  TObject fresh;
  if (!put_binary(L, &fresh, data, len)) return 0;
  vkl::replace_cell(L, o, &fresh);
  return 1;
}

int VKL_SetType(VKL_State* L, TObject* o, int tag) {
  switch (tag) {
    case VKL_TINT:
      VKL_SetInt(L, o, 0);
      return 1;
    case VKL_TREAL:
      VKL_SetReal(L, o, 0);
      return 1;
    case VKL_TINT64:
      VKL_SetInt64(L, o, 0);
      return 1;
    case VKL_TSTRING:
    case VKL_TSTRING2: {
      TObject fresh;
      if (!vkl::put_string(L, &fresh, "", 0, tag)) return 0;
      vkl::replace_cell(L, o, &fresh);
      return 1;
    }
    case VKL_TWSTRING:
      return VKL_SetWStringEx(L, o, u"", 0);
    case VKL_TBINARY:
      return VKL_SetBin(L, o, nullptr, 0);
    case VKL_TTABLE:
      return VKL_NewHash(L, o) != nullptr;
    case VKL_TNIL:
      VKL_SetNil(L, o);
      return 1;
    case VKL_TNONE:
      VKL_SetNone(L, o, 0);
      return 1;
    default:
      return 0;
  }
}

// ---- boxes ----

int VKL_SetBox(VKL_State* L, TObject* o, int tag, const VKL_BoxType* type, void* data) {
  if (!vkl_is_box_tag(tag) || !type) return 0;
  auto* box = new (std::nothrow) VKL_Box{data, type, 1};
  if (!box) return 0;
  vkl::release(L, o);
  vkl_put_ptr(o, tag, box);
  return 1;
}

int VKL_SetRef(VKL_State* L, TObject* o, TObject* target) {
  if (!target) return 0;
  return VKL_SetBox(L, o, VKL_TREF, &reference_type, target);
}

int VKL_SetDeferred(VKL_State* L, TObject* o, const VKL_BoxType* type, void* data) {
  if (!type || !type->compute) return 0;
  return VKL_SetBox(L, o, VKL_TDEFERRED, type, data);
}

int VKL_CalcGridCompute(VKL_State* L, TObject* o) {
  if (!o) return 0;
  TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TDEFERRED) return 1;
  auto* box = static_cast<VKL_Box*>(vkl_ptr(cell));
  TObject value;
  vkl_put_nil(&value);
  // The computation may reach this very cell; the box stays alive until it is done.
  ++box->refcount;
  const int ok = box->type->compute(L, box->data, &value);
  if (ok) {
    vkl::replace_cell(L, cell, &value);
  } else {
    vkl::release(L, &value);
  }
  box_release(L, box);
  return ok ? 1 : 0;
}

int VKL_CallCheck(VKL_State*, const TObject* o) {
  return o && vkl_follow(o)->tag == VKL_TFUNCTION;
}

// ---- temporary cells ----

TObject* VKL_NewObject(VKL_State*) {
  auto* o = static_cast<TObject*>(std::malloc(sizeof(TObject)));
  if (o) vkl_put_nil(o);
  return o;
}

void VKL_FreeObj(VKL_State* L, TObject* o) {
  if (!o) return;
  vkl::release(L, o);
  std::free(o);
}

void VKL_FreeObjectContent(VKL_State* L, TObject* o) {
  if (o) vkl::release(L, o);
}

const TObject* VKL_GetGlobalNilObj(void) {
  static const TObject nil = {VKL_TNIL, {}};
  return &nil;
}

}  // extern "C"
