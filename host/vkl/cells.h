// Cell helpers of the evaluator, and scoped groups of cells for argument lists and function
// frames: small ones live on the stack, so a call allocates nothing for a handful of arguments.
#pragma once

#include <vkl/kernel.h>

#include <cstring>
#include <memory>

#include "host/vkl/ast.h"

namespace vkl::lang {

class Engine;

// Scalars and nil own nothing: they need no release and copy as plain bytes.
inline bool owns_nothing(int tag) {
  return tag == VKL_TINT || tag == VKL_TREAL || tag == VKL_TINT64 || tag == VKL_TNIL ||
         tag == VKL_TNONE;
}

inline void release_cell(VKL_State* L, TObject* o) {
  if (!owns_nothing(o->tag)) VKL_FreeObjectContent(L, o);
  vkl_put_nil(o);
}

// A cell copied the way a script copies values: scalars as they are, strings duplicated,
// tables shared. `dst` is a nil cell; false when memory is short.
inline bool copy_cell(VKL_State* L, TObject* dst, const TObject* src) {
  if (owns_nothing(src->tag)) {
    std::memcpy(dst, src, sizeof *dst);
    return true;
  }
  return VKL_DupObjectHashRef3(L, dst, src) != 0;
}

// Moves a cell: `dst` (released first) takes over what `src` held and `src` becomes nil.
inline void move_cell(VKL_State* L, TObject* dst, TObject* src) {
  release_cell(L, dst);
  std::memcpy(dst, src, sizeof *dst);
  vkl_put_nil(src);
}

// `n` elements, on the stack when they are few.
template <typename T>
class SmallArray {
 public:
  explicit SmallArray(int n) {
    if (n > kSmall) big_ = std::make_unique<T[]>(static_cast<size_t>(n));
    data_ = big_ ? big_.get() : small_;
  }
  SmallArray(const SmallArray&) = delete;
  SmallArray& operator=(const SmallArray&) = delete;
  T* data() { return data_; }
  T& operator[](int i) { return data_[i]; }

 private:
  static constexpr int kSmall = 12;
  T small_[kSmall];
  std::unique_ptr<T[]> big_;
  T* data_;
};

// Nil cells released on the way out.
class CellBlock {
 public:
  CellBlock(VKL_State* L, int n) : L_(L), n_(n), cells_(n) {
    for (int i = 0; i < n; ++i) vkl_put_nil(&cells_[i]);
  }
  ~CellBlock() {
    for (int i = 0; i < n_; ++i) release_cell(L_, &cells_[i]);
  }
  CellBlock(const CellBlock&) = delete;
  CellBlock& operator=(const CellBlock&) = delete;
  TObject* data() { return cells_.data(); }
  TObject& operator[](int i) { return cells_[i]; }
  int size() const { return n_; }
  VKL_State* state() const { return L_; }

 private:
  VKL_State* L_;
  int n_;
  SmallArray<TObject> cells_;
};

// The argument cells of a handler call. A plain variable argument gets its cell back when the
// call is over, whichever way it ends.
class ArgCells {
 public:
  ArgCells(VKL_State* L, int n) : cells_(L, n), back_(n), given_(n) {
    for (int i = 0; i < n; ++i) back_[i] = nullptr;
  }
  // Cells go back to their variables, the ones the handler left as given first, so that a
  // variable passed twice ends with the value the handler wrote.
  ~ArgCells() {
    for (int i = 0; i < cells_.size(); ++i)
      if (back_[i] && !changed(i)) give_back(i);
    for (int i = 0; i < cells_.size(); ++i)
      if (back_[i]) give_back(i);
  }
  ArgCells(const ArgCells&) = delete;
  ArgCells& operator=(const ArgCells&) = delete;

  // Evaluates the arguments in order; `write_back` lets plain variables receive their cells.
  void fill(Engine& E, Frame& F, const Args& args, bool write_back);
  TObject* data() { return cells_.data(); }

 private:
  void give_back(int i) {
    move_cell(cells_.state(), back_[i], &cells_[i]);
    back_[i] = nullptr;
  }
  bool changed(int i) { return std::memcmp(&given_[i], &cells_[i], sizeof(TObject)) != 0; }

  CellBlock cells_;
  SmallArray<TObject*> back_;
  SmallArray<TObject> given_;  // each cell as the handler received it
};

}  // namespace vkl::lang
