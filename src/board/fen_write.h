#pragma once
// Writing a position back out as FEN text.
#include "board/position.h"

// Room that position_to_fen may need, terminating zero included.
constexpr int FEN_BUFFER_SIZE = 128;

// Full FEN of the true board: pieces, side, castling, en-passant square, rule50 and move
// number 1. Castling reads "KQkq" for rooks on the h- and a-files when chess960 is false,
// else by rook files ("HAha", "EAea"). Writes at most FEN_BUFFER_SIZE bytes.
void position_to_fen(const Position& pos, char* out, bool chess960);
