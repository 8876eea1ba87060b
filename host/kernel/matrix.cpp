// Cell matrices (kind 17): R data rows of C cells under a header row of C field cells, kept in
// one block of (R + 1) * C cells. Matrices are reference counted and shared by the cells that
// hold them; a change of size copies a shared matrix first.
//
// Failure policy: operations return null / 0 and leave their target cell unchanged for bad
// input (null pointers, negative or absurd sizes, wrong kinds) and when memory runs out.
#include <cstdlib>
#include <new>

#include "internal.h"

struct VKL_Matrix {
  int64_t refcount;
  int64_t rows;
  int64_t cols;
  TObject* cells;  // (rows + 1) * cols cells, header row first; null when there are none
};

namespace {

// Largest cell block we try to allocate; larger requests are refused before reaching malloc.
constexpr int64_t kMaxBlockBytes = int64_t{1} << 40;

// Cells in a block of `rows` data rows and `cols` columns, or -1 when that is absurd.
int64_t block_cells(int64_t rows, int64_t cols) {
  if (rows < 0 || cols < 0) return -1;
  int64_t with_header = 0;
  int64_t cells = 0;
  int64_t bytes = 0;
  if (__builtin_add_overflow(rows, 1, &with_header) ||
      __builtin_mul_overflow(with_header, cols, &cells) ||
      __builtin_mul_overflow(cells, int64_t{VKL_CELL_SIZE}, &bytes) || bytes > kMaxBlockBytes) {
    return -1;
  }
  return cells;
}

void put_nils(TObject* cells, int64_t count) {
  for (int64_t i = 0; i < count; ++i) vkl_put_nil(&cells[i]);
}

void matrix_destroy(VKL_State* L, void* object) {
  auto* m = static_cast<VKL_Matrix*>(object);
  const int64_t count = (m->rows + 1) * m->cols;
  // Nested containers released here go through the destruction queue, not recursion.
  for (int64_t i = 0; i < count; ++i) vkl::release(L, &m->cells[i]);
  std::free(m->cells);
  delete m;
}

// Replaces the content of `o` by `m`, whose reference the cell takes over.
void put_matrix(VKL_State* L, TObject* o, VKL_Matrix* m) {
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TMATRIX, m);
}

// Resizes a matrix nobody else holds to `rows` data rows and `cols` columns (cols is either the
// old column count or, for a matrix without columns, 1). Keeps the first `keep` data cells,
// makes every other cell nil. False (matrix unchanged) when memory runs out.
bool resize_unshared(VKL_State* L, VKL_Matrix* m, int64_t rows, int64_t cols, int64_t keep) {
  const int64_t old_count = (m->rows + 1) * m->cols;
  const int64_t new_count = block_cells(rows, cols);
  if (new_count < 0) return false;
  TObject* cells = m->cells;
  if (new_count > old_count) {
    void* grown = std::realloc(cells, static_cast<size_t>(new_count) * sizeof(TObject));
    if (!grown) return false;
    cells = static_cast<TObject*>(grown);
    put_nils(cells + old_count, new_count - old_count);
  }
  // Old cells past the kept ones: those still inside the block become nil, the others go.
  // (The new block always reaches past the kept cells: rows * cols >= keep.)
  for (int64_t i = cols + keep; i < old_count; ++i) vkl::release(L, &cells[i]);
  if (new_count < old_count) {
    if (new_count == 0) {
      std::free(cells);
      cells = nullptr;
    } else if (void* shrunk =
                   std::realloc(cells, static_cast<size_t>(new_count) * sizeof(TObject))) {
      cells = static_cast<TObject*>(shrunk);
    }
  }
  m->cells = cells;
  m->rows = rows;
  m->cols = cols;
  return true;
}

}  // namespace

namespace vkl {

VKL_Matrix* matrix_create(VKL_State*, int64_t rows, int64_t cols) {
  const int64_t count = block_cells(rows, cols);
  if (count < 0) return nullptr;
  TObject* cells = nullptr;
  if (count > 0) {
    cells = static_cast<TObject*>(std::malloc(static_cast<size_t>(count) * sizeof(TObject)));
    if (!cells) return nullptr;
    put_nils(cells, count);
  }
  auto* m = new (std::nothrow) VKL_Matrix{1, rows, cols, cells};
  if (!m) std::free(cells);
  return m;
}

void matrix_retain(VKL_Matrix* m) {
  if (m) ++m->refcount;
}

void matrix_release(VKL_State* L, VKL_Matrix* m) {
  if (m && --m->refcount == 0) destroy_later(L, matrix_destroy, m);
}

}  // namespace vkl

