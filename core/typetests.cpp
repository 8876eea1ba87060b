// Kinds of values: datatype, the single-kind tests, none values, object states and copies.
//
// Failure policy: a malformed call (wrong count, a deep flag that is not a number, getnone of
// something else) returns 0 with the result untouched; so does a deep walk that runs out of
// stack or memory. A test never fails on the kind it inspects: it answers 0.
#include <strings.h>

#include <cstdint>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include "core/typetests.h"
#include "plugin/args.h"

namespace vkl::core {
namespace {

using plugin::arg_at;
using plugin::arg_is_number;

// Stack kept free below a deep walk, so nesting of any depth fails the call instead of the
// process.
constexpr int64_t kStackReserve = 256 * 1024;

bool stack_room() {
  const int64_t avail = VKL_StackAvail();
  return avail == 0 || avail >= kStackReserve;
}

// Walks a table while `budget` is not zero, giving every entry the answer of its value; an
// entry that is a table is walked with one less budget. A negative budget never reaches zero,
// so it walks every level. `follow` says whether a reference is answered as its target.
class DeepAnswer {
 public:
  DeepAnswer(VKL_State* L, LeafAnswer leaf, bool follow) : L_(L), leaf_(leaf), follow_(follow) {}

  // Puts the answer for `x` into `out`; false, with `out` untouched, when stack or memory ran
  // out.
  bool answer(const TObject* x, int64_t budget, TObject* out) {
    const TObject* cell = follow_ ? vkl_follow(x) : x;
    if (budget == 0 || cell->tag != VKL_TTABLE) {
      VKL_SetInt(L_, out, leaf_(cell));
      return true;
    }
    return answer_table(vkl_table(cell), budget, out);
  }

 private:
  bool answer_table(const VKL_Table* t, int64_t budget, TObject* out) {
    if (!stack_room()) return false;
    TObject fresh;
    vkl_put_nil(&fresh);
    VKL_Table* answers = VKL_NewHashEx(L_, &fresh, VKL_HashArrayCount(t), VKL_HashHashCount(t));
    if (!answers) return false;
    const int64_t positions = VKL_HashRawCount(t);
    for (int64_t pos = 0; pos < positions; ++pos) {
      const TObject* key = nullptr;
      const TObject* value = VKL_HashRawGetN(t, pos, &key);
      if (!value) continue;
      // The walk below builds other tables only, so the slot stays valid while it runs.
      TObject* slot = VKL_HashSet(L_, answers, key);
      if (!slot || !answer(value, budget - 1, slot)) {
        VKL_FreeObjectContent(L_, &fresh);
        return false;
      }
    }
    install(L_, out, &fresh);
    return true;
  }

  VKL_State* L_;
  LeafAnswer leaf_;
  bool follow_;
};

// The object header of a host object cell, or null.
const VKL_HostObject* host_object(const TObject* o) {
  const auto* box = static_cast<const VKL_Box*>(vkl_ptr(o));
  return box ? static_cast<const VKL_HostObject*>(box->data) : nullptr;
}

}  // namespace

int answer_kind(VKL_State* L, TObject* args, int nargs, TObject* result, LeafAnswer leaf,
                bool follow) {
  if (nargs < 1 || nargs > 2) return 0;
  if (nargs == 2 && !arg_is_number(args, nargs, 1)) return 0;
  const int64_t depth = nargs == 2 ? VKL_AsInt(arg_at(args, 1)) : 0;
  DeepAnswer walker(L, leaf, follow);
  return walker.answer(&args[0], -depth, result) ? 1 : 0;
}

// datatype(x [, deep]): the kind code of x; deep: a table of element kinds, the element type of
// a fixed matrix
int datatype(VKL_State* L, TObject* args, int nargs, TObject* result) {
  const TObject* x = nargs >= 1 ? arg_at(args, 0) : nullptr;
  if (nargs == 2 && x->tag == VKL_TFIXEDMATRIX && arg_is_number(args, nargs, 1) &&
      VKL_AsInt(arg_at(args, 1)) != 0) {
    VKL_SetInt(L, result, VKL_FMGetType(static_cast<const VKL_FixedMatrix*>(vkl_ptr(x))));
    return 1;
  }
  return answer_kind(L, args, nargs, result, vkl_kind, true);
}

// ifcache(x [, deep]): 1 when the argument itself is a reference (not followed)
int ifcache(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return answer_kind(L, args, nargs, result, has_kind<VKL_TREF>, false);
}

// ifnone(x [, code]): 1 for a none value, of the given code when one is given
int ifnone(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 1 || nargs > 2) return 0;
  const TObject* x = arg_at(args, 0);
  bool none = x->tag == VKL_TNONE;
  if (none && nargs == 2) none = vkl_none_code(x) == VKL_AsInt(arg_at(args, 1));
  VKL_SetInt(L, result, none ? 1 : 0);
  return 1;
}

// getnone(x): the code of a none value
int getnone(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  const TObject* x = arg_at(args, 0);
  if (x->tag != VKL_TNONE) return 0;
  VKL_SetInt(L, result, vkl_none_code(x));
  return 1;
}

// objectstate(x): the state field of a host object; -1 for anything else
int objectstate(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  const TObject* x = arg_at(args, 0);
  int32_t state = -1;
  switch (x->tag) {
    case VKL_TOBJECT23:
      if (const VKL_HostObject* obj = host_object(x)) state = obj->state;
      break;
    case VKL_TOBJECT16:
    case VKL_TOBJECT36:
    case VKL_TOBJECT38:
      // Only instances of script classes carry a state these kinds share.
      if (const VKL_HostObject* obj = host_object(x);
          obj && obj->class_name && strcasecmp(obj->class_name, "VKLObject") == 0) {
        state = obj->state;
      }
      break;
    default:
      break;
  }
  VKL_SetInt(L, result, state);
  return 1;
}

// dupvalue(x): a deep copy whose tables are variables, independent of x
int dupvalue(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  return VKL_DupObject(L, result, &args[0]);
}

}  // namespace vkl::core
