// The request output of this host: standard output through stdio, so that it interleaves in
// order with what the host itself prints there.
#include <vkl/echo.h>
#include <vkl/request_output.h>

#include <cstdio>

int64_t VKL_CGIWrite(VKL_State* L, const void* data, int64_t len) {
  // While the state captures its echo output, request output is captured with it.
  if (data && len > 0 && VKL_EchoWrite(L, static_cast<const char*>(data), len)) return len;
  if (!data || len <= 0) return std::fflush(stdout) == 0 ? 0 : -1;
  const size_t written = std::fwrite(data, 1, static_cast<size_t>(len), stdout);
  return written == static_cast<size_t>(len) ? len : -1;
}
