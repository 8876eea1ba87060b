// Fixed matrices (kind 27): dense buffers of one element type with 1 to 16 dimensions, stored
// with the last dimension running fastest, and element cells (kind 28) that point into them.
// Fixed matrices are reference counted; a change of shape copies a shared matrix first.
//
// Failure policy: operations return null / 0 (readers: 0, -1 or null as documented) and leave
// their target cell unchanged for bad input (null pointers, unknown element types, bad or absurd
// dimensions, indexes out of range, ragged tables) and when memory runs out.
#include <sys/mman.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "internal.h"

namespace {

constexpr int kMaxDims = 16;
// Largest element buffer we try to allocate; larger requests are refused before reaching malloc.
constexpr int64_t kMaxBufferBytes = int64_t{1} << 40;

}  // namespace

struct VKL_FixedMatrix {
  int64_t refcount;
  int type;
  int ndims;
  int64_t elem_size;
  int64_t count;
  int64_t dims[kMaxDims];
  uint8_t* buffer;  // count * elem_size bytes; null when the matrix is empty
};

namespace {

using FM = VKL_FixedMatrix;

// ---- element types and shapes ----

int64_t element_size(int type) {
  switch (type) {
    case VKL_FM_INT32:
      return 4;
    case VKL_FM_DOUBLE:
    case VKL_FM_INT64A:
    case VKL_FM_INT64:
      return 8;
    case VKL_FM_CELLS:
      return VKL_CELL_SIZE;
    default:
      return 0;
  }
}

// The element count of a shape, or -1 when the shape is bad or absurdly large. Zero dimensions
// are allowed (an empty matrix), but the other dimensions must still be of sane size so that
// every stride stays within range.
int64_t shape_count(int ndims, const int64_t* dims, int64_t elem_size) {
  if (ndims < 1 || ndims > kMaxDims || !dims) return -1;
  int64_t count = 1;
  int64_t bound = elem_size;
  for (int k = 0; k < ndims; ++k) {
    if (dims[k] < 0) return -1;
    if (__builtin_mul_overflow(bound, dims[k] > 0 ? dims[k] : 1, &bound)) return -1;
    if (bound > kMaxBufferBytes) return -1;
    count *= dims[k];
  }
  return count;
}

// Element strides of a shape: the last dimension has stride 1.
void strides_of(const FM* fm, int64_t* strides) {
  int64_t stride = 1;
  for (int k = fm->ndims - 1; k >= 0; --k) {
    strides[k] = stride;
    stride *= fm->dims[k] > 0 ? fm->dims[k] : 1;
  }
}

uint8_t* element_at(const FM* fm, int64_t offset) {
  return fm->buffer + offset * fm->elem_size;
}

TObject* cell_at(const FM* fm, int64_t offset) {
  return reinterpret_cast<TObject*>(element_at(fm, offset));
}

// Large buffers are mapped fresh and still untouched: asking for huge pages on the 2 MiB-aligned
// part of them cuts the page faults of the first write (a result being filled) about 500-fold.
void ask_huge_pages(void* buffer, size_t bytes) {
  constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
  if (bytes < 2 * kHugePage) return;
  const auto start = reinterpret_cast<uintptr_t>(buffer);
  const uintptr_t first = (start + kHugePage - 1) & ~(kHugePage - 1);
  const uintptr_t end = (start + bytes) & ~(kHugePage - 1);
  if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

// A zeroed buffer for `count` elements (nil cells for VKL_FM_CELLS); null for an empty matrix
// or when memory runs out (then *ok is false).
uint8_t* new_buffer(int type, int64_t count, int64_t elem_size, bool* ok) {
  *ok = true;
  if (count == 0) return nullptr;
  auto* buffer = static_cast<uint8_t*>(
      std::calloc(static_cast<size_t>(count), static_cast<size_t>(elem_size)));
  if (!buffer) {
    *ok = false;
    return nullptr;
  }
  ask_huge_pages(buffer, static_cast<size_t>(count * elem_size));
  if (type == VKL_FM_CELLS) {
    for (int64_t i = 0; i < count; ++i) vkl_put_nil(reinterpret_cast<TObject*>(buffer) + i);
  }
  return buffer;
}

void fm_destroy(VKL_State* L, void* object) {
  auto* fm = static_cast<FM*>(object);
  if (fm->type == VKL_FM_CELLS) {
    // Nested containers released here go through the destruction queue, not recursion.
    for (int64_t i = 0; i < fm->count; ++i) vkl::release(L, cell_at(fm, i));
  }
  std::free(fm->buffer);
  delete fm;
}

// ---- numbers ----

// A number in its own kind: VKL_TINT and VKL_TINT64 in `i`, VKL_TREAL in `d`.
struct Number {
  int kind;
  int64_t i;
  double d;
};


int64_t number_as_int64(Number n) {
  return n.kind == VKL_TREAL ? vkl::real_to_int64(n.d) : n.i;
}

double number_as_double(Number n) {
  return n.kind == VKL_TREAL ? n.d : static_cast<double>(n.i);
}

Number element_number(const FM* fm, int64_t offset);

// The number a cell holds: numbers and fixed-matrix elements keep their value, anything else
// is integer 0.
Number cell_number(const TObject* cell) {
  cell = vkl_follow(cell);
  switch (cell->tag) {
    case VKL_TINT:
      return {VKL_TINT, vkl_int(cell), 0};
    case VKL_TREAL:
      return {VKL_TREAL, 0, vkl_real(cell)};
    case VKL_TINT64:
      return {VKL_TINT64, vkl_int64(cell), 0};
    case VKL_TFMELEMENT: {
      const auto* fm = static_cast<const FM*>(vkl_ptr(cell));
      const int64_t offset = vkl_elem_offset(cell);
      if (fm && fm->type != VKL_FM_CELLS && offset >= 0 && offset < fm->count) {
        return element_number(fm, offset);
      }
      return {VKL_TINT, 0, 0};
    }
    default:
      return {VKL_TINT, 0, 0};
  }
}

// Reading and writing one element of storage type T (int32_t, double, int64_t, or TObject for
// VKL_FM_CELLS). Cells written here are nil beforehand.
template <class T>
Number load(const uint8_t* p) {
  if constexpr (std::is_same_v<T, TObject>) {
    return cell_number(reinterpret_cast<const TObject*>(p));
  } else {
    T v;
    memcpy(&v, p, sizeof v);
    if constexpr (std::is_same_v<T, double>) return {VKL_TREAL, 0, v};
    if constexpr (std::is_same_v<T, int32_t>) return {VKL_TINT, v, 0};
    return {VKL_TINT64, static_cast<int64_t>(v), 0};
  }
}

template <class T>
void store(uint8_t* p, Number n) {
  if constexpr (std::is_same_v<T, TObject>) {
    TObject cell;
    vkl_put_nil(&cell);
    switch (n.kind) {
      case VKL_TREAL:
        vkl_put_real(&cell, n.d);
        break;
      case VKL_TINT64:
        vkl_put_int64(&cell, n.i);
        break;
      default:
        vkl_put_int(&cell, static_cast<int32_t>(n.i));
        break;
    }
    memcpy(p, &cell, sizeof cell);
  } else {
    T v;
    if constexpr (std::is_same_v<T, double>) {
      v = number_as_double(n);
    } else if constexpr (std::is_same_v<T, int32_t>) {
      v = vkl::saturate_int32(number_as_int64(n));
    } else {
      v = number_as_int64(n);
    }
    memcpy(p, &v, sizeof v);
  }
}

// The one switch from an element type to its storage type: calls f with a value of that type.
template <class F>
void with_storage(int type, F&& f) {
  switch (type) {
    case VKL_FM_INT32:
      f(int32_t{});
      break;
    case VKL_FM_DOUBLE:
      f(double{});
      break;
    case VKL_FM_CELLS:
      f(TObject{});
      break;
    default:
      f(int64_t{});
      break;
  }
}

Number element_number(const FM* fm, int64_t offset) {
  Number n{VKL_TINT, 0, 0};
  with_storage(fm->type, [&](auto tag) { n = load<decltype(tag)>(element_at(fm, offset)); });
  return n;
}

// Element `offset` as a number for the public readers: cells read 0.
Number read_number(const FM* fm, int64_t offset) {
  if (!fm || offset < 0 || offset >= fm->count || fm->type == VKL_FM_CELLS) {
    return {VKL_TINT, 0, 0};
  }
  return element_number(fm, offset);
}

// ---- life cycle helpers ----

// Puts a new kind-27 reference to `fm` (whose reference the cell takes over) into `o`.
void put_fixed(VKL_State* L, TObject* o, FM* fm) {
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TFIXEDMATRIX, fm);
}

bool is_int64_type(int type) {
  return type == VKL_FM_INT64 || type == VKL_FM_INT64A;
}

// Numeric element types whose bytes are the same values (int64 under either of its codes).
bool same_storage(int a, int b) {
  return a != VKL_FM_CELLS && (a == b || (is_int64_type(a) && is_int64_type(b)));
}

// Converts every element of `src` into the same position of `dst` (same count, nil or zero).
void convert_elements(const FM* src, FM* dst) {
  if (same_storage(src->type, dst->type)) {
    if (src->count > 0) {
      memcpy(dst->buffer, src->buffer, static_cast<size_t>(src->count * src->elem_size));
    }
    return;
  }
  with_storage(src->type, [&](auto from) {
    with_storage(dst->type, [&](auto to) {
      using From = decltype(from);
      using To = decltype(to);
      for (int64_t i = 0; i < src->count; ++i) {
        store<To>(element_at(dst, i), load<From>(element_at(src, i)));
      }
    });
  });
}

// A new matrix (reference count 1) of the shape of `src` and element type `type`, holding the
// elements of src converted when copy_data is set; cells are copied deep. Null on failure.
FM* copy_of(VKL_State* L, const FM* src, int type, bool copy_data) {
  if (copy_data && type == VKL_FM_CELLS && src->type == VKL_FM_CELLS) {
    // The general copier keeps values shared inside the matrix (and the matrix itself) shared in
    // the copy.
    TObject view;
    vkl_put_nil(&view);
    vkl_put_ptr(&view, VKL_TFIXEDMATRIX, src);
    TObject out;
    vkl_put_nil(&out);
    if (!vkl::copy_into(L, &out, &view, -1) || out.tag != VKL_TFIXEDMATRIX) {
      vkl::release(L, &out);
      return nullptr;
    }
    return static_cast<FM*>(vkl_ptr(&out));
  }
  FM* fm = vkl::fm_create(L, type, src->ndims, src->dims);
  if (fm && copy_data) convert_elements(src, fm);
  return fm;
}

// The matrix in `o` (a reference followed) ready to be changed in place: a shared one is
// replaced in the cell by a deep copy first. Null when the cell holds no fixed matrix or the copy
// fails.
FM* unshared_in(VKL_State* L, TObject* o) {
  if (!o) return nullptr;
  TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TFIXEDMATRIX || !vkl_ptr(cell)) return nullptr;
  auto* fm = static_cast<FM*>(vkl_ptr(cell));
  if (fm->refcount <= 1) return fm;
  FM* copy = copy_of(L, fm, fm->type, true);
  if (copy) put_fixed(L, cell, copy);
  return copy;
}

