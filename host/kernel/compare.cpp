// Deep equality and the sort order of values.
#include <algorithm>
#include <cmath>
#include <set>
#include <type_traits>
#include <utility>

#include "internal.h"

namespace {

bool same_real(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return memcmp(&a, &b, sizeof a) == 0;
}

template <class Unit>
bool same_units(const Unit* a, int64_t na, const Unit* b, int64_t nb) {
  return na == nb && (na == 0 || memcmp(a, b, static_cast<size_t>(na) * sizeof(Unit)) == 0);
}

class Equality {
 public:
  bool equal(const TObject* a, const TObject* b) {
    a = vkl_follow(a);
    b = vkl_follow(b);
    const bool a_str = vkl_is_string_tag(a->tag), b_str = vkl_is_string_tag(b->tag);
    if (a_str || b_str) {
      return a_str && b_str &&
             same_units(VKL_AsString(a), VKL_StringLen(a), VKL_AsString(b), VKL_StringLen(b));
    }
    if (a->tag != b->tag) return false;
    switch (a->tag) {
      case VKL_TINT:
        return vkl_int(a) == vkl_int(b);
      case VKL_TREAL:
        return same_real(vkl_real(a), vkl_real(b));
      case VKL_TINT64:
        return vkl_int64(a) == vkl_int64(b);
      case VKL_TNIL:
        return true;
      case VKL_TNONE:
        return vkl_none_code(a) == vkl_none_code(b);
      case VKL_TWSTRING:
        return same_units(VKL_AsWString(a), VKL_WStringLen(a), VKL_AsWString(b),
                          VKL_WStringLen(b));
      case VKL_TBINARY:
        return same_units(static_cast<const char*>(vkl_ptr(a)), vkl_len(a),
                          static_cast<const char*>(vkl_ptr(b)), vkl_len(b));
      case VKL_TFMELEMENT:
        return vkl_ptr(a) == vkl_ptr(b) && vkl_elem_offset(a) == vkl_elem_offset(b);
      case VKL_TTABLE:
        return containers(a, b, &Equality::tables);
      case VKL_TMATRIX:
        return containers(a, b, &Equality::matrices);
      case VKL_TFIXEDMATRIX:
        return containers(a, b, &Equality::fixed_matrices);
      default:  // boxes: the same host value
        return vkl_ptr(a) == vkl_ptr(b);
    }
  }

 private:
  using Compare = bool (Equality::*)(const void*, const void*);

  // Pairs already under comparison count as equal, so cyclic values compare without end.
  bool containers(const TObject* a, const TObject* b, Compare compare) {
    const void* pa = vkl_ptr(a);
    const void* pb = vkl_ptr(b);
    if (pa == pb) return true;
    if (!pa || !pb) return false;
    if (!in_progress_.insert({pa, pb}).second) return true;
    if (!vkl::stack_room()) return false;
    return (this->*compare)(pa, pb);
  }

  bool tables(const void* pa, const void* pb) {
    const auto* ta = static_cast<const VKL_Table*>(pa);
    const auto* tb = static_cast<const VKL_Table*>(pb);
    if (VKL_HashCount(ta) != VKL_HashCount(tb)) return false;
    const int64_t positions = VKL_HashRawCount(ta);
    for (int64_t pos = 0; pos < positions; ++pos) {
      const TObject* key = nullptr;
      const TObject* value = VKL_HashRawGetN(ta, pos, &key);
      if (!value) continue;
      const TObject* other = VKL_HashGet(tb, key);
      if (!other || !equal(value, other)) return false;
    }
    return true;
  }

  bool cells(const TObject* a, const TObject* b, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
      if (!equal(&a[i], &b[i])) return false;
    }
    return true;
  }

  bool matrices(const void* pa, const void* pb) {
    const auto* ma = static_cast<const VKL_Matrix*>(pa);
    const auto* mb = static_cast<const VKL_Matrix*>(pb);
    const int64_t rows = VKL_MatrixRows(ma), cols = VKL_MatrixCols(ma);
    if (rows != VKL_MatrixRows(mb) || cols != VKL_MatrixCols(mb)) return false;
    return cells(VKL_MatrixCells(ma), VKL_MatrixCells(mb), (rows + 1) * cols);
  }

