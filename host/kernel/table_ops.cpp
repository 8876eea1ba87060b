// Whole-table operations: bounds and fields, copies, removing ranges, sorting, reindexing,
// reshaping, completeness checks, and turning constant tables into variables. Failure policy:
// a null table or cell, a bad count or a refused key gives 0 (null), and so does running out of
// memory, with the table and the target cell left as they were.
#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>

#include "table.h"

using vkl::table_detail::ArraySlot;
using vkl::table_detail::HashEntry;
using vkl::table_detail::Key;
using vkl::table_detail::PodVector;

namespace {

namespace td = vkl::table_detail;

// `dst` becomes a copy of `src` made `depth` levels deep by the kernel's copier.
int copy_table(VKL_State* L, TObject* dst, const VKL_Table* src, int depth) {
  if (!dst || !src) return 0;
  TObject source;
  vkl_put_nil(&source);
  vkl_put_ptr(&source, VKL_TTABLE, src);
  TObject fresh;
  vkl_put_nil(&fresh);
  if (!vkl::copy_into(L, &fresh, &source, depth)) {
    vkl::release(L, &fresh);
    return 0;
  }
  vkl::replace_cell(L, dst, &fresh);
  return 1;
}

// Calls visit(key) for each integer key of the table (kinds 0 and 20), array part first.
template <class Visit>
void for_each_integer_key(const VKL_Table* t, Visit visit) {
  for (size_t i = 0; i < t->array.size(); ++i) {
    if (!td::is_hole(t->array[i])) visit(static_cast<int64_t>(i));
  }
  for (size_t i = 0; i < t->entries.size(); ++i) {
    const TObject& key = t->entries[i].key;
    if (key.tag == VKL_TINT) visit(vkl_int(&key));
    if (key.tag == VKL_TINT64) visit(vkl_int64(&key));
  }
}

template <class Int>
Int bounds(const VKL_Table* t, Int* lo, Int* hi, bool only_32_bits) {
  if (!t) return 0;
  Int count = 0, low = 0, high = 0;
  for_each_integer_key(t, [&](int64_t key) {
    if (only_32_bits && (key < INT32_MIN || key > INT32_MAX)) return;
    const auto k = static_cast<Int>(key);
    low = count == 0 ? k : std::min(low, k);
    high = count == 0 ? k : std::max(high, k);
    if (count < std::numeric_limits<Int>::max()) ++count;
  });
  if (count > 0) {
    if (lo) *lo = low;
    if (hi) *hi = high;
  }
  return count;
}

// One entry of the array part with the cell it is ordered by (null: sorts before all others).
struct SortRow {
  const TObject* order_by;
  size_t slot;
};

// Sorts the live entries of the array part by the cell `order_of` picks from each value,
// stably, and gives them the keys 0..n-1 (holes close up).
template <class OrderOf>
int sort_array_part(VKL_Table* t, bool descending, OrderOf order_of) {
  PodVector<SortRow> rows;
  PodVector<ArraySlot> sorted;
  const auto live = static_cast<size_t>(t->array_live);
  if (!rows.reserve(live) || !sorted.reserve(live)) return 0;
  for (size_t i = 0; i < t->array.size(); ++i) {
    if (td::is_hole(t->array[i])) continue;
    *rows.push_reserved() = SortRow{order_of(t->array[i].value), i};
  }
  const auto before = [descending](const SortRow& a, const SortRow& b) {
    const TObject* x = descending ? b.order_by : a.order_by;
    const TObject* y = descending ? a.order_by : b.order_by;
    if (!x || !y) return !x && y;
    return VKL_CompareObj(x, y) < 0;
  };
  std::stable_sort(rows.data(), rows.data() + rows.size(), before);
  for (size_t i = 0; i < rows.size(); ++i) {
    ArraySlot* slot = sorted.push_reserved();
    td::put_array_key(slot, i);
    memcpy(&slot->value, &t->array[rows[i].slot].value, sizeof(TObject));
  }
  t->array.swap(sorted);
  ++t->changes;
  return 1;
}

bool is_integer_key(const TObject& key) {
  return key.tag == VKL_TINT || key.tag == VKL_TINT64;
}

template <class Accept>
int complete_array_of(const VKL_Table* t, Accept accept) {
  if (!VKL_ArrayCompleteCheck(t)) return 0;
  for (size_t i = 0; i < t->array.size(); ++i) {
    if (!accept(vkl_follow(&t->array[i].value)->tag)) return 0;
  }
  return 1;
}

}  // namespace

