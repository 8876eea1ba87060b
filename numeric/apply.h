// The elementwise drivers: ApplyUnary<Op> and ApplyBinary<Op> walk whatever a script passed (a
// number, nested tables, a cell matrix, a fixed matrix), run the operation's scalar step on
// every numeric leaf and build a result of the same shape and keys.
//
// Script arguments: the operand(s), then the operation's output variables (unless the caller
// passes output cells), then an optional mode and an optional fill value:
//   mode 2: a leaf the step cannot take is copied unchanged (nil stays nil);
//   mode 1: nil stays nil; any other such leaf gets the fill value, or fails the call;
//   other:  such a leaf, nil included, gets the fill value, or fails the call.
// The mode is a tolerant integer (a real x reads as x +/- 0.000001 truncated toward zero).
//
// Failure policy: a malformed call (argument count, a mode of another kind) returns 0 before
// anything is written. The result of a table, a cell matrix or a fixed matrix of cells is built
// straight into the result cell: when an element fails, the call returns 0 and the result cell
// holds what was built so far (elements before the failing one keep their values), owned by
// the cell like any result, for the caller to release. A number or other leaf that fails
// leaves the result cell as it was. Output variables receive whatever was built before a
// failure (nil for a scalar), so the caller can see how far the call came. Nesting too deep for
// the thread's stack fails the call.
//
// Writing an operation. An operation is a struct of static members:
//
//   static constexpr int kOutputs;  // output cells besides the result: 0, or 2 (sincos)
//
//   Unary: static bool scalar(VKL_State* L, const TObject* x, TObject* const* t);
//     x has kind integer, real or int64 (a fixed-matrix element arrives as one of these).
//     t[0] is the result cell, t[1..kOutputs] the output cells, all nil on entry: write each
//     with vkl_put_* for numbers or the VKL_Set* operations. Return false to treat x as a
//     leaf the step cannot take (the mode and fill rules then apply).
//   Unary: static R element(T x);  T is int32_t, int64_t or double (a fixed matrix's
//     element); R, the result element, is one of those too and picks the result matrix's
//     element type (keep T for kind-keeping operations such as abs, double for the rest).
//     With two outputs, element returns std::pair<R1, R2>: the outputs' elements; the
//     result matrix is then all zero doubles. Without element (an operation whose results
//     are texts), a fixed matrix is a leaf the step cannot take.
//   Unary, optional: static bool other(VKL_State* L, const TObject* x, TObject* const* t);
//     a leaf that is neither a number nor walked (string, nil, object...). Return true when
//     answered, false to leave it to the mode and fill rules.
//
//   Binary: static constexpr int kCode;                // the operation's code, descriptive
//           static constexpr Shape kShape1, kShape2;   // what the scalar step accepts
//           static constexpr bool kBuildResult;        // false: results only go to outputs
//           static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t);
//     a and b fit kShape1 and kShape2 (numbers arrive as integer, real or int64).
//   Binary, fixed matrices: static R element(A a, B b) for kShape2 == kNumber, A and B among
//     int32_t, int64_t, double (b's element or b itself); or static R element(A a, const
//     TObject* b) to receive b whole. Without one, a fixed matrix is a leaf the step cannot
//     take.
//
// Handlers are then one line: `unary<Sin>` / `binary<Power>` below, or a call of
// ApplyUnary / ApplyBinary with a default mode, fill or output cells of the handler's own.
#pragma once

#include <vkl/kernel.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "numeric/fixed_elements.h"