// Advances `index` over the dimensions of `fm` other than `fixed` (-1: none) in storage order.
// Returns 1 while it is a valid position, 0 when it wrapped (free dimensions then zero) or the
// input was not a valid position.
int advance(const FM* fm, int64_t* index, int fixed) {
  if (!fm || !index) return 0;
  bool valid = fm->count > 0;
  for (int k = 0; k < fm->ndims && valid; ++k) valid = index[k] >= 0 && index[k] < fm->dims[k];
  if (valid) {
    for (int k = fm->ndims - 1; k >= 0; --k) {
      if (k == fixed) continue;
      if (++index[k] < fm->dims[k]) return 1;
      index[k] = 0;
    }
    return 0;
  }
  for (int k = 0; k < fm->ndims; ++k) {
    if (k != fixed) index[k] = 0;
  }
  return 0;
}

// The element count with the first dimension changed, or -1 when that shape is refused.
int64_t count_with_first(const FM* fm, int64_t first_dim) {
  int64_t dims[kMaxDims];
  memcpy(dims, fm->dims, sizeof dims);
  dims[0] = first_dim;
  return shape_count(fm->ndims, dims, fm->elem_size);
}

// Changes the first dimension of an unshared matrix; new elements zero (nil for cells).
bool resize_first(FM* fm, VKL_State* L, int64_t first_dim) {
  const int64_t count = count_with_first(fm, first_dim);
  if (count < 0) return false;
  uint8_t* buffer = fm->buffer;
  if (count > fm->count) {
    void* grown = std::realloc(buffer, static_cast<size_t>(count * fm->elem_size));
    if (!grown) return false;
    buffer = static_cast<uint8_t*>(grown);
    memset(buffer + fm->count * fm->elem_size, 0,
           static_cast<size_t>((count - fm->count) * fm->elem_size));
    if (fm->type == VKL_FM_CELLS) {
      for (int64_t i = fm->count; i < count; ++i) {
        vkl_put_nil(reinterpret_cast<TObject*>(buffer) + i);
      }
    }
  } else if (count < fm->count) {
    if (fm->type == VKL_FM_CELLS) {
      for (int64_t i = count; i < fm->count; ++i) vkl::release(L, cell_at(fm, i));
    }
    if (count == 0) {
      std::free(buffer);
      buffer = nullptr;
    } else if (void* shrunk = std::realloc(buffer, static_cast<size_t>(count * fm->elem_size))) {
      buffer = static_cast<uint8_t*>(shrunk);
    }
  }
  fm->buffer = buffer;
  fm->count = count;
  fm->dims[0] = first_dim;
  return true;
}

