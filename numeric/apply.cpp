// The parts of the elementwise drivers that do not depend on the operation: options, the
// stack-room check, the mode and fill rules, and building the result containers.
#include "numeric/apply.h"

namespace vkl::numeric {
namespace {

// Stack kept free below each level of nesting. Instrumented builds use frames several times
// larger, and the kernel calls made on one level grow with them.
#if defined(__SANITIZE_ADDRESS__)
constexpr int64_t kStackReserve = 1024 * 1024;
#else
constexpr int64_t kStackReserve = 256 * 1024;
#endif

// A copy of a value for a result slot: strings copied, tables and matrices shared.
bool copy_into(VKL_State* L, TObject* dst, const TObject* src) {
  return VKL_DupObjectHashRef3(L, dst, src) != 0;
}

}  // namespace

bool fits(Shape shape, const TObject* x) {
  switch (shape) {
    case Shape::kNumber:
      return vkl_is_number_tag(x->tag) || x->tag == VKL_TFMELEMENT;
    case Shape::kNarrowOrBinary:
      return x->tag == VKL_TSTRING || x->tag == VKL_TBINARY;
    case Shape::kArray:
      return x->tag == VKL_TTABLE || x->tag == VKL_TFIXEDMATRIX || x->tag == VKL_TFMELEMENT;
    case Shape::kWide:
      return x->tag == VKL_TWSTRING;
    case Shape::kText:
      return x->tag == VKL_TSTRING || x->tag == VKL_TBINARY || x->tag == VKL_TWSTRING;
    case Shape::kAny:
      break;
  }
  return true;
}

bool read_options(TObject* args, int nargs, int at, int default_mode, const TObject* default_fill,
                  Options* out) {
  if (nargs < at || nargs > at + 2) return false;
  out->mode = default_mode;
  out->fill = default_fill;
  if (nargs > at) {
    const TObject* mode = vkl_follow(&args[at]);
    switch (mode->tag) {
      case VKL_TINT:
      case VKL_TINT64:
        out->mode = vkl_tag(mode) == VKL_TINT ? vkl_int(mode) : vkl_int64(mode);
        break;
      case VKL_TREAL:
        out->mode = tolerant_int64(vkl_real(mode));
        break;
      case VKL_TFMELEMENT:
        out->mode = to_int64(VKL_AsDouble(mode));
        break;
      default:
        return false;
    }
  }
  if (nargs > at + 1) {
    const TObject* fill = vkl_follow(&args[at + 1]);
    out->fill = fill->tag == VKL_TNONE ? nullptr : fill;  // none: no fill, as when omitted
  }
  return true;
}

const TObject* element_number(const TObject* x, TObject* scratch) {
  const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(x));
  const int64_t at = vkl_elem_offset(x);
  switch (fm ? VKL_FMGetType(fm) : -1) {
    case VKL_FM_DOUBLE:
      vkl_put_real(scratch, VKL_FMGetDouble(fm, at));
      break;
    case VKL_FM_INT32:
      vkl_put_int(scratch, static_cast<int32_t>(VKL_FMGetInt64(fm, at)));
      break;
    case VKL_FM_INT64A:
    case VKL_FM_INT64:
      vkl_put_int64(scratch, VKL_FMGetInt64(fm, at));
      break;
    default:
      vkl_put_int(scratch, 0);
      break;
  }
  return scratch;
}

WalkBase::WalkBase(VKL_State* state, const Options& opts) : L(state), options(opts) {
  const int64_t avail = VKL_StackAvail();
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  if (avail > 0) {
    const uintptr_t low = here - static_cast<uintptr_t>(avail);
    stack_floor_ = low + static_cast<uintptr_t>(kStackReserve);
  }
}

bool WalkBase::unusable(const TObject* leaf, TObject* const* targets, int count) const {
  const TObject* with = nullptr;
  if (options.mode == 2 || (options.mode == 1 && leaf->tag == VKL_TNIL))
    with = leaf;
  else if (options.fill)
    with = options.fill;
  else
    return false;
  for (int k = 0; k < count; ++k)
    if (targets[k] && !copy_into(L, targets[k], with)) return false;
  return true;
}

bool WalkBase::new_tables(const VKL_Table* like, TObject* const* targets, int count) const {
  for (int k = 0; k < count; ++k) {
    if (!targets[k]) continue;
    if (!(like ? VKL_NewHashFromHash(L, targets[k], like) : VKL_NewHash(L, targets[k])))
      return false;
  }
  return true;
}

bool WalkBase::new_matrices(const VKL_Matrix* m, TObject* const* targets, int count) const {
  for (int k = 0; k < count; ++k)
    if (targets[k] && !DupMatrixStruct(L, targets[k], m)) return false;
  return true;
}

bool WalkBase::slots(const TObject* key, TObject* const* tables, TObject** out, int count) const {
  for (int k = 0; k < count; ++k) {
    out[k] = nullptr;
    if (tables[k] && !(out[k] = VKL_HashSet(L, vkl_table(tables[k]), key))) return false;
  }
  return true;
}

bool WalkBase::TableFill::slots(const WalkBase& walk, const TObject* key, TObject* const* tables,
                                TObject** out, int count) {
  if (key->tag != VKL_TINT || vkl_int(key) != next_key) return walk.slots(key, tables, out, count);
  for (int k = 0; k < count; ++k) {
    out[k] = nullptr;
    if (tables[k] && !(out[k] = VKL_HashAppend(walk.L, vkl_table(tables[k])))) return false;
  }
  ++next_key;
  return true;
}

bool WalkBase::index_slots(const int64_t* index, int ndims, TObject* const* tables, TObject** out,
                           int count) const {
  for (int k = 0; k < count; ++k) {
    out[k] = nullptr;
    if (!tables[k]) continue;
    TObject* at = tables[k];
    for (int d = 0; d < ndims; ++d) {
      VKL_Table* level = d == 0 ? vkl_table(at) : VKL_ForceTable(L, at, 0);
      if (!level || !(at = VKL_HashSetInt64(L, level, index[d]))) return false;
    }
    out[k] = at;
  }
  return true;
}

}  // namespace vkl::numeric
