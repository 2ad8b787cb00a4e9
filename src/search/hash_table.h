#pragma once
// The shared transposition table: one entry per slot, no lock. An entry keeps the
// key XORed with its data word, so a torn write by another thread fails the key test.
//
// hash_data, from bit 0: depth + 128 (8 bits), ShortMove (15), BOUND_LOWER (bit 23),
// BOUND_EXACT (bit 24), generation (bits 25..31), score (signed 16), static evaluation (signed 16).
#include <algorithm>
#include <cstdint>

#include "board/move.h"
#include "board/zobrist.h"
#include "protocol/search_limits.h"
#include "search/hash_entry.h"
#include "search/score.h"

constexpr uint64_t HASH_BOUND_MASK = BOUND_LOWER | BOUND_EXACT;
// Depths are stored with this added, so that quiescence's depths (0 and below) fit 8 bits.
constexpr int HASH_DEPTH_OFFSET = 128;
constexpr uint64_t HASH_GENERATION_MASK = 0xFE000000;

inline int hash_depth_code(uint64_t data) { return int(data & 0xFF); }
inline int hash_depth(uint64_t data) { return hash_depth_code(data) - HASH_DEPTH_OFFSET; }
inline ShortMove hash_move(uint64_t data) { return ShortMove((data >> 8) & 0x7FFF); }
inline uint32_t hash_bound(uint64_t data) { return uint32_t(data & HASH_BOUND_MASK); }
inline uint32_t hash_generation_of(uint64_t data) { return uint32_t(data & HASH_GENERATION_MASK); }
inline int32_t hash_score(uint64_t data) { return int16_t(data >> 32); }
inline int32_t hash_static_eval(uint64_t data) { return int16_t(data >> 48); }

inline uint64_t make_hash_data(int depth_code, ShortMove move, uint32_t bound, uint32_t generation, int32_t score,
                               int32_t static_eval) {
  return uint64_t(uint8_t(depth_code)) | uint64_t(move) << 8 | bound | (generation & HASH_GENERATION_MASK) |
         uint64_t(uint16_t(score)) << 32 | uint64_t(uint16_t(static_eval)) << 48;
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

// Whether a stored score with this bound settles the window (the depth is tested by the caller).
inline bool hash_score_cuts(int32_t score, uint32_t bound, int32_t alpha, int32_t beta) {
  return bound == BOUND_EXACT || (bound == BOUND_LOWER ? score >= beta : score <= alpha);
}

// A node's working value after a hit that did not cut: the stored score when exact (or in check),
// else the stored static evaluation moved toward the stored bound.
inline int32_t value_after_hash_hit(int32_t static_eval, int32_t score, uint32_t bound, bool checked) {
  return checked || bound == BOUND_EXACT ? score
         : bound == BOUND_LOWER          ? std::max(static_eval, score)
                                         : std::min(static_eval, score);
}

// The key of a singular search that leaves out excluded: apart from the position's own entry.
inline uint64_t excluded_move_key(uint64_t key, Move excluded) {
  return key ^ ZOBRIST[move_from(excluded)] ^ ZOBRIST[move_to(excluded)];
}
