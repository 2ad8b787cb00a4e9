#pragma once
// The static score of the current position, from the side to move's view.
#include <cstdint>

struct ThreadData;
struct Position;

constexpr int32_t EVAL_LIMIT = 30966;

// Updates the accumulators of record ply, runs the network and adds the Chess960 corner terms.
int32_t evaluate(ThreadData& thread, int ply);

// The same score with the plain-integer forward pass: the reference for the vector code.
int32_t evaluate_plain(ThreadData& thread, int ply);

// The final adjustments: Chess960 corner bishops, then the clamp.
int32_t finish_score(const Position& pos, int32_t network_score);
