#pragma once
// The published Random64 numbers that key every position of a Polyglot book.
#include <cstdint>

// 768 piece numbers ((2 x kind + colour) x 64 + square, kind pawn 0 .. king 5, colour 1 for
// White), then four castling rights, eight en-passant files and the White-to-move number.
constexpr int POLYGLOT_RANDOM_SIZE = 781;
// + 0 White king side, 1 White queen side, 2 Black king side, 3 Black queen side
constexpr int POLYGLOT_CASTLING = 768;
constexpr int POLYGLOT_EP = 772;        // + file
constexpr int POLYGLOT_WHITE_TO_MOVE = 780;

extern const uint64_t POLYGLOT_RANDOM[POLYGLOT_RANDOM_SIZE];
