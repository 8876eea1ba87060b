// Tables: keys, lookup, insertion and deletion in the array and hash parts, positions, and the
// table's life cycle. Failure policy: every operation takes a null table or a refused key as
// "absent" (null, 0) and leaves the table as it was when memory runs short.
#include <sys/mman.h>

#include <atomic>
#include <cmath>
#include <new>

#include "table.h"

using vkl::table_detail::ArraySlot;
using vkl::table_detail::HashEntry;
using vkl::table_detail::Key;

namespace {

namespace td = vkl::table_detail;

// ---- hashing ----

__extension__ typedef unsigned __int128 uint128;

constexpr uint64_t kSeed0 = 0xa0761d6478bd642fULL;
constexpr uint64_t kSeed1 = 0xe7037ed1a0b428dbULL;
constexpr uint64_t kSeed2 = 0x8ebc6af09c88c6e3ULL;

// Folds the 128-bit product of two words: every input bit reaches every output bit.
inline uint64_t fold_multiply(uint64_t a, uint64_t b) {
  const uint128 product = static_cast<uint128>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

inline uint64_t read64(const char* p) {
  uint64_t v;
  memcpy(&v, p, sizeof v);
  return v;
}

inline uint64_t read32(const char* p) {
  uint32_t v;
  memcpy(&v, p, sizeof v);
  return v;
}

inline uint64_t hash_integer(int64_t v) {
  return fold_multiply(static_cast<uint64_t>(v) ^ kSeed0, kSeed1);
}

// Sixteen bytes per round; short texts are read as two overlapping words.
uint64_t hash_bytes(const char* p, size_t len) {
  uint64_t seed = kSeed0;
  uint64_t a = 0, b = 0;
  if (len <= 16) {
    if (len >= 4) {
      const size_t step = (len >> 3) << 2;
      a = (read32(p) << 32) | read32(p + step);
      b = (read32(p + len - 4) << 32) | read32(p + len - 4 - step);
    } else if (len > 0) {
      const auto byte = [p](size_t i) { return static_cast<uint64_t>(static_cast<uint8_t>(p[i])); };
      a = (byte(0) << 16) | (byte(len >> 1) << 8) | byte(len - 1);
    }
  } else {
    size_t rest = len;
    while (rest > 16) {
      seed = fold_multiply(read64(p) ^ kSeed1, read64(p + 8) ^ seed);
      p += 16;
      rest -= 16;
    }
    a = read64(p + rest - 16);
    b = read64(p + rest - 8);
  }
  return fold_multiply(kSeed2 ^ len, fold_multiply(a ^ kSeed1, b ^ seed));
}

// ---- keys ----

// The longest text a string cell holds.
constexpr int64_t kMaxKeyLength = 0x7FFFFFFE;

inline bool same_key(const TObject& stored, const Key& key) {
  if (stored.tag != key.kind) return false;
  switch (key.kind) {
    case Key::kInt:
      return vkl_int(&stored) == key.number;
    case Key::kInt64:
      return vkl_int64(&stored) == key.number;
    default:
      return vkl_len(&stored) - 1 == key.length &&
             memcmp(vkl_ptr(&stored), key.bytes, static_cast<size_t>(key.length)) == 0;
  }
}

// Builds the stored key cell (a counted copy for a string key); false when out of memory.
bool make_key_cell(VKL_State* L, TObject* cell, const Key& key) {
  vkl_put_nil(cell);
  switch (key.kind) {
    case Key::kInt:
      vkl_put_int(cell, static_cast<int32_t>(key.number));
      return true;
    case Key::kInt64:
      vkl_put_int64(cell, key.number);
      return true;
    default:
      return vkl::put_string(L, cell, key.bytes, key.length, VKL_TSTRING2);
  }
}

// ---- the hash part's index ----

// Slots for `entries` entries at most half full.
size_t index_capacity_for(size_t entries) {
  size_t capacity = 8;
  while (capacity / 2 < entries + 1) capacity *= 2;
  return capacity;
}

// An index slot: the entry number, and the high half of the entry's hash above it so that most
// mismatches are seen without reading the entry.
inline uint64_t slot_value(uint64_t hash, uint32_t n) {
  return (hash & ~uint64_t{0xFFFFFFFF}) | n;
}
inline uint32_t slot_entry(uint64_t slot) {
  return static_cast<uint32_t>(slot);
}

constexpr size_t kNotFound = SIZE_MAX;

// The position of the index slot whose entry `match` accepts, or kNotFound. The tag in the slot
// settles most mismatches; an empty slot ends the probe sequence.
template <class Match>
inline size_t probe(const VKL_Table* t, uint64_t hash, Match match) {
  if (t->hash_live == 0) return kNotFound;
  const uint64_t* index = t->index;
  const size_t mask = t->index_mask;
  const HashEntry* entries = t->entries.data();
  const uint64_t tag = hash >> 32;
  for (size_t pos = hash & mask;; pos = (pos + 1) & mask) {
    const uint64_t s = index[pos];
    const uint32_t n = slot_entry(s);
    if ((s >> 32) == tag && n < td::kDeletedSlot && match(entries[n])) return pos;
    if (n == td::kEmptySlot) return kNotFound;
  }
}

inline size_t probe_key(const VKL_Table* t, const Key& key) {
  return probe(t, key.hash,
               [&key](const HashEntry& e) { return e.hash == key.hash && same_key(e.key, key); });
}

inline HashEntry* entry_at(const VKL_Table* t, size_t pos) {
  return &t->entries[slot_entry(t->index[pos])];
}

inline HashEntry* find_entry(const VKL_Table* t, const Key& key) {
  const size_t pos = probe_key(t, key);
  return pos == kNotFound ? nullptr : entry_at(t, pos);
}

// The value under an integer key in the hash part; kept out of line so that the array part's
// path of the integer getters stays a few instructions.
__attribute__((noinline)) TObject* find_hashed_integer(const VKL_Table* t, int64_t key) {
  const bool small = key >= INT32_MIN && key <= INT32_MAX;
  const size_t pos = probe(t, hash_integer(key), [key, small](const HashEntry& e) {
    return small ? e.key.tag == VKL_TINT && vkl_int(&e.key) == key
                 : e.key.tag == VKL_TINT64 && vkl_int64(&e.key) == key;
  });
  return pos == kNotFound ? nullptr : &entry_at(t, pos)->value;
}

inline TObject* find_integer(const VKL_Table* t, int64_t key) {
  if (key >= 0 && static_cast<uint64_t>(key) < t->array.size()) {
    ArraySlot& slot = t->array[static_cast<size_t>(key)];
    return td::is_hole(slot) ? nullptr : &slot.value;
  }
  return find_hashed_integer(t, key);
}

// Places entry number `n` in the first free slot of its probe sequence.
inline void index_insert(VKL_Table* t, uint64_t hash, uint32_t n) {
  size_t pos = hash & t->index_mask;
  while (slot_entry(t->index[pos]) < td::kDeletedSlot) pos = (pos + 1) & t->index_mask;
  if (slot_entry(t->index[pos]) == td::kDeletedSlot) --t->tombstones;
  t->index[pos] = slot_value(hash, n);
}

void free_index(VKL_Table* t) {
  if (t->index) td::buffer_free(t->index, (t->index_mask + 1) * sizeof(uint64_t));
  t->index = nullptr;
}

// Drops the dead entries (keeping the order of the live ones) under a fresh index of `capacity`
// slots; false, table unchanged, when out of memory.
bool rebuild_index(VKL_Table* t, size_t capacity) {
  auto* fresh = static_cast<uint64_t*>(td::buffer_resize(nullptr, 0, capacity * sizeof(uint64_t)));
  if (!fresh) return false;
  size_t kept = 0;
  for (size_t i = 0; i < t->entries.size(); ++i) {
    if (td::is_dead(t->entries[i])) continue;
    if (kept != i) memcpy(&t->entries[kept], &t->entries[i], sizeof(HashEntry));
    ++kept;
  }
  t->entries.resize_down(kept);
  free_index(t);
  t->index = fresh;
  t->index_mask = capacity - 1;
  t->tombstones = 0;
  memset(fresh, 0xFF, capacity * sizeof(uint64_t));
  for (size_t i = 0; i < kept; ++i) index_insert(t, t->entries[i].hash, static_cast<uint32_t>(i));
  ++t->changes;  // the entries' positions moved
  return true;
}

// Makes room in the index for one more entry, dropping dead entries and growing the index when
// the live entries and tombstones would fill it past half.
bool room_for_one_entry(VKL_Table* t) {
  const size_t used = static_cast<size_t>(t->hash_live) + t->tombstones + 1;
  if (t->index && used <= (t->index_mask + 1) / 2) return true;
  return rebuild_index(t, index_capacity_for(static_cast<size_t>(t->hash_live) + 1));
}

// Forgets every hash entry once the last live one is gone (their cells are already released).
void reset_hash(VKL_Table* t) {
  t->entries.clear();
  if (t->index) memset(t->index, 0xFF, (t->index_mask + 1) * sizeof(uint64_t));
  t->tombstones = 0;
}

HashEntry* insert_entry(VKL_State* L, VKL_Table* t, const Key& key) {
  if (t->entries.size() >= td::kMaxEntries) return nullptr;
  if (!room_for_one_entry(t) || !t->entries.grow_for_one()) return nullptr;
  HashEntry* entry = t->entries.push_reserved();
  if (!make_key_cell(L, &entry->key, key)) {
    t->entries.resize_down(t->entries.size() - 1);
    return nullptr;
  }
  entry->hash = key.hash;
  vkl_put_nil(&entry->value);
  index_insert(t, key.hash, static_cast<uint32_t>(t->entries.size() - 1));
  ++t->hash_live;
  return entry;
}

// Takes the entry in index slot `slot` out of the hash part; its cells go to the caller.
void unlink_entry(VKL_Table* t, size_t slot, TObject* key, TObject* value) {
  HashEntry& entry = t->entries[slot_entry(t->index[slot])];
  vkl::move_cell(key, &entry.key);
  vkl::move_cell(value, &entry.value);
  t->index[slot] = td::kDeletedSlot;
  ++t->tombstones;
  if (--t->hash_live == 0) reset_hash(t);
}

// ---- the array part ----

// Moves keys n, n+1, ... from the hash part to the end of the array part while they follow on.
void pull_following_keys(VKL_Table* t) {
  while (t->hash_live > 0 && t->array.size() < td::kMaxArray) {
    const size_t slot = probe_key(t, td::int_key(static_cast<int64_t>(t->array.size())));
    if (slot == kNotFound || !t->array.grow_for_one()) return;
    ArraySlot* moved = t->array.push_reserved();
    unlink_entry(t, slot, &moved->key, &moved->value);
    ++t->array_live;
  }
}

TObject* array_insert(VKL_Table* t, size_t k) {
  if (k < t->array.size()) {
    ArraySlot& slot = t->array[k];
    if (td::is_hole(slot)) {
      td::put_array_key(&slot, k);
      ++t->array_live;
      ++t->changes;
    }
    return &slot.value;
  }
  ArraySlot* slot = t->array.push_uninitialized();
  if (!slot) return nullptr;
  td::put_array_key(slot, k);
  ++t->array_live;
  ++t->changes;
  pull_following_keys(t);
  return &t->array[k].value;
}

// Whether an integer key belongs in the array part: inside it, or the next one to append.
inline bool array_key(const VKL_Table* t, const Key& key) {
  return key.kind == Key::kInt && key.number >= 0 &&
         static_cast<size_t>(key.number) <= t->array.size();
}

// ---- iteration cursor ----

// Where the last slow VKL_HashGetN lookup of this thread ended, so that walking the entries in
// order with holes or dead entries present stays linear.
struct GetNCursor {
  const VKL_Table* table = nullptr;
  uint64_t serial = 0;
  uint64_t changes = 0;
  int64_t n = 0;
  int64_t position = 0;
};

thread_local GetNCursor get_n_cursor;

std::atomic<uint64_t> next_serial{1};

void destroy_table(VKL_State* L, void* p) {
  auto* t = static_cast<VKL_Table*>(p);
  // Numbers and nil hold nothing to let go of; most large tables hold mostly numbers.
  for (size_t i = 0; i < t->array.size(); ++i) {
    TObject* value = &t->array[i].value;
    if (!vkl_is_number_tag(value->tag) && value->tag != VKL_TNIL) vkl::release(L, value);
  }
  for (size_t i = 0; i < t->entries.size(); ++i) {
    vkl::release(L, &t->entries[i].key);
    vkl::release(L, &t->entries[i].value);
  }
  free_index(t);
  delete t;
}

}  // namespace

namespace vkl::table_detail {

namespace {

// From this size on a buffer is mapped pages, asked to be backed by huge pages: growing moves
// page tables instead of bytes, and touching fresh memory takes few page faults.
constexpr size_t kMappedBytes = size_t{4} << 20;
constexpr size_t kPageBytes = 4096;

size_t whole_pages(size_t bytes) {
  return (bytes + kPageBytes - 1) & ~(kPageBytes - 1);
}

// The last large buffer this thread freed, kept for the next one it needs: a script that builds
// and drops big tables in a loop reuses pages that are already mapped instead of having the
// system fault in and zero fresh ones each time. Its pages are handed back lazily
// (MADV_FREE), so the system can still reclaim them under memory pressure.
struct SpareMapping {
  void* pages = nullptr;
  size_t bytes = 0;
  ~SpareMapping() {
    if (pages) munmap(pages, bytes);
  }
};
thread_local SpareMapping spare;

void* map_pages(size_t bytes) {
  const size_t wanted = whole_pages(bytes);
  if (spare.pages && spare.bytes >= wanted) {
    void* p = spare.pages;
    if (spare.bytes > wanted) munmap(static_cast<char*>(p) + wanted, spare.bytes - wanted);
    spare.pages = nullptr;
    spare.bytes = 0;
    return p;
  }
  void* p = mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return nullptr;
  madvise(p, wanted, MADV_HUGEPAGE);
  return p;
}

// Keeps the larger of `p` and the current spare; the other is unmapped.
void unmap_pages(void* p, size_t bytes) {
  const size_t mapped = whole_pages(bytes);
  if (mapped < spare.bytes) {
    munmap(p, mapped);
    return;
  }
  if (spare.pages) munmap(spare.pages, spare.bytes);
  madvise(p, mapped, MADV_FREE);
  spare.pages = p;
  spare.bytes = mapped;
}

}  // namespace

void* buffer_resize(void* p, size_t old_bytes, size_t new_bytes) {
  const bool was_mapped = p && old_bytes >= kMappedBytes;
  if (!was_mapped && new_bytes < kMappedBytes) return std::realloc(p, new_bytes);
  if (was_mapped && new_bytes >= kMappedBytes) {
    void* q = mremap(p, whole_pages(old_bytes), whole_pages(new_bytes), MREMAP_MAYMOVE);
    if (q == MAP_FAILED) return nullptr;
    madvise(q, whole_pages(new_bytes), MADV_HUGEPAGE);
    return q;
  }
  void* q = new_bytes >= kMappedBytes ? map_pages(new_bytes) : std::malloc(new_bytes);
  if (!q) return nullptr;
  if (p) memcpy(q, p, std::min(old_bytes, new_bytes));
  buffer_free(p, old_bytes);
  return q;
}

void buffer_free(void* p, size_t bytes) {
  if (!p) return;
  if (bytes >= kMappedBytes) {
    unmap_pages(p, bytes);
  } else {
    std::free(p);
  }
}

Key int_key(int64_t value) {
  Key key;
  key.kind = value >= INT32_MIN && value <= INT32_MAX ? Key::kInt : Key::kInt64;
  key.number = value;
  key.bytes = nullptr;
  key.length = 0;
  key.hash = hash_integer(value);
  return key;
}

bool string_key(const char* bytes, int64_t length, Key* key) {
  if (!bytes || length < 0 || length > kMaxKeyLength) return false;
  key->kind = Key::kString;
  key->number = 0;
  key->bytes = bytes;
  key->length = length;
  key->hash = hash_bytes(bytes, static_cast<size_t>(length));
  return true;
}

bool make_key(const TObject* cell, Key* key) {
  if (!cell) return false;
  cell = vkl_follow(cell);
  switch (cell->tag) {
    case VKL_TINT:
      *key = int_key(vkl_int(cell));
      return true;
    case VKL_TINT64:
      *key = int_key(vkl_int64(cell));
      return true;
    case VKL_TREAL: {
      const double d = vkl_real(cell);
      // Integral reals inside the int64 range; the bounds are exact powers of two.
      if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0) || std::trunc(d) != d) {
        return false;
      }
      *key = int_key(static_cast<int64_t>(d));
      return true;
    }
    case VKL_TSTRING:
    case VKL_TSTRING2:
      return string_key(VKL_AsString(cell), VKL_StringLen(cell), key);
    default:
      return false;
  }
}

