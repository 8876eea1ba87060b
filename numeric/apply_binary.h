// The binary driver (included by numeric/apply.h, which states the contract of an operation).
// Only the first operand is walked; the second is paired with each of its elements: the entry
// under the same key of a table, the cell at the same place of a like-shaped cell matrix, the
// element at the same place of a like-shaped fixed matrix, or else the second operand whole.
#pragma once

namespace vkl::numeric {

template <class Op>
concept HasElementWithWhole = requires(double a, const TObject* b) { Op::element(a, b); };
template <class Op>
concept HasElementWithNumber = requires(double a, double b) { Op::element(a, b); };

template <class Op>
class BinaryWalk : public WalkBase {
 public:
  static constexpr int kTargets = Op::kOutputs + 1;
  using Targets = std::array<TObject*, kTargets>;

  using WalkBase::WalkBase;

  // `b` null: the second operand is missing (a key only the first table has).
  bool apply(TObject* arg, TObject* b, const Targets& t) {
    TObject* a = computed(L, arg);
    if (b) b = computed(L, b);
    switch (a->tag) {
      case VKL_TTABLE:
        return table(vkl_table(a), b, t);
      case VKL_TMATRIX:
        return matrix(static_cast<const VKL_Matrix*>(vkl_ptr(a)), b, t);
      case VKL_TFIXEDMATRIX:
        if (Op::kShape1 == Shape::kNumber) return fixed(a, b, t);
        break;
      default:
        break;
    }
    return pair(a, b, t);
  }

 private:
  bool pair(const TObject* a, const TObject* b, const Targets& t) {
    if (b && fits(Op::kShape1, a) && fits(Op::kShape2, b)) {
      TObject na, nb;
      const TObject* x = a->tag == VKL_TFMELEMENT && Op::kShape1 == Shape::kNumber
                             ? element_number(a, &na) : a;
      const TObject* y = b->tag == VKL_TFMELEMENT && Op::kShape2 == Shape::kNumber
                             ? element_number(b, &nb) : b;
      if (Op::scalar(L, x, y, t.data())) return true;
    }
    return unusable(a, t.data(), kTargets);
  }

  bool table(const VKL_Table* src, const TObject* b, const Targets& t) {
    if (!new_tables(src, t.data(), kTargets)) return false;
    const VKL_Table* paired = b && b->tag == VKL_TTABLE ? vkl_table(b) : nullptr;
    TableFill fill;
    return for_each_entry(src, [&](const TObject* key, TObject* value) {
      TObject* other = const_cast<TObject*>(b);
      if (paired) {
        other = VKL_HashGet(paired, key);
        if (Op::kShape2 == Shape::kArray && !(other && vkl_follow(other)->tag == VKL_TTABLE))
          other = const_cast<TObject*>(b);
      }
      Targets sub;
      return fill.slots(*this, key, t.data(), sub.data(), kTargets) && room() &&
             apply(value, other, sub);
    });
  }

  bool matrix(const VKL_Matrix* m, const TObject* b, const Targets& t) {
    if (!new_matrices(m, t.data(), kTargets)) return false;
    const VKL_Matrix* bm = nullptr;
    if (b && b->tag == VKL_TMATRIX) {
      bm = static_cast<const VKL_Matrix*>(vkl_ptr(b));
      if (VKL_MatrixRows(bm) != VKL_MatrixRows(m) || VKL_MatrixCols(bm) != VKL_MatrixCols(m))
        bm = nullptr;
    }
    TObject* cells = VKL_MatrixCells(m);
    return for_each_data_cell(m, [&](int64_t at) {
      Targets sub;
      for (int k = 0; k < kTargets; ++k)
        sub[k] = t[k] ? VKL_MatrixCells(static_cast<const VKL_Matrix*>(vkl_ptr(t[k]))) + at
                      : nullptr;
      TObject* other = bm ? VKL_MatrixCells(bm) + at : const_cast<TObject*>(b);
      return room() && apply(&cells[at], other, sub);
    });
  }

