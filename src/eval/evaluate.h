#pragma once
// The static score of the current position, from the side to move's view.
#include <cstdint>

struct ThreadData;
struct Position;
struct EvalForm;

constexpr int32_t EVAL_LIMIT = 30966;

// Updates the accumulators of record ply, runs the network and adds the Chess960 corner terms.
int32_t evaluate(ThreadData& thread, int ply);

// The same score computed by one chosen form (tests and benchmarks); the processor must run it.
int32_t evaluate_in_form(ThreadData& thread, int ply, const EvalForm& form);

// The final adjustments: Chess960 corner bishops, then the clamp.
int32_t finish_score(const Position& pos, int32_t network_score);
