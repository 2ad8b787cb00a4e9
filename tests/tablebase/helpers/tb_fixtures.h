#pragma once
// Shared pieces of the tablebase tests: the registry set up on the tables this binary
// carries (the published files of ../shared/syzygy), positions of a signature, and the
// one-ply check of the tables against the rules of chess.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "search/thread_data.h"

// Whether the build found all 70 files to embed.
bool shared_tables_embedded();

// Index tables built and the registry set to the embedded tables alone; options at defaults.
void reset_tables();

// A test of the tables this binary carries: skipped where the build found none, else
// begun from reset_tables.
class EmbeddedTablesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!shared_tables_embedded())
      GTEST_SKIP() << "this binary carries no tables: ../shared/syzygy (or data/syzygy, for the engine's own) "
                      "was absent at configure time";
    reset_tables();
  }
};

// The 35 embedded signatures, such as "KQvKR".
std::vector<std::string> embedded_signatures();

// A file under a table's name that holds no table (its magic bytes are wrong): the
// registry counts it, and its first use fails.
void write_broken_table(const std::filesystem::path& folder, const std::string& file_name);

// A FEN for men given as (piece letter, square) on the real board, upper case for White.
struct Man {
  char piece;
  int square;
};
std::string fen_of_men(const std::vector<Man>& men, bool black_to_move, int rule50 = 0);

// The men of a signature, left side White; squares still to be set.
std::vector<Man> men_of_signature(const std::string& name);

// The men set on random squares where they stand legally: no shared square, no pawn on
// rank 1 or 8, and the side that has just moved not in check.
void place_at_random(std::vector<Man>& men, bool black_to_move, std::mt19937_64& random);

// Empty when the probes of the thread's position agree with its legal moves one ply deep:
// the WDL sign with the best negated child, the DTZ size with the best child's plus one
// (within a ply of rounding) or 1 for a zeroing move that keeps the result, and the
// fifty-move rule with the size of the distance. Else the fault, with the FEN.
std::string one_ply_fault(ThreadData& thread);

// Checks `sample` random legal positions of a signature per side to move through
// one_ply_fault, and the same positions with the colours exchanged and turned left to
// right, which must probe the same.
struct SweepResult {
  int64_t positions = 0;
  int64_t faults = 0;
  std::vector<std::string> first_faults;
};
SweepResult sweep_signature(ThreadData& thread, const std::string& name, int sample, std::mt19937_64& random);

// Fails the running test on a walk that found a fault or no position at all.
void expect_no_faults(const SweepResult& r, const std::string& name);

// sweep_signature on each embedded signature; failures are reported to the running test.
void expect_embedded_signatures_agree(int sample, uint64_t seed);
