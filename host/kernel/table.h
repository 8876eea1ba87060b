// The table's storage, shared by table.cpp (keys, lookup, insertion, deletion, life cycle) and
// table_ops.cpp (sorting, reindexing, copies and the other whole-table operations).
//
// A table is an array part (slot i holds key i; a deleted slot in the middle is a hole whose key
// cell is nil) and a hash part: entries in insertion order (a deleted entry is dead: key cell
// nil) plus an open-addressing index whose slots hold an entry number under the high half of the
// entry's hash. Non-negative integer keys in the hash part
// are never below the array size: after key n is appended, keys n+1, n+2, ... move over from the
// hash part.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "internal.h"

namespace vkl::table_detail {

struct ArraySlot {
  TObject key;
  TObject value;
};

struct HashEntry {
  uint64_t hash;
  TObject key;
  TObject value;
};

// Storage of the table's arrays: small buffers from malloc, large ones as mapped pages that grow
// without copying. Resizing gives null (the old buffer untouched) when out of memory.
void* buffer_resize(void* p, size_t old_bytes, size_t new_bytes);
void buffer_free(void* p, size_t bytes);

// A growable buffer of trivially copyable elements, so that running out of memory is a false
// result instead of an exception crossing the C interface.
template <class T>
class PodVector {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  PodVector() = default;
  PodVector(const PodVector&) = delete;
  PodVector& operator=(const PodVector&) = delete;
  ~PodVector() { buffer_free(data_, capacity_ * sizeof(T)); }

  T* data() const { return data_; }
  size_t size() const { return size_; }
  size_t capacity() const { return capacity_; }
  bool empty() const { return size_ == 0; }
  T& operator[](size_t i) const { return data_[i]; }
  T& back() const { return data_[size_ - 1]; }

  bool reserve(size_t wanted) {
    if (wanted <= capacity_) return true;
    if (wanted > SIZE_MAX / sizeof(T)) return false;
    void* p = buffer_resize(data_, capacity_ * sizeof(T), wanted * sizeof(T));
    if (!p) return false;
    data_ = static_cast<T*>(p);
    capacity_ = wanted;
    return true;
  }
  // Room for one more element, doubling the capacity (at least 8).
  bool grow_for_one() {
    if (size_ < capacity_) return true;
    return reserve(capacity_ < 8 ? 8 : capacity_ * 2);
  }
  // Appends an element whose bytes the caller fills in; null when out of memory.
  T* push_uninitialized() {
    if (!grow_for_one()) return nullptr;
    return &data_[size_++];
  }
  // Appends within the capacity reserved beforehand.
  T* push_reserved() { return &data_[size_++]; }
  void resize_down(size_t n) { size_ = n < size_ ? n : size_; }
  void clear() { size_ = 0; }
  void release_storage() {
    buffer_free(data_, capacity_ * sizeof(T));
    data_ = nullptr;
    size_ = capacity_ = 0;
  }
  void swap(PodVector& other) {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

 private:
  T* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// The low half of an index slot: an entry number, or one of these marks of a never used and a
// deleted slot.
constexpr uint32_t kEmptySlot = 0xFFFFFFFFu;
constexpr uint32_t kDeletedSlot = 0xFFFFFFFEu;
// Entry numbers stay below the markers.
constexpr size_t kMaxEntries = 0xFFFFFFF0u;
// The array part holds the keys 0..INT32_MAX.
constexpr size_t kMaxArray = size_t{INT32_MAX} + 1;

// A key brought to its stored form: an integer within 32 bits, an int64 beyond, or bytes.
struct Key {
  enum Kind : uint8_t { kInt = VKL_TINT, kInt64 = VKL_TINT64, kString = VKL_TSTRING2 };
  Kind kind;
  int64_t number;
  const char* bytes;
  int64_t length;
  uint64_t hash;
};

}  // namespace vkl::table_detail

struct VKL_Table {
  int64_t refcount = 1;
  bool is_static = false;
  // Tells tables apart in the per-thread cursor of VKL_HashGetN, together with `changes`.
  uint64_t serial = 0;
  // Counts changes of the entry layout (insertions, deletions, moves).
  uint64_t changes = 0;

  vkl::table_detail::PodVector<vkl::table_detail::ArraySlot> array;
  int64_t array_live = 0;

  vkl::table_detail::PodVector<vkl::table_detail::HashEntry> entries;
  int64_t hash_live = 0;
  // Open-addressing index (a power of two of slots, or none) over `entries`.
  uint64_t* index = nullptr;
  size_t index_mask = 0;
  size_t tombstones = 0;
};

namespace vkl::table_detail {

// Brings a key cell (following a reference) to its stored form; false for a refused key.
bool make_key(const TObject* cell, Key* key);
Key int_key(int64_t value);
// False when `bytes` is null or `length` negative or too long for a string cell.
bool string_key(const char* bytes, int64_t length, Key* key);

TObject* find(const VKL_Table* t, const Key& key);
// The value cell under the key, created nil when absent; null when out of memory.
TObject* find_or_insert(VKL_State* L, VKL_Table* t, const Key& key);
bool erase(VKL_State* L, VKL_Table* t, const Key& key);

// Drops dead hash entries and rebuilds the index; false (table unchanged) when out of memory.
bool compact_hash(VKL_Table* t);
// Removes the trailing holes of the array part.
void trim_array(VKL_Table* t);
// Makes an array slot hold `key` and an empty value.
inline void put_array_key(ArraySlot* slot, size_t key) {
  vkl_put_nil(&slot->key);
  vkl_put_int(&slot->key, static_cast<int32_t>(key));
  vkl_put_nil(&slot->value);
}

inline bool is_hole(const ArraySlot& slot) {
  return slot.key.tag == VKL_TNIL;
}
inline bool is_dead(const HashEntry& entry) {
  return entry.key.tag == VKL_TNIL;
}

}  // namespace vkl::table_detail
