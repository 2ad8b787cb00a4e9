#pragma once
// Small tools shared by the board tests: threads and records set to a FEN, squares and moves
// by name, a key computed from the board alone, record comparison, colour-swapped positions.
#include <memory>
#include <string>

#include "board/move.h"
#include "board/position.h"
#include "search/thread_data.h"

// A heap thread (the record is large) with its stack set to fen and the moves played.
std::unique_ptr<ThreadData> thread_at(const char* fen, const char* moves = nullptr);
Position position_of(const char* fen);

// True square of a name such as "e4".
Square square_named(const char* name);
// The move that a coordinate token names in pos, with its gives-check bit set.
Move move_named(const Position& pos, const char* token);
// FEN of the true board; castling by rook files when chess960 is set.
std::string fen_of(const Position& pos, bool chess960 = true);

// The key of pos computed from the board alone, straight from the layout of the key table.
uint64_t key_from_scratch(const Position& pos);
// Empty when the two records agree in every field (the repetition bit aside), else what differs.
std::string record_difference(const Position& a, const Position& b);
// Empty when the feature changes of the move lead from the features of before to those of
// after (both in the mover's frame), else what went wrong.
std::string delta_fault(const Position& before, const Position& after, Move m, const FeatureDelta& d);

// Colour-swapped copy of a FEN: ranks mirrored, case swapped, other side to move.
std::string mirrored_fen(const std::string& fen);
// The same move for the colour-swapped position: ranks mirrored.
std::string mirrored_move(const std::string& token);

// Switches the Chess960 option for one scope and puts the old value back.
struct Chess960Option {
  explicit Chess960Option(bool on);
  ~Chess960Option();
  Chess960Option(const Chess960Option&) = delete;
  Chess960Option& operator=(const Chess960Option&) = delete;
  bool saved;
};