TObject* find(const VKL_Table* t, const Key& key) {
  if (key.kind == Key::kInt && key.number >= 0 &&
      static_cast<size_t>(key.number) < t->array.size()) {
    ArraySlot& slot = t->array[static_cast<size_t>(key.number)];
    return is_hole(slot) ? nullptr : &slot.value;
  }
  HashEntry* entry = find_entry(t, key);
  return entry ? &entry->value : nullptr;
}

TObject* find_or_insert(VKL_State* L, VKL_Table* t, const Key& key) {
  if (array_key(t, key)) {
    // Key n may still sit in the hash part when moving it over ran out of memory.
    if (static_cast<size_t>(key.number) == t->array.size()) {
      if (HashEntry* entry = find_entry(t, key)) return &entry->value;
    }
    return array_insert(t, static_cast<size_t>(key.number));
  }
  if (HashEntry* entry = find_entry(t, key)) return &entry->value;
  HashEntry* entry = insert_entry(L, t, key);
  if (!entry) return nullptr;
  ++t->changes;
  return &entry->value;
}

bool erase(VKL_State* L, VKL_Table* t, const Key& key) {
  TObject old_key, old_value;
  if (key.kind == Key::kInt && key.number >= 0 &&
      static_cast<size_t>(key.number) < t->array.size()) {
    ArraySlot& slot = t->array[static_cast<size_t>(key.number)];
    if (is_hole(slot)) return false;
    vkl::move_cell(&old_key, &slot.key);
    vkl::move_cell(&old_value, &slot.value);
    --t->array_live;
    trim_array(t);
  } else {
    const size_t slot = probe_key(t, key);
    if (slot == kNotFound) return false;
    unlink_entry(t, slot, &old_key, &old_value);
  }
  ++t->changes;
  // Released last: a value's release may run host code that looks at this table.
  vkl::release(L, &old_key);
  vkl::release(L, &old_value);
  return true;
}

