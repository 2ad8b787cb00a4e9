#pragma once
// Reading a Polyglot book: 16-byte big-endian entries (key, move, weight, learn) sorted by key.
#include <cstdint>
#include <cstdio>

// A book move as the file writes it: bits 0..5 to, 6..11 from (a1 = 0, always White's view),
// 12..14 promotion (0 none, 1 knight .. 4 queen); castling is the king taking its own rook.
using BookMove = uint16_t;

struct BookCandidate {
  BookMove move;
  uint16_t weight;
};

// A book with one entry per legal move never has more for one position; entries past this
// many are not read.
constexpr int MAX_BOOK_CANDIDATES = 256;

// The entries of one position in file order, with the sum of their weights and the first of
// the highest weight above 0 (0 when no weight is above 0).
struct BookCandidates {
  BookCandidate list[MAX_BOOK_CANDIDATES];
  int count;
  uint32_t weight_sum;
  BookMove best_move;
};

// Finds the entries of key in the open book file. False when the position is not there,
// the file can't be read, a read comes up short, or the file is 2 GiB or more; what was
// gathered then is meaningless.
bool read_book_candidates(std::FILE* file, uint64_t key, BookCandidates& found);
