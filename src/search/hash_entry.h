#pragma once
// One slot of the shared hash table. The table has no lock: an entry is stored as the
// key XOR the data plus the data, so a torn write by another thread fails the key test.
#include <atomic>
#include <cstdint>

struct HashEntry {
  std::atomic<uint64_t> hash_check;  // key XOR hash_data; both read and written relaxed
  std::atomic<uint64_t> hash_data;
};

static_assert(sizeof(HashEntry) == 16, "a hash entry is two 64-bit words");
static_assert(std::atomic<uint64_t>::is_always_lock_free, "hash entries rely on lock-free words");