// ---- nested tables ----

// The table a value cell holds (a reference followed), or null.
const VKL_Table* table_in(const TObject* value) {
  if (!value) return nullptr;
  value = vkl_follow(value);
  return value->tag == VKL_TTABLE ? vkl_table(value) : nullptr;
}

bool complete_array(const VKL_Table* t, int64_t length) {
  return t && VKL_ArrayCompleteCheck(t) && VKL_HashCount(t) == length;
}

// The shape of nested complete arrays, read along the first entry of each level: a level ends
// the shape when it is empty or its first value is no table. False for an incomplete array or
// more than 16 levels (a table that holds itself included).
bool probe_shape(const VKL_Table* src, int* ndims, int64_t* dims) {
  *ndims = 0;
  for (const VKL_Table* t = src;;) {
    if (*ndims == kMaxDims || !VKL_ArrayCompleteCheck(t)) return false;
    const int64_t length = VKL_HashCount(t);
    dims[(*ndims)++] = length;
    if (length == 0) return true;
    const VKL_Table* first = table_in(VKL_HashGetInt64(t, 0));
    if (!first) return true;
    t = first;
  }
}

// Calls visit(value) for the values at level `depth` (1..16) of nested complete arrays of the
// lengths dims[0..depth) in storage order, without recursion. False when a table on the way is
// missing or of another length, or when visit returns false.
template <class Visit>
bool walk_nested(const VKL_Table* src, const int64_t* dims, int depth, Visit&& visit) {
  const VKL_Table* path[kMaxDims];
  int64_t index[kMaxDims] = {};
  path[0] = src;
  if (!complete_array(src, dims[0])) return false;
  for (int k = 0; k < depth; ++k) {
    if (dims[k] == 0) return true;
  }
  // Enters the tables below level `from` at the current index.
  auto descend = [&](int from) {
    for (int k = from; k + 1 < depth; ++k) {
      path[k + 1] = table_in(VKL_HashGetInt64(path[k], index[k]));
      if (!complete_array(path[k + 1], dims[k + 1])) return false;
    }
    return true;
  };
  if (!descend(0)) return false;
  for (;;) {
    if (!visit(VKL_HashGetInt64(path[depth - 1], index[depth - 1]))) return false;
    int k = depth - 1;
    while (k >= 0 && ++index[k] == dims[k]) index[k--] = 0;
    if (k < 0) return true;
    if (!descend(k)) return false;
  }
}