bool compact_hash(VKL_Table* t) {
  ++t->changes;
  if (t->hash_live == 0) {
    reset_hash(t);
    return true;
  }
  if (t->entries.size() == static_cast<size_t>(t->hash_live) && t->tombstones == 0) return true;
  return rebuild_index(t, index_capacity_for(static_cast<size_t>(t->hash_live)));
}

void trim_array(VKL_Table* t) {
  size_t size = t->array.size();
  while (size > 0 && is_hole(t->array[size - 1])) --size;
  t->array.resize_down(size);
}

}  // namespace vkl::table_detail

namespace vkl {

VKL_Table* table_create(VKL_State*, int64_t arrayCount, int64_t hashCount) {
  // Room beyond what a table can ever hold is refused rather than attempted.
  if (arrayCount < 0 || hashCount < 0 || static_cast<uint64_t>(arrayCount) > td::kMaxArray ||
      static_cast<uint64_t>(hashCount) > td::kMaxEntries) {
    return nullptr;
  }
  auto* t = new (std::nothrow) VKL_Table();
  if (!t) return nullptr;
  t->serial = next_serial.fetch_add(1, std::memory_order_relaxed);
  const auto array_room = static_cast<size_t>(arrayCount);
  const auto hash_room = static_cast<size_t>(hashCount);
  bool ok = t->array.reserve(array_room);
  if (ok && hash_room > 0) {
    ok = t->entries.reserve(hash_room) && rebuild_index(t, index_capacity_for(hash_room));
  }
  if (!ok) {
    free_index(t);
    delete t;
    return nullptr;
  }
  return t;
}

void table_retain(VKL_Table* t) {
  if (t) ++t->refcount;
}

void table_release(VKL_State* L, VKL_Table* t) {
  if (t && --t->refcount == 0) destroy_later(L, destroy_table, t);
}

bool table_is_static(const VKL_Table* t) {
  return t && t->is_static;
}

void table_set_static(VKL_Table* t, bool is_static) {
  if (t) t->is_static = is_static;
}

}  // namespace vkl

