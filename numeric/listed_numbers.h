// A table read as a list of numbers, the way poly reads its coefficients and the finance
// functions their cash flows.
#pragma once

#include <vkl/kernel.h>

#include <cstdint>

namespace vkl::numeric {

// Calls visit(number) for the table's array part in slot order: a free slot is skipped; the
// list ends at the first entry whose key is not its position or whose value is not a number
// (a fixed matrix or element counts, as the kernel reads it). A value that is no table lists
// nothing.
template <class Visit>
void for_each_listed_number(const TObject* list, Visit&& visit) {
  if (list->tag != VKL_TTABLE) return;
  const VKL_Table* t = vkl_table(list);
  const int64_t positions = VKL_HashRawCount(t);
  for (int64_t pos = 0; pos < positions; ++pos) {
    const TObject* key = nullptr;
    const TObject* value = VKL_HashRawGetN(t, pos, &key);
    if (!value) continue;
    if (key->tag != VKL_TINT || vkl_int(key) != pos) return;
    value = vkl_follow(value);
    if (!vkl_is_number_tag(value->tag) && value->tag != VKL_TFIXEDMATRIX &&
        value->tag != VKL_TFMELEMENT)
      return;
    visit(VKL_AsDouble(value));
  }
}

}  // namespace vkl::numeric