// Checks that nested complete arrays have the probed shape everywhere and hold numbers, noting
// which kinds of numbers occur.
bool check_nested(const VKL_Table* src, int ndims, const int64_t* dims, bool* all_int32,
                  bool* all_integers) {
  if (dims[ndims - 1] == 0) {
    // Empty innermost arrays: every array beside them must be empty too.
    return ndims == 1 || walk_nested(src, dims, ndims - 1, [](const TObject* v) {
             return complete_array(table_in(v), 0);
           });
  }
  return walk_nested(src, dims, ndims, [&](const TObject* v) {
    if (!VKL_NumberCheck(v)) return false;
    const int tag = vkl_follow(v)->tag;
    *all_int32 = *all_int32 && tag == VKL_TINT;
    *all_integers = *all_integers && tag != VKL_TREAL;
    return true;
  });
}

// Builds into the new table `top` the nested tables of the matrix: dimensions up to the first
// zero one become table levels; below a zero dimension the tables are empty.
bool build_nested(VKL_State* L, VKL_Table* top, const FM* fm) {
  int levels = 0;
  while (levels < fm->ndims && fm->dims[levels] > 0) ++levels;
  if (levels == 0) return true;
  const bool leaves_are_values = levels == fm->ndims;
  VKL_Table* path[kMaxDims];
  int64_t index[kMaxDims] = {};
  path[0] = top;
  auto descend = [&](int from) {
    for (int k = from; k + 1 < levels; ++k) {
      TObject* slot = VKL_HashSetInt64(L, path[k], index[k]);
      path[k + 1] = slot ? VKL_NewHashEx(L, slot, fm->dims[k + 1], 0) : nullptr;
      if (!path[k + 1]) return false;
    }
    return true;
  };
  if (!descend(0)) return false;
  int64_t offset = 0;
  for (;;) {
    TObject* slot = VKL_HashSetInt64(L, path[levels - 1], index[levels - 1]);
    if (!slot) return false;
    if (!leaves_are_values) {
      if (!VKL_NewHashEx(L, slot, 0, 0)) return false;
    } else if (fm->type == VKL_FM_CELLS) {
      if (!vkl::copy_into(L, slot, cell_at(fm, offset), -1)) return false;
    } else {
      store<TObject>(reinterpret_cast<uint8_t*>(slot), element_number(fm, offset));
    }
    ++offset;
    int k = levels - 1;
    while (k >= 0 && ++index[k] == fm->dims[k]) index[k--] = 0;
    if (k < 0) return true;
    if (!descend(k)) return false;
  }
}

}  // namespace

