#pragma once
// The one-ply check of every position of a signature at the cost of one probe a position:
// each signature is probed once, position by position in the generator's index order, and
// the children of a move are read back from there instead of probed again. Children that
// the stored values can't stand for (an en-passant capture open, bare kings) are probed.
#include <cstdint>
#include <string>
#include <vector>

#include "tablebase/helpers/tb_fixtures.h"
#include "tbgen/signature.h"

struct CachedProbe {
  int8_t wdl = 0;
  uint8_t flags = 0;  // the CACHED_ bits
  int16_t dtz = 0;
};
constexpr uint8_t CACHED_LEGAL = 1;
constexpr uint8_t CACHED_NO_MOVES = 2;
constexpr uint8_t CACHED_IN_CHECK = 4;
constexpr uint8_t CACHED_FAILED = 8;

struct ProbeCache {
  Layout layout;
  std::vector<CachedProbe> entries;  // by layout index
};

// probe_wdl and probe_dtz of every legal position of `name` (the generator tells which
// are legal), on `threads` threads, with the registry as the caller set it. Kept for the
// life of the process.
const ProbeCache& probe_cache(const std::string& name, int threads);

// Every legal position of `name`, both sides to move, through one_ply_fault: positions
// read from its own cache, children from the caches of its signature and of the smaller
// signatures its captures and promotions lead into. With probe_children_too every child is
// probed as well and must read the same from the cache. Threads 0: one a core.
SweepResult sweep_signature_cached(const std::string& name, int threads = 0, bool probe_children_too = false);
