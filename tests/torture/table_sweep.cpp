#include "table_sweep.h"

namespace torture {

void TableSweep::visit(const TObject* cell, std::vector<const TObject*>& pending) {
  switch (cell->tag) {
    case VKL_TTABLE: {
      const VKL_Table* t = vkl_table(cell);
      if (!t || is_shared_(t) || !seen_.insert(t).second) return;
      TObject hold;
      vkl_put_nil(&hold);
      VKL_SetHashRef(L_, &hold, const_cast<VKL_Table*>(t));
      held_.push_back(hold);
      const int64_t positions = VKL_HashRawCount(t);
      for (int64_t pos = 0; pos < positions; ++pos)
        if (const TObject* value = VKL_HashRawGetN(t, pos, nullptr)) pending.push_back(value);
      return;
    }
    case VKL_TMATRIX: {
      const auto* m = static_cast<const VKL_Matrix*>(vkl_ptr(cell));
      if (!m || !seen_.insert(m).second) return;
      const int64_t count = (VKL_MatrixRows(m) + 1) * VKL_MatrixCols(m);
      const TObject* cells = VKL_MatrixCells(m);
      for (int64_t i = 0; i < count; ++i) pending.push_back(&cells[i]);
      return;
    }
    case VKL_TFIXEDMATRIX: {
      const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(cell));
      if (!fm || VKL_FMGetType(fm) != VKL_FM_CELLS || !seen_.insert(fm).second) return;
      const int64_t count = VKL_FMGetCount(fm);
      const auto* cells = static_cast<const TObject*>(VKL_FMGetBuffer(fm));
      for (int64_t i = 0; i < count; ++i) pending.push_back(&cells[i]);
      return;
    }
    default:
      return;
  }
}

void TableSweep::hold_reachable(const TObject* root) {
  // An explicit stack: the tables may be nested far deeper than the call stack allows.
  std::vector<const TObject*> pending{root};
  while (!pending.empty()) {
    const TObject* cell = pending.back();
    pending.pop_back();
    visit(cell, pending);
  }
}

void TableSweep::release() {
  for (TObject& hold : held_) {
    VKL_Table* t = vkl_table(&hold);
    const int64_t positions = VKL_HashRawCount(t);
    for (int64_t pos = 0; pos < positions; ++pos)
      if (TObject* value = VKL_HashRawGetN(t, pos, nullptr)) VKL_FreeObjectContent(L_, value);
  }
  for (TObject& hold : held_) VKL_FreeObjectContent(L_, &hold);
  held_.clear();
  seen_.clear();
}

}  // namespace torture