namespace vkl {

VKL_FixedMatrix* fm_create(VKL_State*, int elemType, int ndims, const int64_t* dims) {
  const int64_t elem_size = element_size(elemType);
  if (elem_size == 0) return nullptr;
  const int64_t count = shape_count(ndims, dims, elem_size);
  if (count < 0) return nullptr;
  bool ok = false;
  uint8_t* buffer = new_buffer(elemType, count, elem_size, &ok);
  if (!ok) return nullptr;
  auto* fm = new (std::nothrow) FM{1, elemType, ndims, elem_size, count, {}, buffer};
  if (!fm) {
    std::free(buffer);
    return nullptr;
  }
  memcpy(fm->dims, dims, static_cast<size_t>(ndims) * sizeof(int64_t));
  return fm;
}

void fm_retain(VKL_FixedMatrix* fm) {
  if (fm) ++fm->refcount;
}

void fm_release(VKL_State* L, VKL_FixedMatrix* fm) {
  if (fm && --fm->refcount == 0) destroy_later(L, fm_destroy, fm);
}

}  // namespace vkl

extern "C" {

int VKL_FMGetMaxDims(void) {
  return kMaxDims;
}

VKL_FixedMatrix* VKL_CreateFixedMatrix(VKL_State* L, TObject* o, int elemType, int ndims,
                                       const int64_t* dims) {
  if (!o) return nullptr;
  FM* fm = vkl::fm_create(L, elemType, ndims, dims);
  if (fm) put_fixed(L, o, fm);
  return fm;
}

VKL_FixedMatrix* VKL_CreateFixedMatrixFromFixedMatrix(VKL_State* L, TObject* o,
                                                      const VKL_FixedMatrix* src, int elemType,
                                                      int copyData) {
  if (!o || !src) return nullptr;
  if (elemType == -1) elemType = src->type;
  if (element_size(elemType) == 0) return nullptr;
  FM* fm = copy_of(L, src, elemType, copyData != 0);
  if (fm) put_fixed(L, o, fm);
  return fm;
}

void VKL_FreeFixedMatrix(VKL_State* L, VKL_FixedMatrix* fm) {
  vkl::fm_release(L, fm);
}

int VKL_FMGetType(const VKL_FixedMatrix* fm) {
  return fm ? fm->type : -1;
}

int VKL_FMGetDims(const VKL_FixedMatrix* fm, int64_t* dims) {
  if (!fm) return 0;
  if (dims) memcpy(dims, fm->dims, static_cast<size_t>(fm->ndims) * sizeof(int64_t));
  return fm->ndims;
}

int64_t VKL_FMGetCount(const VKL_FixedMatrix* fm) {
  return fm ? fm->count : 0;
}

int VKL_FMGetElementsize(const VKL_FixedMatrix* fm) {
  return fm ? static_cast<int>(fm->elem_size) : 0;
}

void* VKL_FMGetBuffer(const VKL_FixedMatrix* fm) {
  return fm ? fm->buffer : nullptr;
}

int64_t VKL_FMGetOffsetByDims(const VKL_FixedMatrix* fm, const int64_t* index) {
  if (!fm || !index) return -1;
  int64_t offset = 0;
  for (int k = 0; k < fm->ndims; ++k) {
    if (index[k] < 0 || index[k] >= fm->dims[k]) return -1;
    offset = offset * fm->dims[k] + index[k];
  }
  return offset;
}

void* VKL_FMGetBufferByDims(const VKL_FixedMatrix* fm, const int64_t* index) {
  const int64_t offset = VKL_FMGetOffsetByDims(fm, index);
  return offset < 0 ? nullptr : element_at(fm, offset);
}

void* VKL_FMGetBufferByOffset(const VKL_FixedMatrix* fm, int64_t offset) {
  if (!fm || offset < 0 || offset >= fm->count) return nullptr;
  return element_at(fm, offset);
}

int64_t VKL_FMGetRawLineSize(const VKL_FixedMatrix* fm) {
  return fm ? fm->dims[fm->ndims - 1] * fm->elem_size : 0;
}

int VKL_FMInc(const VKL_FixedMatrix* fm, int64_t* index) {
  return advance(fm, index, -1);
}

int VKL_FMIncFixedDim(const VKL_FixedMatrix* fm, int64_t* index, int fixedDim) {
  if (!fm || fixedDim < 0 || fixedDim >= fm->ndims) return 0;
  return advance(fm, index, fixedDim);
}

double VKL_FMGetDouble(const VKL_FixedMatrix* fm, int64_t offset) {
  return number_as_double(read_number(fm, offset));
}

int64_t VKL_FMGetInt64(const VKL_FixedMatrix* fm, int64_t offset) {
  return number_as_int64(read_number(fm, offset));
}

int VKL_SetFMElement(VKL_State* L, TObject* o, VKL_FixedMatrix* fm, int64_t offset) {
  if (!o || !fm || offset < 0 || offset >= fm->count) return 0;
  // Taken before the cell is released, which may hold the last other reference to fm.
  vkl::fm_retain(fm);
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TFMELEMENT, fm);
  vkl_put_elem_offset(o, offset);
  return 1;
}

