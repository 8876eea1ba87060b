// Tables beside std::unordered_map doing the same work on 1,000,000 entries: inserting with
// sequential, random and string keys, looking those keys up, and iterating. Each pair runs in
// the same process; the end of the run prints the ratio table time / unordered_map time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "ratio_reporter.h"
#include "vkl/kernel.h"

namespace {

constexpr int64_t kEntries = 1000000;

struct Keys {
  std::vector<int64_t> sequential;
  std::vector<int64_t> random;           // sparse, over the whole int64 range
  std::vector<int64_t> random_shuffled;  // the same keys, looked up in another order
  std::vector<std::string> strings;
  std::vector<std::string> strings_shuffled;

  Keys() {
    std::mt19937_64 gen(20240601);
    for (int64_t i = 0; i < kEntries; ++i) {
      sequential.push_back(i);
      random.push_back(static_cast<int64_t>(gen()));
      strings.push_back("field_" + std::to_string(i * 7919 % 10000019));
    }
    random_shuffled = random;
    strings_shuffled = strings;
    std::shuffle(random_shuffled.begin(), random_shuffled.end(), gen);
    std::shuffle(strings_shuffled.begin(), strings_shuffled.end(), gen);
  }
};

const Keys& keys() {
  static const Keys k;
  return k;
}

// A table in a cell, released with the holder.
struct TableHolder {
  TObject cell;
  VKL_Table* t;
  TableHolder() {
    vkl_put_nil(&cell);
    t = VKL_NewHash(nullptr, &cell);
  }
  ~TableHolder() { VKL_FreeObjectContent(nullptr, &cell); }
};

using IntMap = std::unordered_map<int64_t, double>;
using StringMap = std::unordered_map<std::string, double>;

void fill(VKL_Table* t, const std::vector<int64_t>& ks) {
  double v = 0;
  for (int64_t k : ks) vkl_put_real(VKL_HashSetInt64(nullptr, t, k), v++);
}

void fill(VKL_Table* t, const std::vector<std::string>& ks) {
  double v = 0;
  for (const std::string& k : ks) {
    vkl_put_real(VKL_HashSetString(nullptr, t, k.data(), static_cast<int64_t>(k.size())), v++);
  }
}

template <class Map, class K>
void fill_map(Map& m, const std::vector<K>& ks) {
  double v = 0;
  for (const K& k : ks) m[k] = v++;
}

// ---- inserting: a fresh container per iteration; freeing it is not timed ----

template <class Container, class K>
void insert_into(benchmark::State& state, const std::vector<K>& ks) {
  for (auto _ : state) {
    auto* c = new Container();
    if constexpr (std::is_same_v<Container, TableHolder>) {
      fill(c->t, ks);
    } else {
      fill_map(*c, ks);
    }
    benchmark::ClobberMemory();
    state.PauseTiming();
    delete c;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(ks.size()));
}

void insert_int_seq_table(benchmark::State& s) {
  insert_into<TableHolder>(s, keys().sequential);
}
void insert_int_seq_umap(benchmark::State& s) {
  insert_into<IntMap>(s, keys().sequential);
}
void insert_int_random_table(benchmark::State& s) {
  insert_into<TableHolder>(s, keys().random);
}
void insert_int_random_umap(benchmark::State& s) {
  insert_into<IntMap>(s, keys().random);
}
void insert_string_table(benchmark::State& s) {
  insert_into<TableHolder>(s, keys().strings);
}
void insert_string_umap(benchmark::State& s) {
  insert_into<StringMap>(s, keys().strings);
}

// ---- looking up: every key once per iteration, in the given order ----

double find_in(const VKL_Table* t, int64_t k) {
  return vkl_real(VKL_HashGetInt64(t, k));
}
double find_in(const VKL_Table* t, const std::string& k) {
  return vkl_real(VKL_HashGetString(t, k.data(), static_cast<int64_t>(k.size())));
}
template <class Map, class K>
double find_in_map(const Map& m, const K& k) {
  return m.find(k)->second;
}

template <class Container, class K>
void lookup_in(benchmark::State& state, const std::vector<K>& inserted,
               const std::vector<K>& looked_up) {
  Container c;
  if constexpr (std::is_same_v<Container, TableHolder>) {
    fill(c.t, inserted);
  } else {
    fill_map(c, inserted);
  }
  for (auto _ : state) {
    double sum = 0;
    for (const K& k : looked_up) {
      if constexpr (std::is_same_v<Container, TableHolder>) {
        sum += find_in(c.t, k);
      } else {
        sum += find_in_map(c, k);
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(looked_up.size()));
}

void lookup_int_seq_table(benchmark::State& s) {
  lookup_in<TableHolder>(s, keys().sequential, keys().sequential);
}
void lookup_int_seq_umap(benchmark::State& s) {
  lookup_in<IntMap>(s, keys().sequential, keys().sequential);
}
void lookup_int_random_table(benchmark::State& s) {
  lookup_in<TableHolder>(s, keys().random, keys().random_shuffled);
}
void lookup_int_random_umap(benchmark::State& s) {
  lookup_in<IntMap>(s, keys().random, keys().random_shuffled);
}
void lookup_string_table(benchmark::State& s) {
  lookup_in<TableHolder>(s, keys().strings, keys().strings_shuffled);
}
void lookup_string_umap(benchmark::State& s) {
  lookup_in<StringMap>(s, keys().strings, keys().strings_shuffled);
}

// ---- iterating over every entry (of the randomly keyed containers) ----

void iterate_table(benchmark::State& state) {
  TableHolder h;
  fill(h.t, keys().random);
  for (auto _ : state) {
    double sum = 0;
    const int64_t positions = VKL_HashRawCount(h.t);
    for (int64_t pos = 0; pos < positions; ++pos) {
      const TObject* key = nullptr;
      if (const TObject* v = VKL_HashRawGetN(h.t, pos, &key)) sum += vkl_real(v);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}

void iterate_umap(benchmark::State& state) {
  IntMap m;
  fill_map(m, keys().random);
  for (auto _ : state) {
    double sum = 0;
    for (const auto& [k, v] : m) sum += v;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}

BENCHMARK(insert_int_seq_table)->Unit(benchmark::kMillisecond);
BENCHMARK(insert_int_seq_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(insert_int_random_table)->Unit(benchmark::kMillisecond);
BENCHMARK(insert_int_random_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(insert_string_table)->Unit(benchmark::kMillisecond);
BENCHMARK(insert_string_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_int_seq_table)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_int_seq_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_int_random_table)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_int_random_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_string_table)->Unit(benchmark::kMillisecond);
BENCHMARK(lookup_string_umap)->Unit(benchmark::kMillisecond);
BENCHMARK(iterate_table)->Unit(benchmark::kMillisecond);
BENCHMARK(iterate_umap)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keys();  // build the keys before any timing
  RatioReporter reporter("_table", "_umap");
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}