extern "C" {

int32_t VKL_HashGetBounds(const VKL_Table* t, int32_t* lo, int32_t* hi) {
  return bounds<int32_t>(t, lo, hi, true);
}

int64_t VKL_HashGetBounds64(const VKL_Table* t, int64_t* lo, int64_t* hi) {
  return bounds<int64_t>(t, lo, hi, false);
}

int VKL_HashGetFields(VKL_State* L, const VKL_Table* t, TObject* dst) {
  if (!t || !dst) return 0;
  TObject fresh;
  vkl_put_nil(&fresh);
  VKL_Table* fields = VKL_NewHashEx(L, &fresh, t->hash_live, 0);
  if (!fields) return 0;
  int32_t next = 0;
  for (size_t i = 0; i < t->entries.size(); ++i) {
    const TObject& key = t->entries[i].key;
    if (!vkl_is_string_tag(key.tag)) continue;
    TObject* cell = VKL_HashSetInt(L, fields, next++);
    if (!cell || !vkl::put_string(L, cell, VKL_AsString(&key), vkl_len(&key) - 1)) {
      vkl::release(L, &fresh);
      return 0;
    }
  }
  vkl::replace_cell(L, dst, &fresh);
  return 1;
}

VKL_Table* VKL_NewHashFromHash(VKL_State* L, TObject* dst, const VKL_Table* src) {
  if (!src) return nullptr;
  return VKL_NewHashEx(L, dst, src->array_live, src->hash_live);
}

int VKL_DupHash(VKL_State* L, TObject* dst, const VKL_Table* src) {
  return copy_table(L, dst, src, -1);
}

int VKL_DupHashEx(VKL_State* L, TObject* dst, const VKL_Table* src, int depth) {
  return copy_table(L, dst, src, depth);
}

int VKL_DupNewHashFromHash(VKL_State* L, TObject* dst, const VKL_Table* src) {
  return copy_table(L, dst, src, 1);
}

int64_t VKL_DeleteIndex2(VKL_State* L, VKL_Table* t, int64_t index, int64_t count) {
  if (!t || index < 0 || count <= 0) return 0;
  const size_t size = t->array.size();
  if (static_cast<uint64_t>(index) >= size) return 0;
  const auto first = static_cast<size_t>(index);
  const size_t gone = std::min(static_cast<uint64_t>(count), uint64_t{size - first});
  // The removed values are released after the table is consistent again.
  PodVector<TObject> removed;
  if (!removed.reserve(gone)) return 0;
  for (size_t i = first; i < first + gone; ++i) {
    if (!td::is_hole(t->array[i])) *removed.push_reserved() = t->array[i].value;
  }
  memmove(&t->array[first], &t->array[first + gone], (size - first - gone) * sizeof(ArraySlot));
  t->array.resize_down(size - gone);
  for (size_t i = first; i < t->array.size(); ++i) {
    if (!td::is_hole(t->array[i])) vkl_put_int(&t->array[i].key, static_cast<int32_t>(i));
  }
  t->array_live -= static_cast<int64_t>(removed.size());
  td::trim_array(t);
  ++t->changes;
  for (size_t i = 0; i < removed.size(); ++i) vkl::release(L, &removed[i]);
  return static_cast<int64_t>(removed.size());
}

int VKL_QuickSortArray(VKL_State*, VKL_Table* t, int descending) {
  if (!t) return 0;
  return sort_array_part(t, descending != 0, [](const TObject& value) { return &value; });
}

int VKL_QuickSortTableByField(VKL_State*, VKL_Table* t, const TObject* field, int descending) {
  Key key;
  if (!t || !td::make_key(field, &key)) return 0;
  return sort_array_part(t, descending != 0, [&key](const TObject& value) -> const TObject* {
    const TObject* row = vkl_follow(&value);
    return row->tag == VKL_TTABLE ? td::find(vkl_table(row), key) : nullptr;
  });
}

int VKL_Reindex(VKL_State*, VKL_Table* t) {
  if (!t) return 0;
  size_t moving = 0;
  for (size_t i = 0; i < t->entries.size(); ++i) moving += is_integer_key(t->entries[i].key);
  const size_t total = static_cast<size_t>(t->array_live) + moving;
  PodVector<ArraySlot> array;
  if (total > td::kMaxArray || !array.reserve(total)) return 0;
  for (size_t i = 0; i < t->array.size(); ++i) {
    if (td::is_hole(t->array[i])) continue;
    ArraySlot* slot = array.push_reserved();
    td::put_array_key(slot, array.size() - 1);
    slot->value = t->array[i].value;
  }
  for (size_t i = 0; i < t->entries.size(); ++i) {
    HashEntry& entry = t->entries[i];
    if (!is_integer_key(entry.key)) continue;
    ArraySlot* slot = array.push_reserved();
    td::put_array_key(slot, array.size() - 1);
    vkl::move_cell(&slot->value, &entry.value);
    vkl_put_nil(&entry.key);  // an integer key holds nothing to release
  }
  t->array.swap(array);
  t->array_live = static_cast<int64_t>(total);
  // The index slots of the moved entries now lead to dead entries: count them as deleted.
  t->hash_live -= static_cast<int64_t>(moving);
  t->tombstones += moving;
  td::compact_hash(t);  // on failure the dead entries simply stay until the next growth
  ++t->changes;
  return 1;
}

int VKL_Reshape(VKL_State* L, TObject* dst, const VKL_Table* src, int64_t cols) {
  if (!dst || !src || cols <= 0) return 0;
  const int64_t live = src->array_live;
  const int64_t rows = live / cols + (live % cols != 0);
  TObject fresh;
  vkl_put_nil(&fresh);
  VKL_Table* out = VKL_NewHashEx(L, &fresh, rows, 0);
  if (!out) return 0;
  VKL_Table* row = nullptr;
  int64_t placed = 0;
  for (size_t i = 0; i < src->array.size(); ++i) {
    if (td::is_hole(src->array[i])) continue;
    const int64_t column = placed % cols;
    bool ok = true;
    if (column == 0) {
      TObject* row_cell = VKL_HashSetInt64(L, out, placed / cols);
      row = row_cell ? VKL_NewHashEx(L, row_cell, std::min(cols, live - placed), 0) : nullptr;
      ok = row != nullptr;
    }
    TObject* cell = ok ? VKL_HashSetInt64(L, row, column) : nullptr;
    if (!cell || !vkl::copy_into(L, cell, &src->array[i].value, 0)) {
      vkl::release(L, &fresh);
      return 0;
    }
    ++placed;
  }
  vkl::replace_cell(L, dst, &fresh);
  return 1;
}

int VKL_ArrayCompleteCheck(const VKL_Table* t) {
  return t && t->hash_live == 0 && t->array_live == static_cast<int64_t>(t->array.size());
}

int VKL_IsNNArray(const VKL_Table* t) {
  return complete_array_of(t, vkl_is_number_tag);
}

int VKL_IsNSArray(const VKL_Table* t) {
  return complete_array_of(t, vkl_is_string_tag);
}

int VKL_StaticToVariable(VKL_State* L, TObject* o) {
  if (!o) return 0;
  TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TTABLE || !vkl::table_is_static(vkl_table(cell))) return 1;
  TObject fresh;
  vkl_put_nil(&fresh);
  if (!vkl::copy_into(L, &fresh, cell, -1)) {
    vkl::release(L, &fresh);
    return 0;
  }
  vkl::replace_cell(L, cell, &fresh);
  return 1;
}

VKL_Table* VKL_ForceTable(VKL_State* L, TObject* o, int mode) {
  if (!o) return nullptr;
  TObject* cell = vkl_follow(o);
  if (cell->tag == VKL_TTABLE) return VKL_StaticToVariable(L, cell) ? vkl_table(cell) : nullptr;
  if (cell->tag == VKL_TNIL || mode == 2) return VKL_NewHash(L, cell);
  return nullptr;
}

}  // extern "C"