int VKL_FMReshape(VKL_State* L, TObject* o, int ndims, const int64_t* dims) {
  if (!o) return 0;
  const TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TFIXEDMATRIX || !vkl_ptr(cell)) return 0;
  const auto* current = static_cast<const FM*>(vkl_ptr(cell));
  if (shape_count(ndims, dims, current->elem_size) != current->count) return 0;
  FM* fm = unshared_in(L, o);
  if (!fm) return 0;
  memcpy(fm->dims, dims, static_cast<size_t>(ndims) * sizeof(int64_t));
  fm->ndims = ndims;
  return 1;
}

int VKL_FMToFM(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src, int elemType) {
  return VKL_CreateFixedMatrixFromFixedMatrix(L, dst, src, elemType, 1) != nullptr;
}

int VKL_FM_Resize(VKL_State* L, TObject* o, int64_t firstDim) {
  if (!o || firstDim < 0) return 0;
  TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TFIXEDMATRIX || !vkl_ptr(cell)) return 0;
  auto* fm = static_cast<FM*>(vkl_ptr(cell));
  if (count_with_first(fm, firstDim) < 0) return 0;
  if (fm->refcount <= 1) return resize_first(fm, L, firstDim) ? 1 : 0;
  // A copy made for a shared matrix goes into the cell only when its resize succeeds.
  FM* copy = copy_of(L, fm, fm->type, true);
  if (!copy) return 0;
  if (!resize_first(copy, L, firstDim)) {
    vkl::fm_release(L, copy);
    return 0;
  }
  put_fixed(L, cell, copy);
  return 1;
}

