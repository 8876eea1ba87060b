// Kernel-internal services shared by the kernel's files: states and payload accounting, cell
// release and copy, and the reference-counted containers' life cycle.
#pragma once

#include <vkl/format_settings.h>
#include <vkl/kernel.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

// The echo output a state captures: a counted payload buffer of `capacity` bytes.
struct VKL_EchoCapture {
  char* text = nullptr;
  size_t length = 0;
  size_t capacity = 0;
};

struct VKL_State {
  // Atomic because the kernel's own state (null L) may be used from several threads.
  std::atomic<int64_t> mem_used{0};
  std::atomic<int64_t> mem_limit{-1};
  void* user = nullptr;
  // Own format settings once the host set them; until then the process defaults.
  std::unique_ptr<VKL_FormatSettings> format;
  // Present while the state captures its echo output.
  std::unique_ptr<VKL_EchoCapture> echo;
  ~VKL_State();
};

namespace vkl {

// The state an operation works under: L itself, or the kernel's own when L is null.
VKL_State* state_of(VKL_State* L);

// ---- Counted payload buffers (strings, wide strings, binaries, table string keys) ----

// Allocates `bytes` and adds them to the state's count; null when out of memory or over the
// state's limit.
void* payload_alloc(VKL_State* L, size_t bytes);
// Resizes a counted buffer from `old_bytes` to `new_bytes`; null (buffer untouched) on failure.
void* payload_realloc(VKL_State* L, void* p, size_t old_bytes, size_t new_bytes);
// Counts a malloc'd buffer of at least `bytes` as a payload of `bytes`, shrunk first when it is
// much larger; null (buffer untouched) when over the state's limit or out of memory.
void* payload_adopt(VKL_State* L, void* p, size_t bytes);
void payload_free(VKL_State* L, void* p, size_t bytes);
// Bytes of the buffer a string, wide string or binary cell owns (0 when it owns none).
size_t payload_bytes(const TObject* o);

// Writes a counted copy of `len` bytes (plus the terminating zero) into `o` as a narrow string
// of kind `tag` (2 or 6). `o` is overwritten without being released. False when out of memory.
bool put_string(VKL_State* L, TObject* o, const char* s, int64_t len, int tag = VKL_TSTRING);

// ---- Cells ----

// Releases what the cell holds and leaves it nil.
void release(VKL_State* L, TObject* o);
// Takes one more reference to the box a cell of a box kind holds.
void retain_box(TObject* o);
// Releases what `dst` holds and moves the finished `fresh` value into it (`fresh` becomes nil).
void replace_cell(VKL_State* L, TObject* dst, TObject* fresh);
// Moves a cell bitwise: `dst` (already released) takes over what `src` held; `src` becomes nil.
void move_cell(TObject* dst, TObject* src);
// Copies `src` into `dst`, which must be nil (released). Strings are copied; boxes shared;
// tables, matrices and fixed matrices copied `depth` levels deep (negative: all levels, 0:
// shared). False (dst left nil) when memory or stack runs out.
bool copy_into(VKL_State* L, TObject* dst, const TObject* src, int depth);

// ---- Destruction queue ----
// An object whose last reference goes is destroyed through this queue, one at a time, so that
// releasing a value nested a million levels deep takes no recursion.
void destroy_later(VKL_State* L, void (*destroy)(VKL_State*, void*), void* object);

// ---- Reference-counted containers (defined in their own files) ----

// A new empty table with reference count 1 and room for the given entries; null on no memory.
VKL_Table* table_create(VKL_State* L, int64_t arrayCount, int64_t hashCount);
void table_retain(VKL_Table* t);
void table_release(VKL_State* L, VKL_Table* t);
bool table_is_static(const VKL_Table* t);
void table_set_static(VKL_Table* t, bool is_static);

VKL_Matrix* matrix_create(VKL_State* L, int64_t rows, int64_t cols);
void matrix_retain(VKL_Matrix* m);
void matrix_release(VKL_State* L, VKL_Matrix* m);

VKL_FixedMatrix* fm_create(VKL_State* L, int elemType, int ndims, const int64_t* dims);
void fm_retain(VKL_FixedMatrix* fm);
void fm_release(VKL_State* L, VKL_FixedMatrix* fm);

// An integer clamped to 32 bits.
inline int32_t saturate_int32(int64_t v) {
  if (v > INT32_MAX) return INT32_MAX;
  if (v < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(v);
}

// A real truncated toward zero and clamped to 64 bits; NaN gives 0.
inline int64_t real_to_int64(double d) {
  if (std::isnan(d)) return 0;
  if (d >= 9223372036854775807.0) return INT64_MAX;
  if (d <= -9223372036854775808.0) return INT64_MIN;
  return static_cast<int64_t>(d);
}

// Enough stack left for one more level of a recursive walk over a value.
bool stack_room();

}  // namespace vkl