extern "C" {

VKL_Matrix* VKL_CreateMatrix(VKL_State* L, TObject* o, int64_t rows, int64_t cols) {
  if (!o) return nullptr;
  VKL_Matrix* m = vkl::matrix_create(L, rows, cols);
  if (m) put_matrix(L, o, m);
  return m;
}

int64_t VKL_MatrixRows(const VKL_Matrix* m) {
  return m ? m->rows : 0;
}

int64_t VKL_MatrixCols(const VKL_Matrix* m) {
  return m ? m->cols : 0;
}

TObject* VKL_MatrixCells(const VKL_Matrix* m) {
  return m ? m->cells : nullptr;
}

TObject* VKL_Matrix_Get(const VKL_Matrix* m, int64_t row, int64_t col) {
  if (!m || row < -1 || row >= m->rows || col < 0 || col >= m->cols) return nullptr;
  return &m->cells[(row + 1) * m->cols + col];
}

int VKL_Matrix_Resize(VKL_State* L, TObject* o, int64_t count) {
  if (!o || count < 0) return 0;
  TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TMATRIX || !vkl_ptr(cell)) return 0;
  auto* m = static_cast<VKL_Matrix*>(vkl_ptr(cell));
  const int64_t cols = m->cols > 0 ? m->cols : 1;
  const int64_t rows = count / cols + (count % cols != 0);
  if (block_cells(rows, cols) < 0) return 0;
  const int64_t keep = m->cols > 0 ? count : 0;
  if (m->refcount <= 1) return resize_unshared(L, m, rows, cols, keep) ? 1 : 0;

  // Other holders keep the matrix as it is: resize a deep copy and put that in the cell.
  TObject copy;
  vkl_put_nil(&copy);
  if (!vkl::copy_into(L, &copy, cell, -1) || copy.tag != VKL_TMATRIX ||
      !resize_unshared(L, static_cast<VKL_Matrix*>(vkl_ptr(&copy)), rows, cols, keep)) {
    vkl::release(L, &copy);
    return 0;
  }
  vkl::replace_cell(L, cell, &copy);
  return 1;
}

int DupMatrixStruct(VKL_State* L, TObject* dst, const VKL_Matrix* src) {
  if (!dst || !src) return 0;
  TObject fresh;
  vkl_put_nil(&fresh);
  VKL_Matrix* m = vkl::matrix_create(L, src->rows, src->cols);
  if (!m) return 0;
  vkl_put_ptr(&fresh, VKL_TMATRIX, m);
  for (int64_t c = 0; c < src->cols; ++c) {
    if (!vkl::copy_into(L, &m->cells[c], &src->cells[c], -1)) {
      vkl::release(L, &fresh);
      return 0;
    }
  }
  vkl::replace_cell(L, dst, &fresh);
  return 1;
}

int IsMultiDim(const TObject* o) {
  if (!o) return 0;
  o = vkl_follow(o);
  switch (o->tag) {
    case VKL_TMATRIX:
      return vkl_ptr(o) != nullptr;
    case VKL_TFIXEDMATRIX:
      return VKL_FMGetDims(static_cast<const VKL_FixedMatrix*>(vkl_ptr(o)), nullptr) >= 2;
    case VKL_TTABLE: {
      const VKL_Table* t = vkl_table(o);
      if (!t || VKL_HashCount(t) == 0) return 0;
      const int64_t positions = VKL_HashRawCount(t);
      for (int64_t pos = 0; pos < positions; ++pos) {
        const TObject* key = nullptr;
        const TObject* value = VKL_HashRawGetN(t, pos, &key);
        if (value && vkl_follow(value)->tag != VKL_TTABLE) return 0;
      }
      return 1;
    }
    default:
      return 0;
  }
}

}  // extern "C"
