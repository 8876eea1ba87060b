// Echo capture: the state's echo output collected in a counted payload buffer that the
// script finally takes over as a string, without a copy.
#include <vkl/echo.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "internal.h"

namespace {

// The longest text a narrow string cell holds.
constexpr size_t kMaxCaptured = 0x7FFFFFFE;
constexpr size_t kFirstCapacity = 256;

// Grows the buffer to hold `needed` bytes and the terminating zero; false when it cannot.
bool reserve(VKL_State* L, VKL_EchoCapture* capture, size_t needed) {
  if (needed > kMaxCaptured) return false;
  if (needed + 1 <= capture->capacity) return true;
  size_t capacity = capture->capacity ? capture->capacity : kFirstCapacity;
  while (capacity < needed + 1) capacity = capacity * 2;
  if (capacity > kMaxCaptured + 1) capacity = kMaxCaptured + 1;
  void* grown = capture->text
                    ? vkl::payload_realloc(L, capture->text, capture->capacity, capacity)
                    : vkl::payload_alloc(L, capacity);
  if (!grown) return false;
  capture->text = static_cast<char*>(grown);
  capture->capacity = capacity;
  return true;
}

}  // namespace

VKL_State::~VKL_State() {
  if (echo) std::free(echo->text);
}

extern "C" {

int VKL_SetEchoStream(VKL_State* L, TObject*, int, TObject* result) {
  VKL_State* s = vkl::state_of(L);
  int started = 0;
  if (!s->echo) {
    s->echo.reset(new (std::nothrow) VKL_EchoCapture());
    started = s->echo ? 1 : 0;
  }
  if (result) VKL_SetInt(L, result, started);
  return 1;
}

int VKL_UnsetEchoStream(VKL_State* L, TObject* result) {
  VKL_State* s = vkl::state_of(L);
  std::unique_ptr<VKL_EchoCapture> capture = std::move(s->echo);
  if (!capture || !capture->text) {
    return VKL_SetString(L, result, "");
  }
  // The buffer is cut to the text and its zero, the size a string cell owns.
  const size_t used = capture->length + 1;
  auto* owned = static_cast<char*>(vkl::payload_realloc(L, capture->text, capture->capacity, used));
  if (!owned) {  // the shrink failed: the larger block stays, counted as the text's size
    owned = capture->text;
    s->mem_used.fetch_sub(static_cast<int64_t>(capture->capacity - used));
  }
  owned[capture->length] = '\0';
  capture->text = nullptr;
  TObject fresh;
  vkl_put_nil(&fresh);
  vkl_put_ptr(&fresh, VKL_TSTRING, owned);
  vkl_put_len(&fresh, static_cast<int32_t>(used));
  vkl_put_owned(&fresh, 1);
  vkl::replace_cell(L, result, &fresh);
  return 1;
}

int VKL_isEchoRedirect(VKL_State* L) { return vkl::state_of(L)->echo ? 1 : 0; }

int VKL_EchoWrite(VKL_State* L, const char* text, int64_t len) {
  VKL_EchoCapture* capture = vkl::state_of(L)->echo.get();
  if (!capture || len < 0 || (len > 0 && !text)) return 0;
  const size_t n = static_cast<size_t>(len);
  if (n > kMaxCaptured - capture->length || !reserve(L, capture, capture->length + n)) return 0;
  std::memcpy(capture->text + capture->length, text, n);
  capture->length += n;
  return 1;
}

}  // extern "C"
