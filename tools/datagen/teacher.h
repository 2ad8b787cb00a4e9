#pragma once
// The bootstrap teacher: a small hand-written evaluation (material and piece-square
// tables) and a quiescence search over the engine's own generators. It labels the first
// training data, before any trained network exists. Scores are in the engine's units
// (a pawn is about 100), from the side to move's view.
#include <cstdint>

struct Position;
struct ThreadData;

// Plies of quiescence below the root after which the teacher stands pat even in check.
constexpr int TEACHER_MAX_PLY = 32;

// Material and piece-square terms of the position, side to move's view.
int32_t teacher_eval(const Position& pos);

// Alpha-beta over captures and queen promotions with stand pat; all legal evasions when in
// check, and a mate score when none exists. Works on the thread's current position and
// leaves the thread as it found it. ply counts from the labelled position.
int32_t teacher_qsearch(ThreadData& thread, int32_t alpha, int32_t beta, int ply);

// The label of the thread's current position: its quiescence score with a full window.
int32_t teacher_score(ThreadData& thread);
