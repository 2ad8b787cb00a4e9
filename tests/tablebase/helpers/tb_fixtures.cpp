#include "tablebase/helpers/tb_fixtures.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <utility>

#include "bench_tablebase/board_text.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

bool shared_tables_embedded() {
  for (const EmbeddedTable& table : EMBEDDED_TABLES)
    if (!table.data) return false;
  return true;
}

void reset_tables() {
  set_default_options(engine_options);
  tb_tables_init();
  tb_init("<empty>");
}

std::vector<std::string> embedded_signatures() {
  std::vector<std::string> names;
  for (const EmbeddedTable& table : EMBEDDED_TABLES) {
    std::string name = table.name;
    if (name.ends_with(".rtbw")) names.push_back(name.substr(0, name.size() - 5));
  }
  return names;
}

void write_broken_table(const std::filesystem::path& folder, const std::string& file_name) {
  std::ofstream(folder / file_name) << "not a table";
}

std::string fen_of_men(const std::vector<Man>& men, bool black_to_move, int rule50) {
  char board[64] = {};
  for (const Man& m : men) board[m.square] = m.piece;
  return fen_of_board(board, black_to_move, rule50);
}

std::vector<Man> men_of_signature(const std::string& name) {
  std::vector<Man> men;
  bool black = false;
  for (char c : name) {
    if (c == 'v') {
      black = true;
      continue;
    }
    men.push_back({black ? char(c - 'A' + 'a') : c, -1});
  }
  return men;
}

namespace {

bool legal_placement(const std::vector<Man>& men, bool black_to_move) {
  Bitboard used = 0;
  for (const Man& m : men) {
    if (used & bit(m.square)) return false;
    used |= bit(m.square);
    if ((m.piece == 'P' || m.piece == 'p') && (rank_of(m.square) == 0 || rank_of(m.square) == 7)) return false;
  }
  Position pos;
  read_fen(pos, fen_of_men(men, black_to_move).c_str());
  flip_position(pos);  // the side that has just moved becomes "own"
  return !(checkers(pos) | (KING_ATTACKS[own_king_square(pos)] & pos.bb[KING] & enemy_pieces(pos)));
}

}  // namespace

void place_at_random(std::vector<Man>& men, bool black_to_move, std::mt19937_64& random) {
  do {
    for (Man& m : men) m.square = int(random() % 64);
  } while (!legal_placement(men, black_to_move));
}

