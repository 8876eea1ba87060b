// Dense matrices and vectors of doubles from and to script values: tables of row tables, tables
// of numbers and fixed matrices in, tables of row tables and tables of reals out.
#include <vkl/kernel.h>
#include <vkl/matrix.h>

#include <cstdint>
#include <cstring>

namespace {

// A dense buffer under construction: freed unless handed over.
class Buffer {
 public:
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { VKL_Free(data_); }

  bool allocate(int64_t count) {
    if (count == 0) return true;
    if (count < 0 || static_cast<uint64_t>(count) > SIZE_MAX / sizeof(double)) return false;
    data_ = static_cast<double*>(VKL_Malloc(static_cast<size_t>(count) * sizeof(double)));
    return data_ != nullptr;
  }
  double* get() const { return data_; }
  double* release() {
    double* p = data_;
    data_ = nullptr;
    return p;
  }

 private:
  double* data_ = nullptr;
};

bool read_number(const TObject* cell, double* out) {
  switch (cell->tag) {
    case VKL_TINT: *out = vkl_int(cell); return true;
    case VKL_TREAL: *out = vkl_real(cell); return true;
    case VKL_TINT64: *out = static_cast<double>(vkl_int64(cell)); return true;
    default: return false;
  }
}

// The entries of a table that holds exactly the keys 0..n-1 (its array part, no holes); -1 for
// any other table or one too long for a 32-bit count.
int64_t complete_length(const VKL_Table* t) {
  if (!VKL_ArrayCompleteCheck(t)) return -1;
  const int64_t n = VKL_HashCount(t);
  return n <= INT32_MAX ? n : -1;
}

// Copies the n numbers of a complete table to out; false at the first value that is none.
// A complete table's position i holds key i.
bool read_numbers(const VKL_Table* t, int64_t n, double* out) {
  for (int64_t i = 0; i < n; ++i) {
    if (!read_number(VKL_HashRawGetN(t, i, nullptr), &out[i])) return false;
  }
  return true;
}

const VKL_Table* table_of(const TObject* cell) {
  return cell->tag == VKL_TTABLE ? vkl_table(cell) : nullptr;
}

bool table_to_array(const VKL_Table* t, Buffer* buffer, int32_t* rows, int32_t* cols) {
  const int64_t n = complete_length(t);
  if (n < 0) return false;
  if (n == 0) {
    *rows = *cols = 0;
    return true;
  }
  const TObject* first = VKL_HashRawGetN(t, 0, nullptr);
  if (first->tag != VKL_TTABLE) {
    // A table of numbers: one column.
    if (!buffer->allocate(n) || !read_numbers(t, n, buffer->get())) return false;
    *rows = static_cast<int32_t>(n);
    *cols = 1;
    return true;
  }
  const int64_t width = complete_length(vkl_table(first));
  if (width < 0 || !buffer->allocate(n * width)) return false;
  for (int64_t i = 0; i < n; ++i) {
    const VKL_Table* row = table_of(VKL_HashRawGetN(t, i, nullptr));
    if (!row || complete_length(row) != width) return false;
    if (!read_numbers(row, width, buffer->get() + i * width)) return false;
  }
  *rows = static_cast<int32_t>(n);
  *cols = static_cast<int32_t>(width);
  return true;
}

// A fixed matrix of numbers, stored with the last dimension fastest: row-major already.
bool fixed_to_array(const VKL_FixedMatrix* fm, Buffer* buffer, int32_t* rows, int32_t* cols) {
  const int type = VKL_FMGetType(fm);
  if (type != VKL_FM_INT32 && type != VKL_FM_DOUBLE && type != VKL_FM_INT64 &&
      type != VKL_FM_INT64A) {
    return false;
  }
  int64_t dims[64];
  if (VKL_FMGetMaxDims() > 64) return false;
  const int ndims = VKL_FMGetDims(fm, dims);
  if (ndims < 1 || ndims > 2) return false;
  const int64_t r = dims[0], c = ndims == 2 ? dims[1] : 1;
  if (r < 0 || c < 0 || r > INT32_MAX || c > INT32_MAX) return false;
  const int64_t count = r * c;
  if (!buffer->allocate(count)) return false;
  if (type == VKL_FM_DOUBLE) {
    if (count > 0) std::memcpy(buffer->get(), VKL_FMGetBuffer(fm), count * sizeof(double));
  } else {
    for (int64_t i = 0; i < count; ++i) buffer->get()[i] = VKL_FMGetDouble(fm, i);
  }
  *rows = static_cast<int32_t>(r);
  *cols = static_cast<int32_t>(c);
  return true;
}

bool to_array(const TObject* o, Buffer* buffer, int32_t* rows, int32_t* cols) {
  if (!o) return false;
  o = vkl_follow(o);
  if (o->tag == VKL_TTABLE) return table_to_array(vkl_table(o), buffer, rows, cols);
  if (o->tag == VKL_TFIXEDMATRIX) {
    const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(o));
    return fm && fixed_to_array(fm, buffer, rows, cols);
  }
  return false;
}

}  // namespace

extern "C" {

int ObjToDoubleArray2(VKL_State*, const TObject* o, double** data, int32_t* rows,
                      int32_t* cols) {
  Buffer buffer;
  int32_t r = 0, c = 0;
  if (!data || !rows || !cols || !to_array(o, &buffer, &r, &c)) return 0;
  *data = buffer.release();
  *rows = r;
  *cols = c;
  return 1;
}

int ObjToDoubleVector(VKL_State*, const TObject* o, double** data, int32_t* n) {
  Buffer buffer;
  int32_t r = 0, c = 0;
  if (!data || !n || !to_array(o, &buffer, &r, &c)) return 0;
  // One row or one column reads in order; several rows of no column are no vector.
  if (r > 1 && c != 1) return 0;
  *data = buffer.release();
  *n = r * c;
  return 1;
}

int DoubleArrayToHash(VKL_State* L, VKL_Table* t, const double* data, int32_t rows,
                      int32_t cols) {
  if (!t || rows < 0 || cols < 0 || (!data && int64_t{rows} * cols > 0)) return 0;
  for (int32_t i = 0; i < rows; ++i) {
    TObject* cell = VKL_HashSetInt(L, t, i);
    if (!cell) return 0;
    VKL_Table* row = VKL_NewHashEx(L, cell, cols, 0);
    if (!row) return 0;
    const double* values = data + int64_t{i} * cols;
    for (int32_t j = 0; j < cols; ++j) {
      TObject* v = VKL_HashAppend(L, row);
      if (!v) return 0;
      vkl_put_real(v, values[j]);
    }
  }
  return 1;
}

int DoubleVectorToHash(VKL_State* L, VKL_Table* t, const double* data, int32_t n) {
  if (!t || n < 0 || (!data && n > 0)) return 0;
  for (int32_t i = 0; i < n; ++i) {
    TObject* cell = VKL_HashSetInt(L, t, i);
    if (!cell) return 0;
    VKL_SetReal(L, cell, data[i]);
  }
  return 1;
}

}  // extern "C"