namespace {

TObject* get_by_key(const VKL_Table* t, const Key& key) {
  return t ? td::find(t, key) : nullptr;
}

TObject* set_by_key(VKL_State* L, VKL_Table* t, const Key& key) {
  return t ? td::find_or_insert(L, t, key) : nullptr;
}

}  // namespace

extern "C" {

VKL_Table* VKL_NewHash(VKL_State* L, TObject* o) {
  return VKL_NewHashEx(L, o, 0, 0);
}

VKL_Table* VKL_NewHashEx(VKL_State* L, TObject* o, int64_t arrayCount, int64_t hashCount) {
  if (!o) return nullptr;
  VKL_Table* t = vkl::table_create(L, arrayCount, hashCount);
  if (!t) return nullptr;
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TTABLE, t);
  return t;
}

void VKL_SetHashRef(VKL_State* L, TObject* o, VKL_Table* t) {
  if (!o || !t) return;
  vkl::table_retain(t);  // first, in case the cell held the last other reference
  vkl::release(L, o);
  vkl_put_ptr(o, VKL_TTABLE, t);
}

TObject* VKL_HashGet(const VKL_Table* t, const TObject* key) {
  Key k;
  return td::make_key(key, &k) ? get_by_key(t, k) : nullptr;
}

TObject* VKL_HashGetInt(const VKL_Table* t, int32_t key) {
  return t ? find_integer(t, key) : nullptr;
}