  bool fixed_matrices(const void* pa, const void* pb) {
    const auto* fa = static_cast<const VKL_FixedMatrix*>(pa);
    const auto* fb = static_cast<const VKL_FixedMatrix*>(pb);
    int64_t da[64], db[64];
    const int nd = VKL_FMGetDims(fa, da);
    if (VKL_FMGetType(fa) != VKL_FMGetType(fb) || nd != VKL_FMGetDims(fb, db)) return false;
    for (int i = 0; i < nd; ++i) {
      if (da[i] != db[i]) return false;
    }
    const int64_t n = VKL_FMGetCount(fa);
    switch (VKL_FMGetType(fa)) {
      case VKL_FM_CELLS:
        return cells(static_cast<const TObject*>(VKL_FMGetBuffer(fa)),
                     static_cast<const TObject*>(VKL_FMGetBuffer(fb)), n);
      case VKL_FM_DOUBLE:
        for (int64_t i = 0; i < n; ++i) {
          if (!same_real(VKL_FMGetDouble(fa, i), VKL_FMGetDouble(fb, i))) return false;
        }
        return true;
      default:
        return n == 0 || memcmp(VKL_FMGetBuffer(fa), VKL_FMGetBuffer(fb),
                                static_cast<size_t>(n * VKL_FMGetElementsize(fa))) == 0;
    }
  }

  std::set<std::pair<const void*, const void*>> in_progress_;
};

// Sort classes: numbers, narrow strings, wide strings, then the other kinds by tag.
int sort_class(int tag) {
  if (vkl_is_number_tag(tag) || tag == VKL_TFMELEMENT) return 0;
  if (vkl_is_string_tag(tag)) return 1;
  if (tag == VKL_TWSTRING) return 2;
  return 3;
}

bool is_integer_value(const TObject* o) {
  if (o->tag == VKL_TINT || o->tag == VKL_TINT64) return true;
  return o->tag == VKL_TFMELEMENT &&
         VKL_FMGetType(static_cast<const VKL_FixedMatrix*>(vkl_ptr(o))) != VKL_FM_DOUBLE;
}

template <class T>
int three_way(T a, T b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Numbers in value order; NaN after every other number.
int compare_numbers(const TObject* a, const TObject* b) {
  if (is_integer_value(a) && is_integer_value(b)) return three_way(VKL_AsInt64(a), VKL_AsInt64(b));
  const auto as_long_double = [](const TObject* o) -> long double {
    return is_integer_value(o) ? static_cast<long double>(VKL_AsInt64(o)) : VKL_AsDouble(o);
  };
  const long double x = as_long_double(a), y = as_long_double(b);
  if (std::isnan(x) || std::isnan(y)) return three_way(std::isnan(x), std::isnan(y));
  return three_way(x, y);
}

template <class Unit>
int compare_units(const Unit* a, int64_t na, const Unit* b, int64_t nb) {
  const int64_t n = std::min(na, nb);
  for (int64_t i = 0; i < n; ++i) {
    if (a[i] != b[i]) {
      using U = std::make_unsigned_t<Unit>;
      return three_way(static_cast<U>(a[i]), static_cast<U>(b[i]));
    }
  }
  return three_way(na, nb);
}

}  // namespace

extern "C" {

int VKL_ObjEqual(const TObject* a, const TObject* b) {
  if (!a || !b) return a == b;
  Equality equality;
  return equality.equal(a, b);
}

int VKL_CompareObj(const TObject* a, const TObject* b) {
  if (!a || !b) return three_way(a != nullptr, b != nullptr);
  a = vkl_follow(a);
  b = vkl_follow(b);
  const int ca = sort_class(a->tag), cb = sort_class(b->tag);
  if (ca != cb) return three_way(ca, cb);
  switch (ca) {
    case 0:
      return compare_numbers(a, b);
    case 1:
      return compare_units(VKL_AsString(a), VKL_StringLen(a), VKL_AsString(b), VKL_StringLen(b));
    case 2:
      return compare_units(VKL_AsWString(a), VKL_WStringLen(a), VKL_AsWString(b),
                           VKL_WStringLen(b));
    default:
      return three_way(a->tag, b->tag);
  }
}

}  // extern "C"
