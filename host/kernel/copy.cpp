// Copying values (deep, to a depth, or sharing containers), the destruction queue, and resizing
// a string or binary payload in place.
#include <algorithm>
#include <cstdlib>
#include <unordered_map>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <vkl/payload.h>

#include "internal.h"

namespace {

// Payloads from this size on are worth huge pages.
constexpr size_t kHugePageWorthy = size_t{4} << 20;

// Set when the thread's queue has been destroyed (thread or program exit): a value released
// after that, by another thread-local or static destructor, is destroyed at once instead.
thread_local bool t_queue_gone = false;

// Objects waiting to be destroyed on this thread, and whether a drain is running.
struct DestroyQueue {
  std::vector<std::pair<void (*)(VKL_State*, void*), void*>> pending;
  bool draining = false;
  ~DestroyQueue() { t_queue_gone = true; }
};

DestroyQueue& destroy_queue() {
  thread_local DestroyQueue queue;
  return queue;
}

class Copier {
 public:
  explicit Copier(VKL_State* L) : L_(L) {}

  // Copies `src` into the nil cell `dst`; on failure `dst` may hold a partial copy.
  bool copy(TObject* dst, const TObject* src, int depth) {
    src = vkl_follow(src);
    void* p = vkl_ptr(src);
    switch (src->tag) {
      case VKL_TSTRING:
      case VKL_TSTRING2:
        return vkl::put_string(L_, dst, VKL_AsString(src), VKL_StringLen(src), src->tag);
      case VKL_TWSTRING:
        return VKL_SetWStringEx(L_, dst, VKL_AsWString(src), VKL_WStringLen(src));
      case VKL_TBINARY:
        return VKL_SetBin(L_, dst, p, vkl_len(src));
      case VKL_TTABLE:
        return depth == 0 ? share(dst, src) : copy_table(dst, static_cast<VKL_Table*>(p), depth);
      case VKL_TMATRIX:
        return depth == 0 ? share(dst, src) : copy_matrix(dst, static_cast<VKL_Matrix*>(p), depth);
      case VKL_TFIXEDMATRIX:
        return depth == 0 ? share(dst, src)
                          : copy_fixed(dst, static_cast<VKL_FixedMatrix*>(p), depth);
      default:
        return share(dst, src);
    }
  }

 private:
  // Containers are shared (one more reference), boxes too; other kinds are plain bytes.
  static bool share(TObject* dst, const TObject* src) {
    void* p = vkl_ptr(src);
    switch (src->tag) {
      case VKL_TTABLE:
        vkl::table_retain(static_cast<VKL_Table*>(p));
        break;
      case VKL_TMATRIX:
        vkl::matrix_retain(static_cast<VKL_Matrix*>(p));
        break;
      case VKL_TFIXEDMATRIX:
      case VKL_TFMELEMENT:
        vkl::fm_retain(static_cast<VKL_FixedMatrix*>(p));
        break;
      default:
        if (vkl_is_box_tag(src->tag)) vkl::retain_box(const_cast<TObject*>(src));
        break;
    }
    memcpy(dst, src, sizeof(TObject));
    return true;
  }

  // A container copied before in this full-depth copy is shared again, which keeps cycles and
  // sharing inside the value.
  bool seen(TObject* dst, const void* source) {
    auto it = copies_.find(source);
    if (it == copies_.end()) return false;
    share(dst, &it->second);
    return true;
  }

  void remember(const void* source, const TObject* copy) {
    TObject entry;
    memcpy(&entry, copy, sizeof entry);
    copies_.emplace(source, entry);
  }

  static int next_depth(int depth) { return depth < 0 ? depth : depth - 1; }

  bool copy_table(TObject* dst, const VKL_Table* t, int depth) {
    if (depth < 0 && seen(dst, t)) return true;
    if (!vkl::stack_room()) return false;
    VKL_Table* target = VKL_NewHashEx(L_, dst, VKL_HashArrayCount(t), VKL_HashHashCount(t));
    if (!target) return false;
    if (depth < 0) remember(t, dst);
    const int64_t positions = VKL_HashRawCount(t);
    for (int64_t pos = 0; pos < positions; ++pos) {
      const TObject* key = nullptr;
      const TObject* value = VKL_HashRawGetN(t, pos, &key);
      if (!value) continue;
      TObject element;
      vkl_put_nil(&element);
      const bool ok = copy(&element, value, next_depth(depth));
      TObject* slot = ok ? VKL_HashSet(L_, target, key) : nullptr;
      if (!slot) {
        vkl::release(L_, &element);
        return false;
      }
      vkl::move_cell(slot, &element);
    }
    return true;
  }

  bool copy_cells(TObject* dst, const TObject* src, int64_t count, int depth) {
    for (int64_t i = 0; i < count; ++i) {
      if (!copy(&dst[i], &src[i], next_depth(depth))) return false;
    }
    return true;
  }

  bool copy_matrix(TObject* dst, const VKL_Matrix* m, int depth) {
    if (depth < 0 && seen(dst, m)) return true;
    if (!vkl::stack_room()) return false;
    const int64_t rows = VKL_MatrixRows(m), cols = VKL_MatrixCols(m);
    VKL_Matrix* target = VKL_CreateMatrix(L_, dst, rows, cols);
    if (!target) return false;
    if (depth < 0) remember(m, dst);
    return copy_cells(VKL_MatrixCells(target), VKL_MatrixCells(m), (rows + 1) * cols, depth);
  }

