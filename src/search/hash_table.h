#pragma once
// The shared transposition table: one entry per slot, no lock. An entry keeps the key XORed
// with its data word, so a torn write by another thread fails the key test.
//
// hash_data, from bit 0: depth + 128 (8 bits), ShortMove (15), BOUND_LOWER (bit 23),
// BOUND_EXACT (bit 24), generation (bits 25..31), score (signed 16), static evaluation (signed 16).
#include <atomic>
#include <cstdint>

#include "board/move.h"
#include "board/zobrist.h"
#include "protocol/search_limits.h"
#include "search/score.h"

struct HashEntry {
  std::atomic<uint64_t> hash_check;  // key XOR hash_data; both read and written relaxed
  std::atomic<uint64_t> hash_data;
};

static_assert(sizeof(HashEntry) == 16, "a hash entry is two 64-bit words");
static_assert(std::atomic<uint64_t>::is_always_lock_free, "hash entries rely on lock-free words");

// Depths are stored with this added, so that quiescence's depths (0 and below) fit 8 bits.
constexpr int HASH_DEPTH_OFFSET = 128;
constexpr uint64_t HASH_DEPTH_FIELD = 0xFF;
constexpr int HASH_MOVE_SHIFT = 8;
constexpr uint64_t HASH_MOVE_FIELD = 0x7FFF;
constexpr uint64_t HASH_BOUND_MASK = BOUND_LOWER | BOUND_EXACT;
constexpr uint64_t HASH_GENERATION_MASK = 0xFE000000;
// Each search stores with the generation one step on: entries of older searches give way.
constexpr uint32_t HASH_GENERATION_STEP = 0x2000000;
constexpr int HASH_SCORE_SHIFT = 32;
constexpr int HASH_STATIC_EVAL_SHIFT = 48;

inline int hash_depth(uint64_t data) { return int(data & HASH_DEPTH_FIELD) - HASH_DEPTH_OFFSET; }
inline ShortMove hash_move(uint64_t data) { return ShortMove((data >> HASH_MOVE_SHIFT) & HASH_MOVE_FIELD); }
inline uint32_t hash_bound(uint64_t data) { return uint32_t(data & HASH_BOUND_MASK); }
inline uint32_t hash_generation_of(uint64_t data) { return uint32_t(data & HASH_GENERATION_MASK); }
inline int32_t hash_score(uint64_t data) { return int16_t(data >> HASH_SCORE_SHIFT); }
inline int32_t hash_static_eval(uint64_t data) { return int16_t(data >> HASH_STATIC_EVAL_SHIFT); }

inline uint64_t make_hash_data(int depth, ShortMove move, uint32_t bound, uint32_t generation, int32_t score,
                               int32_t static_eval) {
  return uint64_t(uint8_t(depth + HASH_DEPTH_OFFSET)) | uint64_t(move) << HASH_MOVE_SHIFT | bound |
         (generation & HASH_GENERATION_MASK) | uint64_t(uint16_t(score)) << HASH_SCORE_SHIFT |
         uint64_t(uint16_t(static_eval)) << HASH_STATIC_EVAL_SHIFT;
}

inline HashEntry& hash_slot(uint64_t key) { return search_limits.hash_table[key & search_limits.hash_mask]; }

// Asks for the slot of key as soon as the key is known, so that the cache miss of its
// probe overlaps the work before it.
inline void prefetch_hash(uint64_t key) { __builtin_prefetch(&hash_slot(key)); }

// Reads the slot of key; true and the data word when the entry belongs to the key.
// Entries of any generation hit.
inline bool probe_hash(uint64_t key, uint64_t& data) {
  const HashEntry& e = hash_slot(key);
  const uint64_t check = e.hash_check.load(std::memory_order_relaxed);
  data = e.hash_data.load(std::memory_order_relaxed);
  return (check ^ data) == key;
}

// Writes the check word first, then the data.
inline void write_hash(uint64_t key, uint64_t data) {
  HashEntry& e = hash_slot(key);
  e.hash_check.store(key ^ data, std::memory_order_relaxed);
  e.hash_data.store(data, std::memory_order_relaxed);
}

// Mate and tablebase scores count from the root in the search, from the entry's own position in the table.
constexpr int32_t score_to_hash(int32_t score, int ply) {
  return score > SCORE_DECIDED ? score + ply : score < -SCORE_DECIDED ? score - ply : score;
}
constexpr int32_t score_from_hash(int32_t raw, int ply) {
  return raw < -SCORE_DECIDED ? raw + ply : raw > SCORE_DECIDED ? raw - ply : raw;
}

// The key of a singular search that leaves out excluded: apart from the position's own entry.
inline uint64_t excluded_move_key(uint64_t key, Move excluded) {
  return key ^ ZOBRIST[move_from(excluded)] ^ ZOBRIST[move_to(excluded)];
}
