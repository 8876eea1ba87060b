// sys_anydoubleparam: the generic driver of coded functions. It checks a call against the
// function's descriptor (count, then kinds), fills omitted optional inputs, and calls the
// implementation routine; for numeric functions a table first argument is walked and the
// routine applied to every element, the answers kept under the same keys.
#include <vkl/coded.h>
#include <vkl/kernel.h>

#include <cstring>

namespace {

// Stack kept free below a nested-table walk, so any depth (or a table holding itself) fails
// the call instead of the process.
constexpr int64_t kStackReserve = 256 * 1024;
// Most inputs plus outputs a call with omitted optional inputs may have.
constexpr int kMaxCodedArgs = 32;

bool stack_room() {
  const int64_t avail = VKL_StackAvail();
  return avail == 0 || avail >= kStackReserve;
}

bool is_narrow_or_binary(int tag) { return vkl_is_string_tag(tag) || tag == VKL_TBINARY; }

bool is_text(int tag) { return is_narrow_or_binary(tag) || tag == VKL_TWSTRING; }

// Every value of the table is a text of either width.
bool all_texts(const VKL_Table* t) {
  const int64_t n = VKL_HashRawCount(t);
  for (int64_t i = 0; i < n; ++i) {
    const TObject* v = VKL_HashRawGetN(t, i, nullptr);
    if (v && !is_text(vkl_follow(v)->tag)) return false;
  }
  return true;
}

// Whether an input matches its kind code. A binary counts as narrow bytes wherever a narrow
// text is accepted. Code 3 (compared in a common width) lets every kind through: the routine
// answers a value that is no text itself.
bool kind_matches(int32_t code, const TObject* o) {
  const int tag = vkl_follow(o)->tag;
  switch (code) {
    case VKL_ARG_NUMBER:
      return VKL_DoubleCheck(vkl_follow(o)) != 0;
    case VKL_ARG_BYTES:
      return is_narrow_or_binary(tag);
    case VKL_ARG_STRINGS:
      return tag == VKL_TTABLE && all_texts(vkl_table(vkl_follow(o)));
    case VKL_ARG_COMMON_STR:
      return true;
    case VKL_ARG_WSTRING:
    case VKL_ARG_ANY_STRING:
      return is_text(tag);
    case VKL_ARG_NUMBERS:
      return tag == VKL_TTABLE || VKL_DoubleCheck(vkl_follow(o)) != 0;
    default:
      return false;
  }
}

bool kinds_match(const VKL_CodedDescriptor* d, const TObject* args, int inputs) {
  for (int i = 0; i < inputs; ++i) {
    const int32_t code = d->argKinds ? d->argKinds[i] : VKL_ARG_NUMBER;
    if (code == VKL_ARG_NUMBER && i == 0 && d->numeric && vkl_follow(&args[0])->tag == VKL_TTABLE)
      continue;
    if (!kind_matches(code, &args[i])) return false;
  }
  return true;
}

// Applies the routine to every element of a table (nested tables recursively) with the other
// arguments as given; the answers go into a new table under the same keys. The new table is
// built aside and moved into `result` only when every element succeeded.
class ElementWalk {
 public:
  ElementWalk(VKL_State* L, const VKL_CodedDescriptor* d, TObject* args)
      : L_(L), d_(d), args_(args) {}

  int run(const VKL_Table* t, TObject* result) {
    TObject built;
    vkl_put_nil(&built);
    if (!walk(t, &built)) {
      VKL_FreeObjectContent(L_, &built);
      return 0;
    }
    VKL_FreeObjectContent(L_, result);
    std::memcpy(result, &built, sizeof built);
    return 1;
  }

 private:
  bool walk(const VKL_Table* t, TObject* out) {
    if (!stack_room()) return false;
    VKL_Table* dst = VKL_NewHashEx(L_, out, VKL_HashArrayCount(t), VKL_HashHashCount(t));
    if (!dst) return false;
    const int64_t n = VKL_HashRawCount(t);
    for (int64_t i = 0; i < n; ++i) {
      const TObject* key = nullptr;
      const TObject* v = VKL_HashRawGetN(t, i, &key);
      if (!v) continue;
      TObject* slot = VKL_HashSet(L_, dst, key);
      if (!slot || !element(vkl_follow(v), slot)) return false;
    }
    return true;
  }

  bool element(const TObject* v, TObject* slot) {
    if (v->tag == VKL_TTABLE) return walk(vkl_table(v), slot);
    if (!VKL_DoubleCheck(v)) return false;
    // The routine sees the element in place of the table; the other arguments are shared.
    TObject saved;
    std::memcpy(&saved, &args_[0], sizeof saved);
    std::memcpy(&args_[0], v, sizeof saved);
    const int ok = d_->routine(L_, args_, slot, d_->code);
    std::memcpy(&args_[0], &saved, sizeof saved);
    return ok != 0;
  }

  VKL_State* L_;
  const VKL_CodedDescriptor* d_;
  TObject* args_;
};

// A table first argument of a numeric function is walked; a function with outputs has no
// per-element place for them, so it refuses a table.
int call_routine(VKL_State* L, TObject* args, int inputs, TObject* result,
                 const VKL_CodedDescriptor* d) {
  const TObject* first = inputs > 0 ? vkl_follow(&args[0]) : nullptr;
  if (d->numeric && first && first->tag == VKL_TTABLE) {
    if (d->outputs > 0) return 0;
    return ElementWalk(L, d, args).run(vkl_table(first), result);
  }
  return d->routine(L, args, result, d->code) != 0 ? 1 : 0;
}

// A call with omitted optional inputs: the routine gets every input, the omitted ones from the
// defaults, followed by the outputs. Cells are lent bitwise and the outputs handed back after.
int call_with_defaults(VKL_State* L, TObject* args, int given, TObject* result,
                       const VKL_CodedDescriptor* d) {
  if (d->maxArgs + d->outputs > kMaxCodedArgs) return 0;
  TObject cells[kMaxCodedArgs];
  std::memcpy(cells, args, sizeof(TObject) * static_cast<size_t>(given));
  for (int i = given; i < d->maxArgs; ++i)
    vkl_put_real(&cells[i], d->defaults ? d->defaults[i] : 0.0);
  std::memcpy(&cells[d->maxArgs], &args[given], sizeof(TObject) * static_cast<size_t>(d->outputs));
  const int ok = call_routine(L, cells, d->maxArgs, result, d);
  std::memcpy(&args[given], &cells[d->maxArgs], sizeof(TObject) * static_cast<size_t>(d->outputs));
  return ok;
}

}  // namespace

extern "C" int sys_anydoubleparam(VKL_State* L, TObject* args, int nargs, TObject* result,
                                  const VKL_CodedDescriptor* d) {
  if (!d || !d->routine || nargs < 0 || (nargs > 0 && !args)) return 0;
  const int inputs = nargs - d->outputs;
  if (d->maxArgs > 0) {
    if (inputs < d->minArgs || inputs > d->maxArgs) return 0;
  } else if (inputs != d->inputs) {
    return 0;
  }
  if (inputs < 0 || !kinds_match(d, args, inputs)) return 0;
  if (d->maxArgs > 0 && inputs < d->maxArgs) return call_with_defaults(L, args, inputs, result, d);
  return call_routine(L, args, inputs, result, d);
}
