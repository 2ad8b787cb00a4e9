// Endgame table answers for positions given as FEN:
//   tbprobe [--path DIRS] [--no-50-move-rule] FEN...
// For each position: its WDL and DTZ values with their success flags, and the root
// moves that the engine's root filter keeps, each with its distance value (plies to the
// zeroing move that keeps the result; positive wins, negative loses). Exit status: 0 when
// the tables answered every position, 1 when a table was missing or unusable, 2 for a
// FEN the engine refuses or a wrong command line.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "board/board_tables.h"
#include "board/fen_check.h"
#include "board/move_text.h"
#include "board/movegen.h"
#include "protocol/engine_options.h"
#include "search/score.h"
#include "search/thread_data.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tablebase/root_filter.h"

namespace {

constexpr const char* USAGE =
    "usage: tbprobe [--path DIRS] [--no-50-move-rule] FEN...\n"
    "  --path DIRS          folders of 5- to 7-man tables, separated by ';'\n"
    "  --no-50-move-rule    wins and losses the fifty-move rule spoils count in full\n"
    "Exit status: 0 all answered, 1 a table missing or unusable, 2 a bad FEN or command line.\n";

int usage() {
  std::fputs(USAGE, stderr);
  return 2;
}

enum Answer { ANSWERED = 0, NO_TABLE = 1, BAD_FEN = 2 };

// Why the tables gave no answer for the position's own material, or for the material a
// capture leads to: the reason the registry printed (an info string line) is not repeated.
const char* missing_table(const Position& pos, int kind) {
  const TableEntry* entry = find_table_slot(material_key(pos)).entry.load();
  if (!entry) return "no table of this material in the folders";
  if (kind == DTZ && !entry->has_dtz) return "no DTZ table of this material in the folders";
  if (entry->ready[kind].load() == FILE_FAILED) return "its table file is unusable (see the info string line)";
  return "a table that a capture leads to is missing or unusable";
}

// Every root move with its distance, and those the root filter keeps; false when a table of
// a capture line can't answer.
bool print_root_moves(ThreadData& thread, const Position& pos, int dtz) {
  ScoredMove moves[MAX_MOVES];
  ScoredMove* end = generate_legal(pos, moves);
  int32_t v[MAX_MOVES];
  const int count = int(end - moves);
  if (!root_move_distances(thread, moves, count, dtz, v)) {
    std::printf("  root moves unknown: a table of a capture line is missing or unusable\n");
    return false;
  }
  ScoredMove kept[MAX_MOVES];
  std::copy(moves, end, kept);
  ScoredMove* kept_end = kept + count;
  const int32_t score = tb_root_filter(thread, kept, &kept_end);
  std::printf("  score %d\n  all", score);
  char text[8];
  for (int i = 0; i < count; ++i) {
    move_text(pos, moves[i].move, text);
    std::printf(" %s:%d", text, v[i]);
  }
  std::printf("\n  kept");
  for (ScoredMove* k = kept; k != kept_end; ++k)
    for (int i = 0; i < count; ++i)
      if (moves[i].move == k->move) {
        move_text(pos, k->move, text);
        std::printf(" %s:%d", text, v[i]);
      }
  std::printf("\n");
  return true;
}

Answer show(ThreadData& thread, const char* fen) {
  std::printf("%s\n", fen);
  if (const char* reason = fen_check(fen)) {
    std::printf("  illegal position: %s\n", reason);
    return BAD_FEN;
  }
  std::string usable = fen;
  drop_unusable_rights(usable.data(), false);
  set_position(thread, usable.c_str(), nullptr);
  const Position& pos = *thread.current_position;
  if (pos.castling != NO_CASTLING) {
    std::printf("  not in the tables: castling rights remain\n");
    return NO_TABLE;
  }
  if (popcount(pos.bb[OCCUPIED]) > 7) {
    std::printf("  not in the tables: more than seven men\n");
    return NO_TABLE;
  }
  int wdl_success, dtz_success;
  const int wdl = probe_wdl(thread, wdl_success);
  if (!wdl_success) {
    std::printf("  not in the tables: %s\n", missing_table(pos, WDL));
    return NO_TABLE;
  }
  const int dtz = probe_dtz(thread, dtz_success);
  std::printf("  wdl %d success %d\n", wdl, wdl_success);
  if (!dtz_success) {
    std::printf("  dtz unknown: %s\n", missing_table(pos, DTZ));
    return NO_TABLE;
  }
  std::printf("  dtz %d success %d\n", dtz, dtz_success);
  return print_root_moves(thread, pos, dtz) ? ANSWERED : NO_TABLE;
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  tb_tables_init();
  const char* path = "<empty>";
  int first = 1;
  for (; first < argc && argv[first][0] == '-'; ++first) {
    if (std::strcmp(argv[first], "-h") == 0 || std::strcmp(argv[first], "--help") == 0) {
      std::fputs(USAGE, stdout);
      return 0;
    }
    if (std::strcmp(argv[first], "--path") == 0 && first + 1 < argc)
      path = argv[++first];
    else if (std::strcmp(argv[first], "--no-50-move-rule") == 0)
      engine_options.Syzygy50MoveRule = false;
    else
      return usage();
  }
  if (first == argc) return usage();
  tb_init(path);
  auto thread = std::make_unique<ThreadData>();
  int status = ANSWERED;
  for (int i = first; i < argc; ++i) status = std::max(status, int(show(*thread, argv[i])));
  return status;
}