TObject* VKL_HashGetInt64(const VKL_Table* t, int64_t key) {
  return t ? find_integer(t, key) : nullptr;
}

TObject* VKL_HashGetSZString(const VKL_Table* t, const char* key) {
  return key ? VKL_HashGetString(t, key, static_cast<int64_t>(strlen(key))) : nullptr;
}

TObject* VKL_HashGetString(const VKL_Table* t, const char* key, int64_t len) {
  Key k;
  return td::string_key(key, len, &k) ? get_by_key(t, k) : nullptr;
}

TObject* VKL_HashSet(VKL_State* L, VKL_Table* t, const TObject* key) {
  Key k;
  return td::make_key(key, &k) ? set_by_key(L, t, k) : nullptr;
}

TObject* VKL_HashSetInt(VKL_State* L, VKL_Table* t, int32_t key) {
  return set_by_key(L, t, td::int_key(key));
}

TObject* VKL_HashSetInt64(VKL_State* L, VKL_Table* t, int64_t key) {
  return set_by_key(L, t, td::int_key(key));
}

TObject* VKL_HashAppend(VKL_State* L, VKL_Table* t) {
  if (!t || t->array.size() >= td::kMaxArray) return nullptr;
  const size_t k = t->array.size();
  // The key may sit in the hash part when moving it over ran out of memory.
  if (t->hash_live > 0) return td::find_or_insert(L, t, td::int_key(static_cast<int64_t>(k)));
  return array_insert(t, k);
}

