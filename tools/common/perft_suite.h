#pragma once
// Perft suite files: one position a line, "FEN ;D1 20 ;D2 400 ;D3 8902".
#include <cstdint>
#include <string>
#include <vector>

struct PerftExpectation {
  int depth;
  uint64_t nodes;
};

struct PerftSuiteLine {
  int line_number;  // from 1, as an editor counts
  std::string fen;
  std::vector<PerftExpectation> expected;
};

// Reads the non-empty lines of a suite; false if the file can't be read.
bool read_perft_suite(const char* path, std::vector<PerftSuiteLine>& lines);

// What to check of one line: every listed depth, or with max_nodes > 0 only the
// deepest listed depth whose count is at most max_nodes (none if even depth 1 is larger).
std::vector<PerftExpectation> perft_checks(const PerftSuiteLine& line, uint64_t max_nodes);
