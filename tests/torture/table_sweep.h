// Cuts every cycle among the tables a call left behind. Tables are reference counted, so a
// table that (through other tables, matrices or fixed matrices of cells) holds itself would
// never be freed and would show up as lost memory that no handler lost. The sweep takes a
// reference to each table reachable from the cells it is given, except the pool's shared
// ones, and on release empties them before letting go.
#pragma once

#include <vkl/kernel.h>

#include <functional>
#include <unordered_set>
#include <vector>

namespace torture {

class TableSweep {
 public:
  using IsShared = std::function<bool(const VKL_Table*)>;

  TableSweep(VKL_State* L, IsShared is_shared) : L_(L), is_shared_(std::move(is_shared)) {}
  ~TableSweep() { release(); }
  TableSweep(const TableSweep&) = delete;
  TableSweep& operator=(const TableSweep&) = delete;

  // Holds every table reachable from the cell that is not already held. An explicit stack:
  // the tables may be nested far deeper than the call stack allows.
  void hold_reachable(const TObject* root) {
    std::vector<const TObject*> pending{root};
    while (!pending.empty()) {
      const TObject* cell = pending.back();
      pending.pop_back();
      const void* container = vkl_ptr(cell);
      if (cell->tag == VKL_TTABLE) {
        const auto* t = static_cast<const VKL_Table*>(container);
        if (!t || is_shared_(t) || !seen_.insert(t).second) continue;
        held_.emplace_back();
        vkl_put_nil(&held_.back());
        VKL_SetHashRef(L_, &held_.back(), const_cast<VKL_Table*>(t));
        for (int64_t pos = 0; pos < VKL_HashRawCount(t); ++pos)
          if (const TObject* value = VKL_HashRawGetN(t, pos, nullptr)) pending.push_back(value);
      } else if (cell->tag == VKL_TMATRIX) {
        const auto* m = static_cast<const VKL_Matrix*>(container);
        if (!m || !seen_.insert(m).second) continue;
        const TObject* cells = VKL_MatrixCells(m);
        for (int64_t i = 0; i < (VKL_MatrixRows(m) + 1) * VKL_MatrixCols(m); ++i)
          pending.push_back(&cells[i]);
      } else if (cell->tag == VKL_TFIXEDMATRIX) {
        const auto* fm = static_cast<const VKL_FixedMatrix*>(container);
        if (!fm || VKL_FMGetType(fm) != VKL_FM_CELLS || !seen_.insert(fm).second) continue;
        const auto* cells = static_cast<const TObject*>(VKL_FMGetBuffer(fm));
        for (int64_t i = 0; i < VKL_FMGetCount(fm); ++i) pending.push_back(&cells[i]);
      }
    }
  }

  // Empties the held tables and lets go of them.
  void release() {
    for (TObject& hold : held_) {
      VKL_Table* t = vkl_table(&hold);
      for (int64_t pos = 0; pos < VKL_HashRawCount(t); ++pos)
        if (TObject* value = VKL_HashRawGetN(t, pos, nullptr)) VKL_FreeObjectContent(L_, value);
    }
    for (TObject& hold : held_) VKL_FreeObjectContent(L_, &hold);
    held_.clear();
    seen_.clear();
  }

 private:
  VKL_State* L_;
  IsShared is_shared_;
  std::unordered_set<const void*> seen_;
  std::vector<TObject> held_;
};

}  // namespace torture