int VKL_FMDimExchange(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src, int d1, int d2) {
  if (!dst || !src || d1 < 0 || d2 < 0 || d1 >= src->ndims || d2 >= src->ndims) return 0;
  // The elements are copied once (deep for cells), then moved bytewise into their new places.
  FM* fm = copy_of(L, src, src->type, true);
  if (!fm) return 0;
  if (d1 != d2 && fm->count > 0) {
    auto* moved =
        static_cast<uint8_t*>(std::malloc(static_cast<size_t>(fm->count * fm->elem_size)));
    if (!moved) {
      vkl::fm_release(L, fm);
      return 0;
    }
    int64_t source_strides[kMaxDims];
    strides_of(fm, source_strides);
    std::swap(fm->dims[d1], fm->dims[d2]);
    std::swap(source_strides[d1], source_strides[d2]);
    int64_t index[kMaxDims] = {};
    int64_t target = 0;
    do {
      int64_t from = 0;
      for (int k = 0; k < fm->ndims; ++k) from += index[k] * source_strides[k];
      memcpy(moved + target * fm->elem_size, element_at(fm, from),
             static_cast<size_t>(fm->elem_size));
      ++target;
    } while (advance(fm, index, -1));
    std::free(fm->buffer);
    fm->buffer = moved;
  } else {
    std::swap(fm->dims[d1], fm->dims[d2]);
  }
  put_fixed(L, dst, fm);
  return 1;
}

int VKL_HashToFixedmatrix(VKL_State* L, TObject* dst, const VKL_Table* src, int elemType) {
  if (!dst || !src || (elemType != -1 && element_size(elemType) == 0)) return 0;
  int ndims = 0;
  int64_t dims[kMaxDims];
  if (!probe_shape(src, &ndims, dims)) return 0;
  if (shape_count(ndims, dims, elemType == -1 ? 8 : element_size(elemType)) < 0) return 0;

  bool all_int32 = true;
  bool all_integers = true;
  if (!check_nested(src, ndims, dims, &all_int32, &all_integers)) return 0;
  if (elemType == -1) {
    elemType = all_int32 ? VKL_FM_INT32 : all_integers ? VKL_FM_INT64 : VKL_FM_DOUBLE;
  }

  FM* fm = vkl::fm_create(L, elemType, ndims, dims);
  if (!fm) return 0;
  if (dims[ndims - 1] > 0) {
    int64_t offset = 0;
    with_storage(elemType, [&](auto tag) {
      walk_nested(src, dims, ndims, [&](const TObject* v) {
        store<decltype(tag)>(element_at(fm, offset++), cell_number(v));
        return true;
      });
    });
  }
  put_fixed(L, dst, fm);
  return 1;
}

int VKL_FixedmatrixToHash(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src) {
  if (!dst || !src) return 0;
  TObject root;
  vkl_put_nil(&root);
  VKL_Table* top = VKL_NewHashEx(L, &root, src->dims[0], 0);
  if (!top || !build_nested(L, top, src)) {
    vkl::release(L, &root);
    return 0;
  }
  vkl::replace_cell(L, dst, &root);
  return 1;
}

}  // extern "C"
