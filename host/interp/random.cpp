// The per-thread uniform generator: xoshiro256** (fast, 256 bits of state, passes the usual
// statistical batteries), its state filled from a 64-bit seed by splitmix64 so that any seed,
// zero included, gives a well-mixed start.
#include <vkl/random.h>

#include <sys/random.h>

#include <chrono>
#include <cstdint>
#include <thread>

namespace {

uint64_t splitmix64(uint64_t& x) {
  uint64_t z = (x += 0x9e3779b97f4a7c15ull);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
  return z ^ (z >> 31);
}

__extension__ typedef unsigned __int128 uint128;

uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

// A seed from the operating system; should that fail, the clock and the thread id.
uint64_t os_seed() {
  uint64_t seed = 0;
  if (getrandom(&seed, sizeof seed, 0) == static_cast<ssize_t>(sizeof seed)) return seed;
  return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
         std::hash<std::thread::id>{}(std::this_thread::get_id());
}

class Xoshiro256 {
 public:
  explicit Xoshiro256(uint64_t seed) { reseed(seed); }

  void reseed(uint64_t seed) {
    for (uint64_t& word : s_) word = splitmix64(seed);
  }

  uint64_t next() {
    const uint64_t result = rotl(s_[1] * 5, 7) * 9;
    const uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = rotl(s_[3], 45);
    return result;
  }

 private:
  uint64_t s_[4];
};

Xoshiro256& generator() {
  thread_local Xoshiro256 gen(os_seed());
  return gen;
}

}  // namespace

extern "C" {

double Random(void) { return static_cast<double>(generator().next() >> 11) * 0x1.0p-53; }

// Lemire's multiply-and-reject: the high half of a 128-bit product, retried on the few low
// values that would favour some results.
int64_t RandomInt(int64_t range) {
  if (range <= 0) return 0;
  const uint64_t bound = static_cast<uint64_t>(range);
  Xoshiro256& gen = generator();
  uint128 product = static_cast<uint128>(gen.next()) * bound;
  uint64_t low = static_cast<uint64_t>(product);
  if (low < bound) {
    const uint64_t threshold = (0 - bound) % bound;
    while (low < threshold) {
      product = static_cast<uint128>(gen.next()) * bound;
      low = static_cast<uint64_t>(product);
    }
  }
  return static_cast<int64_t>(product >> 64);
}

void RandSeed(uint64_t seed) { generator().reseed(seed); }

}  // extern "C"
