#include "methods/matrix_io.h"

#include <vkl/matrix.h>

#include <cstring>
#include <utility>

#include "plugin/args.h"

namespace vkl::methods {

using plugin::arg_at;

bool DenseMatrix::allocate(int32_t r, int32_t c) {
  if (r < 0 || c < 0) return false;
  const int64_t count = int64_t{r} * c;
  double* p = nullptr;
  if (count > 0) {
    p = static_cast<double*>(VKL_Malloc(static_cast<size_t>(count) * sizeof(double)));
    if (!p) return false;
    std::memset(p, 0, static_cast<size_t>(count) * sizeof(double));
  }
  VKL_Free(data);
  data = p;
  rows = r;
  cols = c;
  return true;
}

bool DenseMatrix::copy_from(const DenseMatrix& other) {
  DenseMatrix copy;
  if (!copy.allocate(other.rows, other.cols)) return false;
  if (!other.empty()) std::memcpy(copy.data, other.data, other.size() * sizeof(double));
  swap(copy);
  return true;
}

void DenseMatrix::swap(DenseMatrix& other) noexcept {
  std::swap(data, other.data);
  std::swap(rows, other.rows);
  std::swap(cols, other.cols);
}

bool is_matrix_arg(TObject* args, int nargs, int i) {
  if (i >= nargs) return false;
  const int tag = arg_at(args, i)->tag;
  return tag == VKL_TTABLE || tag == VKL_TFIXEDMATRIX;
}

bool read_matrix(VKL_State* L, TObject* args, int nargs, int i, DenseMatrix* m) {
  if (!is_matrix_arg(args, nargs, i)) return false;
  DenseMatrix read;
  if (!ObjToDoubleArray2(L, arg_at(args, i), &read.data, &read.rows, &read.cols)) return false;
  m->swap(read);
  return true;
}

bool read_vector(VKL_State* L, TObject* args, int nargs, int i, DenseMatrix* v) {
  if (!is_matrix_arg(args, nargs, i)) return false;
  DenseMatrix read;
  if (!ObjToDoubleVector(L, arg_at(args, i), &read.data, &read.rows)) return false;
  read.cols = 1;
  v->swap(read);
  return true;
}

TObject* take_output(VKL_State* L, TObject* args, int i) {
  TObject* out = arg_at(args, i);
  VKL_FreeObjectContent(L, out);
  return out;
}

namespace {

template <class Fill>
int32_t write_table(VKL_State* L, TObject* out, int64_t entries, Fill fill) {
  VKL_Table* t = VKL_NewHashEx(L, out, entries, 0);
  if (t && fill(t)) return kCodeOk;
  VKL_FreeObjectContent(L, out);
  return kCodeFailed;
}

}  // namespace

int32_t write_matrix(VKL_State* L, TObject* out, const DenseMatrix& m) {
  return write_table(L, out, m.rows, [&](VKL_Table* t) {
    return DoubleArrayToHash(L, t, m.data, m.rows, m.cols) != 0;
  });
}

int32_t write_vector(VKL_State* L, TObject* out, const DenseMatrix& v) {
  const int64_t n = v.size();
  if (n > INT32_MAX) return kCodeFailed;
  return write_table(L, out, n, [&](VKL_Table* t) {
    return DoubleVectorToHash(L, t, v.data, static_cast<int32_t>(n)) != 0;
  });
}

int answer(VKL_State* L, TObject* result, int32_t code) {
  VKL_SetInt(L, result, code);
  return 1;
}

int answer_matrix(VKL_State* L, TObject* result, int32_t code, TObject* out,
                  const DenseMatrix& m) {
  if (code == kCodeOk) code = write_matrix(L, out, m);
  return answer(L, result, code);
}

int answer_vector(VKL_State* L, TObject* result, int32_t code, TObject* out,
                  const DenseMatrix& v) {
  if (code == kCodeOk) code = write_vector(L, out, v);
  return answer(L, result, code);
}

int answer_real(VKL_State* L, TObject* result, int32_t code, TObject* out, double value) {
  if (code == kCodeOk) VKL_SetReal(L, out, value);
  return answer(L, result, code);
}

}  // namespace vkl::methods
