// Sizes and construction: length, lengthw, setlength, creatematrix, getmatrixfields,
// createbinary, and path access into nested tables (magicgetarray, magicsetarray).
//
// Failure policy: a malformed call (wrong count, a kind the function does not take, a size out
// of range, a bad path) returns 0 with the result untouched, and so does running out of memory
// while building a result. setlength is the exception: a well-formed resize that fails answers
// the integer 0.
#include <algorithm>
#include <cstdint>
#include <vector>

#include <vkl/kernel.h>

#include "core/typetests.h"
#include "plugin/args.h"

namespace vkl::core {
namespace {

using plugin::arg_at;
using plugin::arg_is_number;

// Cells owned by a handler for the length of one call, released on every way out.
class OwnedCells {
 public:
  explicit OwnedCells(VKL_State* L) : L_(L) {}
  OwnedCells(const OwnedCells&) = delete;
  OwnedCells& operator=(const OwnedCells&) = delete;
  ~OwnedCells() {
    for (TObject& cell : cells_) VKL_FreeObjectContent(L_, &cell);
  }

  // Appends a copy of `value`; false when the copy failed.
  bool add_copy(const TObject* value) {
    TObject copy;
    vkl_put_nil(&copy);
    if (!VKL_DupObjectHashRef3(L_, &copy, value)) return false;
    cells_.push_back(copy);
    return true;
  }
  const std::vector<TObject>& cells() const { return cells_; }