namespace {
int sign(int x) { return (x > 0) - (x < 0); }

// Both probes of the position, or nothing where either failed.
std::optional<std::pair<int, int>> probes_of(ThreadData& thread, const std::vector<Man>& men, bool black_to_move) {
  set_position(thread, fen_of_men(men, black_to_move).c_str(), nullptr);
  int s1, s2;
  const int wdl = probe_wdl(thread, s1), dtz = probe_dtz(thread, s2);
  if (!s1 || !s2) return std::nullopt;
  return std::pair{wdl, dtz};
}

// What one move leads to: its value from the mover's view, the child's own DTZ, and
// whether the move zeroes the count or ends the game.
struct OnePlyChild {
  int wdl = 0;
  int dtz = 0;
  bool zeroing = false;
  bool terminal = false;
};

// The child on the thread's stack by its legal replies and the probes; false when a probe fails.
bool probe_child(ThreadData& thread, OnePlyChild& c) {
  ScoredMove replies[MAX_MOVES];
  if (generate_legal(*thread.current_position, replies) == replies) {
    c.terminal = true;
    c.wdl = in_check(*thread.current_position) ? 2 : 0;
    return true;
  }
  int s1, s2;
  c.wdl = -probe_wdl(thread, s1);
  c.dtz = probe_dtz(thread, s2);
  return s1 && s2;
}

// one_ply_fault given the position's own probes.
std::string one_ply_fault(ThreadData& thread, int wdl, int dtz) {
  const Position& pos = *thread.current_position;
  if (sign(dtz) != sign(wdl)) return "wdl " + std::to_string(wdl) + " but dtz " + std::to_string(dtz);

  ScoredMove list[MAX_MOVES];
  ScoredMove* const end = generate_legal(pos, list);
  if (end == list) {
    const int expected = in_check(pos) ? -2 : 0;
    if (sign(wdl) != sign(expected)) return "mate or stalemate read as wdl " + std::to_string(wdl);
    return "";
  }
  OnePlyChild children[MAX_MOVES];
  int count = 0;
  int best = -3;
  for (ScoredMove* p = list; p != end; ++p) {
    const Move m = p->move;
    make_move(thread, m, nullptr);
    OnePlyChild& c = children[count++];
    c = OnePlyChild{};
    c.zeroing = (m & MOVE_CAPTURE) || move_piece(m) == PAWN;
    const bool ok = probe_child(thread, c);
    undo_move(thread);
    if (!ok) return "a child probe failed";
    best = std::max(best, c.wdl);
  }
  if (sign(best) != sign(wdl))
    return "wdl " + std::to_string(wdl) + " but the best move gives " + std::to_string(best);
  if (wdl == 0) return "";

  // The distance: a zeroing move ends it at once (at the 101st ply into a result the rule
  // spoils); else the mover picks the quickest win, or the slowest loss. Wins of either
  // value count, and losses likewise: a win of 101 plies is spoilt although its best move
  // reaches a position lost within 100, as the count starts afresh there.
  const int magnitude = std::abs(dtz);
  int expected = wdl > 0 ? 1 << 30 : 0;
  bool zeroing_win = false;
  for (int i = 0; i < count; ++i) {
    const OnePlyChild& c = children[i];
    // A mate is no zeroing move: the tables may count it as a ply rounded up.
    zeroing_win |= wdl > 0 && c.wdl == wdl && c.zeroing && !c.terminal;
    if (sign(c.wdl) != sign(wdl)) continue;
    const int distance = c.zeroing || c.terminal ? std::abs(WDL_TO_DTZ[c.wdl + 2]) : 1 + std::abs(c.dtz);
    expected = wdl > 0 ? std::min(expected, distance) : std::max(expected, distance);
  }
  // A table that doesn't count exact plies may be one ply off, in this position and in the
  // child both: up to two between them.
  if (zeroing_win ? magnitude != expected : std::abs(magnitude - expected) > 2)
    return "dtz " + std::to_string(dtz) + " but the moves give " + std::to_string(wdl > 0 ? expected : -expected);
  if ((std::abs(wdl) == 2) != (magnitude <= 100))
    return "wdl " + std::to_string(wdl) + " with a distance of " + std::to_string(magnitude);
  return "";
}

}  // namespace

std::string one_ply_fault(ThreadData& thread) {
  int s1, s2;
  const int wdl = probe_wdl(thread, s1), dtz = probe_dtz(thread, s2);
  if (!s1 || !s2) return "a probe failed";
  return one_ply_fault(thread, wdl, dtz);
}

SweepResult sweep_signature(ThreadData& thread, const std::string& name, int sample, std::mt19937_64& random) {
  SweepResult result;
  std::vector<Man> men = men_of_signature(name);
  auto check = [&](bool black_to_move) {
    ++result.positions;
    const auto probes = probes_of(thread, men, black_to_move);
    std::string what = !probes ? "a probe failed" : one_ply_fault(thread, probes->first, probes->second);
    // The tables fold positions by colour and by file (pawnless ones by rank and diagonal
    // too), so every folding must read the same.
    std::vector<Man> exchanged = men, turned = men;
    for (Man& m : exchanged) m = {char(m.piece ^ 32), m.square ^ 56};
    for (Man& m : turned) m.square ^= 7;
    if (what.empty() && probes_of(thread, exchanged, !black_to_move) != probes) what = "the colours exchanged differ";
    if (what.empty() && probes_of(thread, turned, black_to_move) != probes) what = "turned left to right it differs";
    if (what.empty()) return;
    ++result.faults;
    if (result.first_faults.size() < 10) result.first_faults.push_back(fen_of_men(men, black_to_move) + ": " + what);
  };

  for (int side = 0; side < 2; ++side)
    for (int done = 0; done < sample; ++done) {
      place_at_random(men, side, random);
      check(side);
    }
  return result;
}

void expect_no_faults(const SweepResult& r, const std::string& name) {
  EXPECT_GT(r.positions, 0) << name;
  EXPECT_EQ(r.faults, 0) << name;
  for (const std::string& f : r.first_faults) ADD_FAILURE() << name << ": " << f;
}

void expect_embedded_signatures_agree(int sample, uint64_t seed) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(seed);
  for (const std::string& name : embedded_signatures())
    expect_no_faults(sweep_signature(*thread, name, sample, random), name);
}