TObject* VKL_HashSetIntPtr(VKL_State* L, VKL_Table* t, intptr_t key) {
  return set_by_key(L, t, td::int_key(static_cast<int64_t>(key)));
}

TObject* VKL_HashSetSZString(VKL_State* L, VKL_Table* t, const char* key) {
  return key ? VKL_HashSetString(L, t, key, static_cast<int64_t>(strlen(key))) : nullptr;
}

TObject* VKL_HashSetString(VKL_State* L, VKL_Table* t, const char* key, int64_t len) {
  Key k;
  return td::string_key(key, len, &k) ? set_by_key(L, t, k) : nullptr;
}

int64_t VKL_HashCount(const VKL_Table* t) {
  return t ? t->array_live + t->hash_live : 0;
}

int64_t VKL_HashArrayCount(const VKL_Table* t) {
  return t ? t->array_live : 0;
}

int64_t VKL_HashHashCount(const VKL_Table* t) {
  return t ? t->hash_live : 0;
}

int64_t VKL_HashRawCount(const VKL_Table* t) {
  return t ? static_cast<int64_t>(t->array.size() + t->entries.size()) : 0;
}

TObject* VKL_HashRawGetN(const VKL_Table* t, int64_t pos, const TObject** key) {
  if (key) *key = nullptr;
  if (!t || pos < 0) return nullptr;
  const auto p = static_cast<size_t>(pos);
  TObject* cells = nullptr;  // the key cell, the value cell right after it
  if (p < t->array.size()) {
    ArraySlot& slot = t->array[p];
    if (td::is_hole(slot)) return nullptr;
    cells = &slot.key;
  } else if (p - t->array.size() < t->entries.size()) {
    HashEntry& entry = t->entries[p - t->array.size()];
    if (td::is_dead(entry)) return nullptr;
    cells = &entry.key;
  } else {
    return nullptr;
  }
  if (key) *key = cells;
  return cells + 1;
}

