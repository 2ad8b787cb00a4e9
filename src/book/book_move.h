#pragma once
// Choosing the book's move for a position and turning it into a Move for printing.
#include <cstdint>

#include "board/position.h"
#include "book/book_entries.h"

// The candidate at which r, less each weight in file order, first drops below 0; r must lie
// in [0, weight_sum), so a weight of 0 is never taken.
BookMove weighted_book_move(const BookCandidates& found, uint32_t r);

// The best move, or with random a draw by weight from a fresh srand seed; 0 when the
// weights sum to 0.
BookMove choose_book_move(const BookCandidates& found, bool random);

// The Move word for printing in pos: squares in the mover's frame, promotion piece, and the
// king taking its own rook turned into a castling, standard or Chess960. No legality test.
Move book_move_to_move(const Position& pos, BookMove book_move);

// The book's move for pos from the file at path, or 0. The file is opened and closed here.
Move lookup_book_move(const char* path, const Position& pos, bool random);

// The move of the book named by BookFile for the root of this go, or 0: always 0 with
// OwnBook off or for go infinite.
Move probe_book();