namespace vkl::numeric {

// What the whole-value step of a binary operation accepts for an operand.
enum class Shape {
  kNumber,          // integer, real, int64, fixed-matrix element
  kNarrowOrBinary,  // narrow string, binary
  kArray,           // table, fixed matrix, fixed-matrix element
  kAny,
  kWide,            // wide string
  kText,            // narrow string, wide string, binary
};

bool fits(Shape shape, const TObject* x);

// ---- Reading numbers ----

inline bool is_number(const TObject* x) { return vkl_is_number_tag(x->tag); }

// A number cell (integer, real, int64) as a double.
inline double number_of(const TObject* x) {
  if (x->tag == VKL_TREAL) return vkl_real(x);
  return x->tag == VKL_TINT ? vkl_int(x) : static_cast<double>(vkl_int64(x));
}

// A double converted to 64 / 32 bits the way the processor does it: a value out of range
// (NaN included) gives the smallest integer.
inline int64_t to_int64(double v) {
  return v >= -9223372036854775808.0 && v < 9223372036854775808.0 ? static_cast<int64_t>(v)
                                                                  : INT64_MIN;
}
inline int32_t to_int32(double v) {
  return v > -2147483649.0 && v < 2147483648.0 ? static_cast<int32_t>(v) : INT32_MIN;
}

// The tolerant integer of a real: x + 0.000001 (x > 0) or x - 0.000001, toward zero.
inline double tolerant(double x) { return std::trunc(x > 0 ? x + 0.000001 : x - 0.000001); }
inline int64_t tolerant_int64(double x) { return to_int64(tolerant(x)); }
// The same of a number cell; integers are read exactly.
inline int64_t tolerant_int64(const TObject* x) {
  if (x->tag == VKL_TINT) return vkl_int(x);
  if (x->tag == VKL_TINT64) return vkl_int64(x);
  return tolerant_int64(vkl_real(x));
}

// An integral value as the narrowest kind that holds it: integer, int64, else real (NaN and
// the infinities included).
inline void put_narrowed(TObject* out, double v) {
  if (v > -2147483649.0 && v < 2147483648.0)
    vkl_put_int(out, static_cast<int32_t>(v));
  else if (v >= -9223372036854775808.0 && v < 9223372036854775808.0)
    vkl_put_int64(out, static_cast<int64_t>(v));
  else
    vkl_put_real(out, v);
}
inline void put_narrowed(TObject* out, int64_t v) {
  if (v >= INT32_MIN && v <= INT32_MAX)
    vkl_put_int(out, static_cast<int32_t>(v));
  else
    vkl_put_int64(out, v);
}

// ---- What every walk shares ----

struct Options {
  int64_t mode = 0;
  const TObject* fill = nullptr;  // none given
};

// Reads the mode and fill at args[at], args[at + 1] (when present) over the defaults; false
// for a wrong argument count (fewer than `at`, more than at + 2) or a mode of another kind.
bool read_options(TObject* args, int nargs, int at, int default_mode, const TObject* default_fill,
                  Options* out);

class WalkBase {
 public:
  WalkBase(VKL_State* L, const Options& options);

  // There is room on the stack for one more level of nesting.
  bool room() const {
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) > stack_floor_;
  }

  // The mode and fill rules for a leaf that the step cannot take: fills every target that is
  // not null; false when the call fails.
  bool unusable(const TObject* leaf, TObject* const* targets, int count) const;

  // Each non-null target becomes a new table / a matrix shaped like `m`; false when memory
  // runs out.
  bool new_tables(const VKL_Table* like, TObject* const* targets, int count) const;
  bool new_matrices(const VKL_Matrix* m, TObject* const* targets, int count) const;
  // The slot for `key` in each target table (null target: null slot); false when refused.
  bool slots(const TObject* key, TObject* const* tables, TObject** out, int count) const;
  // The same, for tables filled from new with the entries of one table in order: the keys
  // 0, 1, 2, ... of its array part are appended without building key cells.
  struct TableFill {
    int64_t next_key = 0;
    bool slots(const WalkBase& walk, const TObject* key, TObject* const* tables, TObject** out,
               int count);
  };
  // The slot of an index path into nested tables below each target (see walk_cells).
  bool index_slots(const int64_t* index, int ndims, TObject* const* tables, TObject** out,
                   int count) const;

  VKL_State* L;
  Options options;

 private:
  uintptr_t stack_floor_ = 0;
};

// The cell an argument stands for: a deferred value computed in place first, a view followed.
inline TObject* computed(VKL_State* L, TObject* arg) {
  if (arg->tag == VKL_TDEFERRED) VKL_CalcGridCompute(L, arg);
  return vkl_follow(arg);
}