TObject* VKL_HashGetN(const VKL_Table* t, int64_t n, const TObject** key) {
  if (key) *key = nullptr;
  if (!t || n < 0 || n >= VKL_HashCount(t)) return nullptr;
  const auto array_size = static_cast<int64_t>(t->array.size());
  // Without holes or dead entries the n-th entry sits at a known position.
  if (n < t->array_live && t->array_live == array_size) return VKL_HashRawGetN(t, n, key);
  if (n >= t->array_live && t->hash_live == static_cast<int64_t>(t->entries.size())) {
    return VKL_HashRawGetN(t, array_size + (n - t->array_live), key);
  }
  // Otherwise walk from the nearest known point: the start, the start of the hash part, or
  // where this thread's last walk over the same unchanged table stopped.
  int64_t seen = 0, position = 0;
  if (n >= t->array_live) {
    seen = t->array_live;
    position = array_size;
  }
  GetNCursor& cursor = get_n_cursor;
  if (cursor.table == t && cursor.serial == t->serial && cursor.changes == t->changes &&
      cursor.n <= n && cursor.n >= seen) {
    seen = cursor.n;
    position = cursor.position;
  }
  const int64_t raw_count = VKL_HashRawCount(t);
  for (; position < raw_count; ++position) {
    TObject* value = VKL_HashRawGetN(t, position, key);
    if (!value) continue;
    if (seen == n) {
      cursor = GetNCursor{t, t->serial, t->changes, n, position};
      return value;
    }
    ++seen;
  }
  if (key) *key = nullptr;
  return nullptr;
}

int VKL_DeleteField(VKL_State* L, VKL_Table* t, const TObject* key) {
  Key k;
  return t && td::make_key(key, &k) && td::erase(L, t, k) ? 1 : 0;
}

void VKL_GCFreeTable(VKL_State* L, VKL_Table* t) {
  vkl::table_release(L, t);
}

void VKL_SetStatic(TObject* o) {
  if (!o) return;
  const TObject* cell = vkl_follow(o);
  if (cell->tag == VKL_TTABLE) vkl::table_set_static(vkl_table(cell), true);
}

int VKL_IsStatic(const TObject* o) {
  if (!o) return 0;
  const TObject* cell = vkl_follow(o);
  return cell->tag == VKL_TTABLE && vkl::table_is_static(vkl_table(cell)) ? 1 : 0;
}

}  // extern "C"