  // A fixed matrix first: element by element with a number, with the elements of a fixed
  // matrix of the same shape, or (for an operation that takes it so) with b whole.
  bool fixed(const TObject* a, const TObject* b, const Targets& t) {
    const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(a));
    if (VKL_FMGetType(fm) == VKL_FM_CELLS) return fixed_cells(fm, b, t);
    if (numeric_elements(fm) && b) {
      if constexpr (HasElementWithWhole<Op>) {
        return with_elements(fm, [&]<class A>(const A* in) {
          return map_into<Op::kOutputs>(L, fm, t.data(), [in, b](int64_t i) { return Op::element(in[i], b); });
        });
      } else if constexpr (Op::kShape2 == Shape::kNumber && HasElementWithNumber<Op>) {
        TObject scratch;
        if (fits(Shape::kNumber, b)) {
          const TObject* y = b->tag == VKL_TFMELEMENT ? element_number(b, &scratch) : b;
          if (y->tag == VKL_TREAL) return with_number(fm, vkl_real(y), t);
          if (y->tag == VKL_TINT) return with_number(fm, vkl_int(y), t);
          return with_number(fm, vkl_int64(y), t);
        }
        if (b->tag == VKL_TFIXEDMATRIX) {
          const auto* bm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(b));
          if (numeric_elements(bm) && same_shape(fm, bm)) return with_matrix(fm, bm, t);
        }
      }
    }
    return unusable(a, t.data(), kTargets);
  }

  template <class B>
  bool with_number(const VKL_FixedMatrix* fm, B y, const Targets& t) {
    return with_elements(fm, [&]<class A>(const A* in) {
      return map_into<Op::kOutputs>(L, fm, t.data(), [in, y](int64_t i) { return Op::element(in[i], y); });
    });
  }

  bool with_matrix(const VKL_FixedMatrix* fm, const VKL_FixedMatrix* bm, const Targets& t) {
    return with_elements(fm, [&]<class A>(const A* in) {
      return with_elements(bm, [&]<class B>(const B* other) {
        return map_into<Op::kOutputs>(L, fm, t.data(), [in, other](int64_t i) { return Op::element(in[i], other[i]); });
      });
    });
  }

  bool fixed_cells(const VKL_FixedMatrix* fm, const TObject* b, const Targets& t) {
    if (!new_tables(nullptr, t.data(), kTargets)) return false;
    return walk_cells(fm, [&](const int64_t* index, int ndims, TObject* cell) {
      Targets sub;
      return index_slots(index, ndims, t.data(), sub.data(), kTargets) && room() &&
             apply(cell, const_cast<TObject*>(b), sub);
    });
  }

  static bool same_shape(const VKL_FixedMatrix* x, const VKL_FixedMatrix* y);
};

template <class Op>
bool BinaryWalk<Op>::same_shape(const VKL_FixedMatrix* x, const VKL_FixedMatrix* y) {
  std::vector<int64_t> dx(static_cast<size_t>(VKL_FMGetMaxDims())), dy(dx.size());
  const int n = VKL_FMGetDims(x, dx.data());
  return n == VKL_FMGetDims(y, dy.data()) && dx == dy;
}

// Applies the binary operation Op to the first two arguments. `outputs` (Op::kOutputs cells)
// takes the place of output variables among the script arguments.
template <class Op>
int ApplyBinary(VKL_State* L, TObject* args, int nargs, TObject* result, int default_mode = 0,
                const TObject* default_fill = nullptr, TObject* const* outputs = nullptr) {
  return drive<2, Op::kOutputs>(
      L, args, nargs, result, default_mode, default_fill, outputs, Op::kBuildResult,
      [&](const Options& options, const auto& targets) {
        return BinaryWalk<Op>(L, options).apply(&args[0], &args[1], targets);
      });
}

// The handler of a binary operation with the defaults.
template <class Op>
int binary(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return ApplyBinary<Op>(L, args, nargs, result);
}

}  // namespace vkl::numeric
