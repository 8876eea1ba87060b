// md5 of a 64 MiB binary through the registered handler (loaded from libvklcplugin.so beside
// this program, as a host loads it) against one EVP_Digest call of libcrypto on the same bytes,
// measured alternately in each iteration. Counters: the throughput of each side in MiB/s and
// their ratio handler / libcrypto (target at least 0.95).
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "vkl/interp.h"
#include "vkl/kernel.h"

#include "plugin_handler.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int64_t kBytes = int64_t{64} << 20;

void BM_Md5_64MiB(benchmark::State& state) {
  const BenchHandler md5(state, "md5");
  if (!md5.call) return;
  VKL_State* L = md5.L;
  std::vector<unsigned char> bytes(static_cast<size_t>(kBytes));
  std::mt19937_64 gen(1321);
  for (unsigned char& b : bytes) b = static_cast<unsigned char>(gen());
  TObject args[2], result;
  vkl_put_nil(&args[0]);
  vkl_put_nil(&result);
  VKL_SetBin(L, &args[0], bytes.data(), kBytes);
  vkl_put_int64(&args[1], kBytes);

  double handler_s = 0, direct_s = 0;
  for (auto _ : state) {
    const Clock::time_point h0 = Clock::now();
    if (!md5.call(L, args, 2, &result)) {
      state.SkipWithError("md5 rejected the call");
      break;
    }
    handler_s += std::chrono::duration<double>(Clock::now() - h0).count();

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    const Clock::time_point d0 = Clock::now();
    EVP_Digest(bytes.data(), bytes.size(), digest, &len, EVP_md5(), nullptr);
    direct_s += std::chrono::duration<double>(Clock::now() - d0).count();
    benchmark::DoNotOptimize(digest);
  }
  const double mib = static_cast<double>(kBytes >> 20) * static_cast<double>(state.iterations());
  state.counters["handler_MiBps"] = handler_s > 0 ? mib / handler_s : 0;
  state.counters["libcrypto_MiBps"] = direct_s > 0 ? mib / direct_s : 0;
  state.counters["ratio"] = handler_s > 0 ? direct_s / handler_s : 0;
  VKL_FreeObjectContent(L, &args[0]);
  VKL_FreeObjectContent(L, &result);
}
BENCHMARK(BM_Md5_64MiB)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);

}  // namespace

BENCHMARK_MAIN();
