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

  // Holds every table reachable from the cell that is not already held.
  void hold_reachable(const TObject* root);
  // Empties the held tables and lets go of them.
  void release();

 private:
  void visit(const TObject* cell, std::vector<const TObject*>& pending);

  VKL_State* L_;
  IsShared is_shared_;
  std::unordered_set<const void*> seen_;
  std::vector<TObject> held_;
};

}  // namespace torture