 private:
  VKL_State* L_;
  std::vector<TObject> cells_;
};

// ---- setlength ----

// Length of a zero-terminated run of characters, at most `limit`.
template <class Char>
int64_t terminated_length(const Char* s, int64_t limit) {
  if (!s) return 0;
  int64_t n = 0;
  while (n < limit && s[n] != 0) ++n;
  return n;
}

// Resizes a narrow or wide string to `n` characters. An owned buffer is resized in place; a
// buffer the cell does not own is replaced by an owned one, which on growth receives only the
// text up to its first zero.
template <class Char>
bool resize_text(VKL_State* L, TObject* var, int64_t old_len, int64_t n) {
  if (n == old_len) return true;
  const bool owned = vkl_owned(var) != 0;
  const int64_t text_len =
      owned ? old_len : terminated_length(static_cast<const Char*>(vkl_ptr(var)), old_len);
  auto* buf = static_cast<Char*>(VKL_Realloc2(L, var, n));
  if (!buf) return false;
  if (!owned && n > old_len) std::fill(buf + text_len, buf + n, Char{0});
  return true;
}

bool resize_binary(VKL_State* L, TObject* var, int64_t n) {
  return n == vkl_len(var) || VKL_Realloc2(L, var, n) != nullptr;
}

// ---- paths into nested tables ----

bool is_key_kind(const TObject* o) {
  return vkl_is_number_tag(o->tag) || vkl_is_string_tag(o->tag);
}

// Collects the keys of a path given either as the arguments [first, end) or as one table
// argument holding the keys at 0..n-1. The keys are copied, so they stay valid while the
// tables they came from change. False for a malformed or empty path.
bool collect_path(TObject* args, int first, int end, OwnedCells& keys) {
  if (end - first == 1 && arg_at(args, first)->tag == VKL_TTABLE) {
    const VKL_Table* path = vkl_table(arg_at(args, first));
    if (!VKL_ArrayCompleteCheck(path)) return false;
    const int64_t count = VKL_HashCount(path);
    for (int64_t i = 0; i < count; ++i) {
      const TObject* key = vkl_follow(VKL_HashGetInt64(path, i));
      if (!is_key_kind(key) || !keys.add_copy(key)) return false;
    }
  } else {
    for (int i = first; i < end; ++i) {
      const TObject* key = arg_at(args, i);
      if (!is_key_kind(key) || !keys.add_copy(key)) return false;
    }
  }
  return !keys.cells().empty();
}

// The table stored in an entry on the way down a path, made a variable; a nil entry becomes a
// new table. Null when the entry holds something else or memory runs out.
VKL_Table* step_into(VKL_State* L, TObject* entry) {
  if (entry->tag == VKL_TNIL) return VKL_ForceTable(L, entry, 2);
  if (entry->tag == VKL_TTABLE) return VKL_ForceTable(L, entry, 0);
  return nullptr;
}

}  // namespace

// length(x): bytes of a string, units of a wide string, entries of a table, bytes of a binary,
// cells of a matrix or fixed matrix
int length(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  const TObject* x = arg_at(args, 0);
  int64_t count = 0;
  switch (x->tag) {
    case VKL_TSTRING:
    case VKL_TSTRING2:
      count = VKL_StringLen(x);
      break;
    case VKL_TWSTRING:
      count = VKL_WStringLen(x);
      break;
    case VKL_TTABLE:
      count = VKL_HashCount(vkl_table(x));
      break;
    case VKL_TBINARY:
      count = vkl_len(x);
      break;
    case VKL_TMATRIX: {
      const auto* m = static_cast<const VKL_Matrix*>(vkl_ptr(x));
      count = VKL_MatrixRows(m) * VKL_MatrixCols(m);
      break;
    }
    case VKL_TFIXEDMATRIX:
      count = VKL_FMGetCount(static_cast<const VKL_FixedMatrix*>(vkl_ptr(x)));
      break;
    default:
      return 0;
  }
  VKL_SetIntAuto(L, result, count);
  return 1;
}

// lengthw(x): length in UTF-16 units of a wide string, or of a narrow string or binary read in
// the host code page
int lengthw(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  const TObject* x = arg_at(args, 0);
  int64_t units = 0;
  switch (x->tag) {
    case VKL_TWSTRING:
      units = VKL_WStringLen(x);
      break;
    case VKL_TSTRING:
    case VKL_TSTRING2:
      units = VKL_MultiByteToWide(0, VKL_AsString(x), VKL_StringLen(x), nullptr, 0);
      break;
    case VKL_TBINARY:
      units = VKL_MultiByteToWide(0, VKL_AsString(x), vkl_len(x), nullptr, 0);
      break;
    default:
      return 0;
  }
  if (units < 0) return 0;
  VKL_SetIntAuto(L, result, units);
  return 1;
}

// setlength(var, n): resizes a string, wide string, binary, matrix or fixed matrix in place;
// 1 on success, 0 when the resize failed
int setlength(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 2 || !arg_is_number(args, nargs, 1)) return 0;
  TObject* var = arg_at(args, 0);
  const int64_t n = VKL_AsInt64(arg_at(args, 1));
  // A fixed matrix passes any size on to the kernel, which answers for a negative one.
  if (n < 0 && var->tag != VKL_TFIXEDMATRIX) return 0;
  bool resized = false;
  switch (var->tag) {
    case VKL_TSTRING:
    case VKL_TSTRING2:
      resized = resize_text<char>(L, var, VKL_StringLen(var), n);
      break;
    case VKL_TWSTRING:
      resized = resize_text<vkl_wchar>(L, var, VKL_WStringLen(var), n);
      break;
    case VKL_TBINARY:
      resized = resize_binary(L, var, n);
      break;
    case VKL_TMATRIX:
      resized = VKL_Matrix_Resize(L, var, n) != 0;
      break;
    case VKL_TFIXEDMATRIX:
      resized = VKL_FM_Resize(L, var, n) != 0;
      break;
    default:
      return 0;
  }
  VKL_SetInt(L, result, resized ? 1 : 0);
  return 1;
}

// creatematrix(rows, cols [, fields [, values...]]): a cell matrix with the field names of a
// table and the values filled in row by row
int creatematrix(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 2 || !arg_is_number(args, nargs, 0) || !arg_is_number(args, nargs, 1)) return 0;
  const int64_t rows = VKL_AsInt64(arg_at(args, 0));
  const int64_t cols = VKL_AsInt64(arg_at(args, 1));
  if (rows < 1 || cols < 0) return 0;
  const int64_t values = nargs > 3 ? nargs - 3 : 0;
  int64_t capacity = 0;
  if (!__builtin_mul_overflow(rows, cols, &capacity) && values > capacity) return 0;

  TObject fresh;
  vkl_put_nil(&fresh);
  VKL_Matrix* m = VKL_CreateMatrix(L, &fresh, rows, cols);
  if (!m) return 0;
  bool copied = true;
  if (nargs >= 3 && arg_at(args, 2)->tag == VKL_TTABLE) {
    const VKL_Table* fields = vkl_table(arg_at(args, 2));
    const int64_t count = std::min(VKL_HashCount(fields), cols);
    for (int64_t col = 0; copied && col < count; ++col) {
      copied = VKL_DupObject(L, VKL_Matrix_Get(m, -1, col), VKL_HashGetN(fields, col, nullptr));
    }
  }
  TObject* data = VKL_MatrixCells(m) + cols;
  for (int64_t i = 0; copied && i < values; ++i) {
    copied = VKL_DupObject(L, &data[i], &args[3 + i]);
  }
  if (!copied) {
    VKL_FreeObjectContent(L, &fresh);
    return 0;
  }
  install(L, result, &fresh);
  return 1;
}

