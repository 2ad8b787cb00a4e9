#pragma once
// Retrograde analysis of one material signature, with the 50-move rule's distinctions.
//
// Every position gets its game value and the distance in plies to the zeroing move (a
// capture or pawn move that keeps the result, or the mate). A win whose zeroing move comes
// within 100 plies is 2; a win only without the 50-move rule is 1 (cursed), and a capture
// into such a position counts as the 101st ply; losses likewise. Captures and promotions
// lead into smaller tables, pawn moves into positions of more advanced pawns: both are
// solved first, so that within one pawn configuration only piece moves remain.
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tbgen/men_moves.h"
#include "tbgen/signature.h"

// A position's state word during and after the analysis.
constexpr uint16_t STATE_FINAL = 0x8000;
constexpr uint16_t STATE_WIN = 0x4000;
constexpr uint16_t STATE_METRIC = 0x3FFF;
constexpr uint16_t STATE_DRAW = 0xFFFF;
constexpr uint16_t STATE_INVALID = 0xFFFE;
// Bits of an unsolved state: the piece moves whose outcome is still open, ...
constexpr uint16_t STATE_COUNTER = 0x00FF;
// ... a zeroing move that draws or better, ...
constexpr uint16_t STATE_CANNOT_LOSE = 0x0100;
// ... a zeroing move into a position that is lost without the 50-move rule only, ...
constexpr uint16_t STATE_CURSED_EXIT = 0x0200;
// ... and the zeroing moves of a losing side: 1 all lose at once, 2 one loses only
// without the 50-move rule (it counts from the 101st ply).
constexpr int STATE_LOSER_SHIFT = 10;

constexpr int CURSED_PLY = 101;

// Positions a thread takes at a time in the loops over a whole table.
constexpr uint64_t POSITION_GRAIN = 1 << 16;

inline int state_wdl(uint16_t s) {
  if (s == STATE_DRAW || s == STATE_INVALID || !(s & STATE_FINAL)) return 0;
  const int metric = s & STATE_METRIC;
  if (s & STATE_WIN) return metric < CURSED_PLY ? 2 : 1;
  return metric < CURSED_PLY ? -2 : -1;
}
inline bool state_decided(uint16_t s) { return (s & STATE_FINAL) && s != STATE_DRAW && s != STATE_INVALID; }

struct TableResult;

// Where a capture, promotion or both lead: the smaller table and how our men map onto it.
struct ChildMap {
  const TableResult* table = nullptr;  // null: bare kings, a draw
  bool swapped = false;                // the child table's White is our Black
  int man[MAX_MEN] = {-1, -1, -1, -1, -1};  // our man -> its man, -1 for the captured one
};

struct TableResult {
  Layout layout;
  std::vector<int8_t> wdl;       // by layout index, 0 for positions that can't occur
  std::vector<uint16_t> state;   // final states; emptied once the files are written
  // Children of this table, by [victim + 1][promoting man + 1][promotion piece]
  std::vector<ChildMap> children;
  double seconds = 0;
};

struct GeneratorOptions {
  int threads = 2;
  bool verbose = true;
  // When not empty, only these tables keep their states once solved: larger tables read
  // nothing but the values of their children, and a five-man table with pawns has four
  // five-man promotion targets, two bytes a position each.
  std::set<std::string> keep_states;
};

// Keeps the solved tables that larger ones look into.
struct TableStore {
  GeneratorOptions options;
  std::map<std::string, std::unique_ptr<TableResult>> tables;
};

// Solves the table of `name` and, first, every smaller table it needs.
TableResult& solve_table(TableStore& store, const std::string& name);

const ChildMap& child_map(const TableResult& t, int victim, int promoting, int promotion);
// Value for the side to move in the child position that a move leads to, en passant of a
// double push included.
int child_value(const TableResult& t, const uint16_t* state, const int* squares, int side, const ManMove& mv);

// What the zeroing moves of a position give its side to move: the best capture (promotions
// with capture included) and the best pawn move without capture, -3 where there is none.
struct ZeroingMoves {
  int best_capture = -3;
  int best_pawn_move = -3;
  int worst = 3;
  int piece_moves = 0;
  int legal_moves = 0;
};
ZeroingMoves zeroing_moves(const TableResult& t, const uint16_t* state, int* squares, int side);

// Value of a stored position (-2..2) and its metric, for tests.
uint16_t table_state(const TableResult& t, const int* squares, int side);
