// The common protocol of the linear-system and matrix functions: matrix and vector arguments
// read into dense row-major buffers, an integer code as the script result, and the computed
// matrix or vector written into the last argument (a variable passed by reference) only when
// the code is 0. On any other code that argument is left empty (nil).
#pragma once

#include <vkl/kernel.h>

#include <cstdint>

namespace vkl::methods {

// The codes a numerical function answers with.
enum NumericCode : int32_t {
  kCodeOk = 0,
  kCodeFailed = -1,     // the computation (or writing its result) failed
  kCodeCancelled = -2,  // the interpreter was asked to stop
  kCodeNoRows = 1001,
  kCodeNoColumns = 1002,
  kCodeNotSquare = 1003,
  kCodeNoConstants = 1004,
  kCodeConstantRows = 1005,
  kCodeSingular = 1006,
  kCodeNotSymmetric = 1011,
  kCodeMatrixRows = 4001,
  kCodeMatrixColumns = 4002,
  kCodeMulRows = 4003,
  kCodeAddRows = 4004,
  kCodeMatrixNotSquare = 4006,
  kCodeMatrixNotSymmetric = 4007,
};

// A dense row-major matrix of doubles in kernel memory (VKL_Malloc), element (i, j) at
// i * cols + j; a vector is one column. Null data when it has no elements.
struct DenseMatrix {
  double* data = nullptr;
  int32_t rows = 0;
  int32_t cols = 0;

  DenseMatrix() = default;
  DenseMatrix(const DenseMatrix&) = delete;
  DenseMatrix& operator=(const DenseMatrix&) = delete;
  DenseMatrix(DenseMatrix&& other) noexcept { swap(other); }
  DenseMatrix& operator=(DenseMatrix&& other) noexcept {
    swap(other);
    return *this;
  }
  ~DenseMatrix() { VKL_Free(data); }

  // Replaces the content by a zero-filled rows x cols matrix; false (unchanged) when out of
  // memory or for a negative size.
  bool allocate(int32_t r, int32_t c);
  // The same shape and elements as `other`; false (unchanged) when out of memory.
  bool copy_from(const DenseMatrix& other);

  int64_t size() const { return int64_t{rows} * cols; }
  bool empty() const { return size() == 0; }
  double& at(int64_t i, int64_t j) { return data[i * cols + j]; }
  double at(int64_t i, int64_t j) const { return data[i * cols + j]; }
  double* row(int64_t i) { return data + i * cols; }
  const double* row(int64_t i) const { return data + i * cols; }

  void swap(DenseMatrix& other) noexcept;
};

// A working array of n elements in kernel memory, uninitialised; null when out of memory.
template <class T>
class KernelArray {
 public:
  explicit KernelArray(int64_t n)
      : data_(n > 0 ? static_cast<T*>(VKL_Malloc(static_cast<size_t>(n) * sizeof(T))) : nullptr),
        ok_(n <= 0 || data_ != nullptr) {}
  KernelArray(const KernelArray&) = delete;
  KernelArray& operator=(const KernelArray&) = delete;
  ~KernelArray() { VKL_Free(data_); }

  bool ok() const { return ok_; }
  T* get() const { return data_; }
  T& operator[](int64_t i) const { return data_[i]; }

 private:
  T* data_;
  bool ok_;
};

// 1 when argument i is present and a table or a fixed matrix (a reference followed).
bool is_matrix_arg(TObject* args, int nargs, int i);
// Argument i converted as a matrix / as a vector (n x 1); false when it is missing, of another
// kind or not convertible (see <vkl/matrix.h>).
bool read_matrix(VKL_State* L, TObject* args, int nargs, int i, DenseMatrix* m);
bool read_vector(VKL_State* L, TObject* args, int nargs, int i, DenseMatrix* v);

// The by-reference output argument i (the reference followed), emptied: the state every
// output has until a computation succeeds.
TObject* take_output(VKL_State* L, TObject* args, int i);

// Writes a matrix as a table of row tables / a vector (its elements in order) as a table of
// reals into an output taken with take_output. Returns kCodeOk, or kCodeFailed with the
// output left empty when memory runs out.
int32_t write_matrix(VKL_State* L, TObject* out, const DenseMatrix& m);
int32_t write_vector(VKL_State* L, TObject* out, const DenseMatrix& v);

// The script result: the code as an integer. Returns 1 (the call succeeded).
int answer(VKL_State* L, TObject* result, int32_t code);
// The usual ending with one output: on kCodeOk `m` is written as a matrix / vector into `out`
// (a failed write turns the code into kCodeFailed); then the code is the script result.
int answer_matrix(VKL_State* L, TObject* result, int32_t code, TObject* out, const DenseMatrix& m);
int answer_vector(VKL_State* L, TObject* result, int32_t code, TObject* out, const DenseMatrix& v);
// As answer_matrix for a single real.
int answer_real(VKL_State* L, TObject* result, int32_t code, TObject* out, double value);

// Negligible: |d| + 1.0 == 1.0 in double arithmetic, the zero test of every solver here.
// A negative value is tested by its magnitude.
inline bool negligible(double d) { return __builtin_fabs(d) + 1.0 == 1.0; }

}  // namespace vkl::methods