// getmatrixfields(m): a table of copies of a cell matrix's field cells, keyed from 0
int getmatrixfields(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1 || arg_at(args, 0)->tag != VKL_TMATRIX) return 0;
  const auto* m = static_cast<const VKL_Matrix*>(vkl_ptr(arg_at(args, 0)));
  const int64_t cols = VKL_MatrixCols(m);
  TObject fresh;
  vkl_put_nil(&fresh);
  VKL_Table* fields = VKL_NewHashEx(L, &fresh, cols, 0);
  if (!fields) return 0;
  for (int64_t col = 0; col < cols; ++col) {
    TObject* slot = VKL_HashSetInt64(L, fields, col);
    if (!slot || !VKL_DupObject(L, slot, VKL_Matrix_Get(m, -1, col))) {
      VKL_FreeObjectContent(L, &fresh);
      return 0;
    }
  }
  install(L, result, &fresh);
  return 1;
}

// createbinary(n): a binary of n zero bytes
int createbinary(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1 || !arg_is_number(args, nargs, 0)) return 0;
  const int64_t n = VKL_AsInt64(arg_at(args, 0));
  if (n < 0) return 0;
  return VKL_SetBin(L, result, nullptr, n);
}

// magicgetarray(t, key1, ..., keyN) / magicgetarray(t, path): the entry at the end of a path
// of keys through nested tables, shared; nil as soon as an entry is missing or nil
int magicgetarray(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 2 || args[0].tag != VKL_TTABLE) return 0;
  if (nargs > 2 && arg_at(args, 1)->tag == VKL_TTABLE) return 0;
  OwnedCells keys(L);
  if (!collect_path(args, 1, nargs, keys)) return 0;
  const VKL_Table* table = vkl_table(&args[0]);
  const std::vector<TObject>& path = keys.cells();
  for (size_t i = 0; i < path.size(); ++i) {
    const TObject* entry = VKL_HashGet(table, &path[i]);
    if (!entry || entry->tag == VKL_TNIL) {
      VKL_SetNil(L, result);
      return 1;
    }
    if (i + 1 == path.size()) return VKL_DupObjectHashRef3(L, result, entry);
    if (entry->tag != VKL_TTABLE) return 0;
    table = vkl_table(entry);
  }
  return 0;
}

// magicsetarray(t, key1, ..., keyN, value) / magicsetarray(t, path, value): stores value
// (tables shared) at the end of a path, creating missing tables on the way; answers 1
int magicsetarray(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 3 || arg_at(args, 0)->tag != VKL_TTABLE) return 0;
  if (nargs > 3 && arg_at(args, 1)->tag == VKL_TTABLE) return 0;
  OwnedCells keys(L);
  if (!collect_path(args, 1, nargs - 1, keys)) return 0;
  VKL_Table* table = VKL_ForceTable(L, arg_at(args, 0), 0);
  if (!table) return 0;
  // Tables created on the way stay in place when a later step fails.
  const std::vector<TObject>& path = keys.cells();
  for (size_t i = 0; i + 1 < path.size(); ++i) {
    TObject* entry = VKL_HashSet(L, table, &path[i]);
    if (!entry || !(table = step_into(L, entry))) return 0;
  }
  TObject* last = VKL_HashSet(L, table, &path.back());
  if (!last || !VKL_DupObjectHashRef3(L, last, &args[nargs - 1])) return 0;
  VKL_SetInt(L, result, 1);
  return 1;
}

}  // namespace vkl::core