// Values whose result is built element by element into nested cells (tables, cell matrices,
// fixed matrices of cells): such a result is built in the result cell itself. A fixed matrix of
// numbers is made in one piece and so is built aside like a scalar result.
inline bool built_in_place(const TObject* x) {
  return x->tag == VKL_TTABLE || x->tag == VKL_TMATRIX ||
         (x->tag == VKL_TFIXEDMATRIX &&
          VKL_FMGetType(static_cast<const VKL_FixedMatrix*>(vkl_ptr(x))) == VKL_FM_CELLS);
}

// Table entries the drivers visit: integer keys and string keys, in the table's own order.
inline bool visited_key(const TObject* key) {
  return key->tag == VKL_TINT || vkl_is_string_tag(key->tag);
}

// A fixed-matrix element (kind 28) read into `scratch` as a number of its element type.
const TObject* element_number(const TObject* x, TObject* scratch);

// Calls visit(key, value) for the visited entries of `t`; stops at the first false.
template <class Visit>
bool for_each_entry(const VKL_Table* t, Visit&& visit) {
  const int64_t positions = VKL_HashRawCount(t);
  for (int64_t pos = 0; pos < positions; ++pos) {
    const TObject* key = nullptr;
    TObject* value = VKL_HashRawGetN(t, pos, &key);
    if (value && visited_key(key) && !visit(key, value)) return false;
  }
  return true;
}

// Calls visit(cell index) for the data cells of a cell matrix (the header row is skipped).
template <class Visit>
bool for_each_data_cell(const VKL_Matrix* m, Visit&& visit) {
  const int64_t rows = VKL_MatrixRows(m), cols = VKL_MatrixCols(m);
  for (int64_t at = cols; at < (rows + 1) * cols; ++at)
    if (!visit(at)) return false;
  return true;
}

template <class Op>
concept HasElement = requires(double x) { Op::element(x); };

// Element i of a typed buffer through Op::element; for a double buffer and an operation with a
// Doubles2 form, also elements i and i + 1 at once.
template <class Op, class T>
struct ElementAt {
  const T* in;
  auto operator()(int64_t i) const { return Op::element(in[i]); }
  Doubles2 pair(int64_t i) const
    requires std::is_same_v<T, double> && requires(Doubles2 v) { Op::element(v); }
  {
    Doubles2 v;
    std::memcpy(&v, in + i, sizeof v);
    return Op::element(v);
  }
};

template <class Op>
concept HasOther = requires(VKL_State* L, const TObject* x, TObject* const* t) {
  { Op::other(L, x, t) } -> std::same_as<bool>;
};

// ---- The unary walk ----

template <class Op>
class UnaryWalk : public WalkBase {
 public:
  static constexpr int kTargets = Op::kOutputs + 1;
  using Targets = std::array<TObject*, kTargets>;

  using WalkBase::WalkBase;

  bool apply(TObject* arg, const Targets& t) {
    TObject* x = computed(L, arg);
    switch (x->tag) {
      case VKL_TINT:
      case VKL_TREAL:
      case VKL_TINT64:
        return Op::scalar(L, x, t.data()) || leaf(x, t);
      case VKL_TFMELEMENT: {
        TObject number;
        return Op::scalar(L, element_number(x, &number), t.data()) || leaf(x, t);
      }
      case VKL_TTABLE:
        return table(vkl_table(x), t);
      case VKL_TMATRIX:
        return matrix(static_cast<const VKL_Matrix*>(vkl_ptr(x)), t);
      case VKL_TFIXEDMATRIX:
        return fixed(static_cast<const VKL_FixedMatrix*>(vkl_ptr(x)), t);
      default:
        return leaf(x, t);
    }
  }

 private:
  bool leaf(const TObject* x, const Targets& t) {
    if constexpr (HasOther<Op>)
      if (Op::other(L, x, t.data())) return true;
    return unusable(x, t.data(), kTargets);
  }

