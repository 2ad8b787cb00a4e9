#pragma once
// A SplitMix64 stream: small, fast and seedable, so that a datagen run or a match
// with the same seed plays the same games.
#include <cstdint>

struct SplitMixRng {
  uint64_t state;

  uint64_t next() {
    state += 0x9E3779B97F4A7C15ull;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // 0 .. n-1, for n >= 1; the bias of the modulo is far below what matters here.
  int below(int n) { return int(next() % uint64_t(n)); }
  // Uniform in [0, 1).
  double uniform() { return double(next() >> 11) * 0x1.0p-53; }
};

// The stream of one game of a datagen run: game `game` of stream `stream` under a run seed.
// A game's moves and openings then follow from these three numbers alone, so a resumed run
// plays on where its streams stopped and never plays a game twice.
inline SplitMixRng game_rng(uint64_t seed, int stream, int64_t game) {
  SplitMixRng by_stream{seed ^ (uint64_t(stream) * 0xD1B54A32D192ED03ull)};
  SplitMixRng by_game{by_stream.next() ^ (uint64_t(game) * 0x9E3779B97F4A7C15ull)};
  return SplitMixRng{by_game.next()};
}