  bool copy_fixed(TObject* dst, const VKL_FixedMatrix* fm, int depth) {
    if (depth < 0 && seen(dst, fm)) return true;
    if (!vkl::stack_room()) return false;
    const bool cells = VKL_FMGetType(fm) == VKL_FM_CELLS;
    VKL_FixedMatrix* target = VKL_CreateFixedMatrixFromFixedMatrix(L_, dst, fm, -1, !cells);
    if (!target) return false;
    if (depth < 0) remember(fm, dst);
    if (!cells) return true;
    return copy_cells(static_cast<TObject*>(VKL_FMGetBuffer(target)),
                      static_cast<const TObject*>(VKL_FMGetBuffer(fm)), VKL_FMGetCount(fm), depth);
  }

  VKL_State* L_;
  std::unordered_map<const void*, TObject> copies_;
};

int dup(VKL_State* L, TObject* dst, const TObject* src, int depth) {
  if (!dst || !src) return 0;
  TObject fresh;
  vkl_put_nil(&fresh);
  if (!vkl::copy_into(L, &fresh, src, depth)) {
    vkl::release(L, &fresh);
    return 0;
  }
  vkl::replace_cell(L, dst, &fresh);
  return 1;
}

// Bytes a payload of `len` characters takes for a cell of the given kind.
size_t payload_size(int tag, int64_t len) {
  switch (tag) {
    case VKL_TWSTRING:
      return static_cast<size_t>(len + 1) * sizeof(vkl_wchar);
    default:
      return static_cast<size_t>(len) + 1;
  }
}

// Lets the system back a large buffer with huge pages, which are faulted in a few hundred times
// less often when the buffer is filled. The advice covers the buffer's pages from the first to
// the last whole, so that a buffer mapped on its own stays one mapping, which a later resize
// can move without copying.
void advise_huge_pages(char* buf, size_t bytes) {
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t first = reinterpret_cast<uintptr_t>(buf) & ~(page - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(buf) + bytes + page - 1) & ~(page - 1);
  madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

// Resizes a string or binary payload in place; new characters are zeroed or left for the caller.
void* resize_payload(VKL_State* L, TObject* o, int64_t len, bool zero_new) {
  if (!o || len < 0 || len > VKL_GetMaxStrLen()) return nullptr;
  const int tag = o->tag;
  int64_t old_len = 0;
  switch (tag) {
    case VKL_TSTRING:
    case VKL_TSTRING2:
      old_len = VKL_StringLen(o);
      break;
    case VKL_TWSTRING:
      old_len = VKL_WStringLen(o);
      break;
    case VKL_TBINARY:
      old_len = vkl_len(o);
      break;
    default:
      return nullptr;
  }
  const size_t unit = tag == VKL_TWSTRING ? sizeof(vkl_wchar) : 1;
  const size_t new_bytes = payload_size(tag, len);
  auto* old_buf = static_cast<char*>(vkl_ptr(o));
  char* buf = nullptr;
  if (vkl_owned(o)) {
    buf = static_cast<char*>(vkl::payload_realloc(L, old_buf, vkl::payload_bytes(o), new_bytes));
    if (!buf) return nullptr;
  } else {
    buf = static_cast<char*>(vkl::payload_alloc(L, new_bytes));
    if (!buf) return nullptr;
    if (old_buf) memcpy(buf, old_buf, static_cast<size_t>(std::min(old_len, len)) * unit);
  }
  if (new_bytes >= kHugePageWorthy) advise_huge_pages(buf, new_bytes);
  const int64_t kept = std::min(old_len, len);
  if (zero_new)
    memset(buf + kept * static_cast<int64_t>(unit), 0, new_bytes - static_cast<size_t>(kept) * unit);
  else
    memset(buf + len * static_cast<int64_t>(unit), 0, unit);
  vkl_put_ptr(o, tag, buf);
  vkl_put_len(o, static_cast<int32_t>(tag == VKL_TBINARY ? len : len + 1));
  vkl_put_owned(o, 1);
  return buf;
}

}  // namespace

namespace vkl {

void destroy_later(VKL_State* L, void (*destroy)(VKL_State*, void*), void* object) {
  if (t_queue_gone) {
    destroy(L, object);
    return;
  }
  DestroyQueue& queue = destroy_queue();
  queue.pending.emplace_back(destroy, object);
  if (queue.draining) return;
  queue.draining = true;
  while (!queue.pending.empty()) {
    const auto [fn, obj] = queue.pending.back();
    queue.pending.pop_back();
    fn(L, obj);
  }
  queue.draining = false;
}

bool copy_into(VKL_State* L, TObject* dst, const TObject* src, int depth) {
  Copier copier(L);
  return copier.copy(dst, src, depth);
}

}  // namespace vkl

extern "C" {

int VKL_DupObject(VKL_State* L, TObject* dst, const TObject* src) { return dup(L, dst, src, -1); }

int VKL_DupObjectEx(VKL_State* L, TObject* dst, const TObject* src, int depth) {
  return dup(L, dst, src, depth);
}

int VKL_DupObjectHashRef(VKL_State* L, TObject* dst, const TObject* src, int byRef) {
  return dup(L, dst, src, byRef ? 0 : -1);
}

int VKL_DupObjectHashRef3(VKL_State* L, TObject* dst, const TObject* src) {
  return dup(L, dst, src, 0);
}

void* VKL_Realloc2(VKL_State* L, TObject* o, int64_t len) {
  return resize_payload(L, o, len, true);
}

void* VKL_Realloc2Unfilled(VKL_State* L, TObject* o, int64_t len) {
  return resize_payload(L, o, len, false);
}

}  // extern "C"