  bool table(const VKL_Table* src, const Targets& t) {
    if (!new_tables(src, t.data(), kTargets)) return false;
    TableFill fill;
    return for_each_entry(src, [&](const TObject* key, TObject* value) {
      Targets sub;
      if (!fill.slots(*this, key, t.data(), sub.data(), kTargets)) return false;
      // A number needs no further walk: its step runs here, saving a level of the recursion.
      if (is_number(value)) return Op::scalar(L, value, sub.data()) || leaf(value, sub);
      return room() && apply(value, sub);
    });
  }

  bool matrix(const VKL_Matrix* m, const Targets& t) {
    if (!new_matrices(m, t.data(), kTargets)) return false;
    TObject* cells = VKL_MatrixCells(m);
    return for_each_data_cell(m, [&](int64_t at) {
      Targets sub;
      for (int k = 0; k < kTargets; ++k)
        sub[k] = VKL_MatrixCells(static_cast<const VKL_Matrix*>(vkl_ptr(t[k]))) + at;
      return room() && apply(&cells[at], sub);
    });
  }

  bool fixed(const VKL_FixedMatrix* fm, const Targets& t) {
    if (VKL_FMGetType(fm) == VKL_FM_CELLS) return fixed_cells(fm, t);
    if constexpr (HasElement<Op>) {
      if (numeric_elements(fm)) {
        return with_elements(fm, [&]<class T>(const T* in) {
          return map_into<Op::kOutputs>(L, fm, t.data(), ElementAt<Op, T>{in});
        });
      }
    }
    const TObject view = fixed_matrix_view(fm);
    return leaf(&view, t);
  }

  // A matrix of value cells gives nested tables keyed by the index of each dimension.
  bool fixed_cells(const VKL_FixedMatrix* fm, const Targets& t) {
    if (!new_tables(nullptr, t.data(), kTargets)) return false;
    return walk_cells(fm, [&](const int64_t* index, int ndims, TObject* cell) {
      Targets sub;
      return index_slots(index, ndims, t.data(), sub.data(), kTargets) && room() &&
             apply(cell, sub);
    });
  }
};

// The frame both drivers share: checks the count and reads the options after kOperands
// operands and the output variables, runs the walk (the result in place when built_in_place,
// else aside), hands the outputs over (also after a failure) and installs a result
// built aside on success.
template <int kOperands, int kOutputs, class Run>
int drive(VKL_State* L, TObject* args, int nargs, TObject* result, int default_mode,
          const TObject* default_fill, TObject* const* outputs, bool build_result, Run run) {
  const int output_args = outputs ? 0 : kOutputs;
  Options options;
  if (nargs < kOperands + output_args ||
      !read_options(args, nargs, kOperands + output_args, default_mode, default_fill, &options))
    return 0;
  TObject* in_place = build_result && built_in_place(computed(L, &args[0])) ? result : nullptr;
  if (in_place) VKL_FreeObjectContent(L, in_place);
  ScratchCells<kOutputs + 1> built(L, build_result, in_place);
  const bool ok = run(options, built.targets());
  for (int k = 0; k < kOutputs; ++k)
    built.install(k + 1, outputs ? outputs[k] : vkl_follow(&args[kOperands + k]));
  if (!ok) return 0;
  built.install(0, result);
  return 1;
}

// Applies the unary operation Op to the first argument. `outputs` (Op::kOutputs cells) takes
// the place of output variables among the script arguments.
template <class Op>
int ApplyUnary(VKL_State* L, TObject* args, int nargs, TObject* result, int default_mode = 0,
               const TObject* default_fill = nullptr, TObject* const* outputs = nullptr) {
  return drive<1, Op::kOutputs>(L, args, nargs, result, default_mode, default_fill, outputs, true,
                                [&](const Options& options, const auto& targets) {
                                  return UnaryWalk<Op>(L, options).apply(&args[0], targets);
                                });
}

// The handler of a unary operation with the defaults.
template <class Op>
int unary(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return ApplyUnary<Op>(L, args, nargs, result);
}

}  // namespace vkl::numeric

#include "numeric/apply_binary.h"
