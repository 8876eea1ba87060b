// Scoped groups of cells for argument lists and function frames: small ones live on the
// stack, so a call allocates nothing for a handful of arguments.
#pragma once

#include <vkl/kernel.h>

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

// Nil cells released on the way out.
class CellBlock {
 public:
  CellBlock(VKL_State* L, int n) : L_(L), n_(n) {
    cells_ = n <= kSmall ? small_ : (big_ = std::make_unique<TObject[]>(static_cast<size_t>(n))).get();
    for (int i = 0; i < n; ++i) vkl_put_nil(&cells_[i]);
  }
  ~CellBlock() {
    for (int i = 0; i < n_; ++i) release_cell(L_, &cells_[i]);
  }
  CellBlock(const CellBlock&) = delete;
  CellBlock& operator=(const CellBlock&) = delete;
  TObject* data() { return cells_; }
  TObject& operator[](int i) { return cells_[i]; }

 private:
  static constexpr int kSmall = 12;
  VKL_State* L_;
  int n_;
  TObject* cells_;
  TObject small_[kSmall];
  std::unique_ptr<TObject[]> big_;
};

// The argument cells of a handler call. A plain variable argument gets its cell back when the
// call is over, whichever way it ends.
class ArgCells {
 public:
  ArgCells(VKL_State* L, int n) : cells_(L, n), L_(L), n_(n) {
    back_ = n <= kSmall ? small_back_ : (big_back_ = std::make_unique<TObject*[]>(static_cast<size_t>(n))).get();
    for (int i = 0; i < n; ++i) back_[i] = nullptr;
  }
  ~ArgCells();
  ArgCells(const ArgCells&) = delete;
  ArgCells& operator=(const ArgCells&) = delete;

  // Evaluates the arguments in order; `write_back` lets plain variables receive their cells.
  void fill(Engine& E, Frame& F, const Args& args, bool write_back);
  TObject* data() { return cells_.data(); }

 private:
  static constexpr int kSmall = 12;
  CellBlock cells_;
  VKL_State* L_;
  int n_;
  TObject** back_;
  TObject* small_back_[kSmall];
  std::unique_ptr<TObject*[]> big_back_;
};

}  // namespace vkl::lang
