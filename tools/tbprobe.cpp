// Endgame table answers for positions given as FEN:
//   tbprobe [--path DIRS] [--no-50-move-rule] FEN...
// For each position: its WDL and DTZ values with their success flags, and the root
// moves that the engine's root filter keeps, each with its distance value (plies to the
// zeroing move that keeps the result; positive wins, negative loses).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "board/board_tables.h"
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

int usage() {
  std::fprintf(stderr, "usage: tbprobe [--path DIRS] [--no-50-move-rule] FEN...\n");
  return 2;
}

void show(ThreadData& thread, const char* fen) {
  set_position(thread, fen, nullptr);
  const Position& pos = *thread.current_position;
  std::printf("%s\n", fen);
  if (pos.castling != NO_CASTLING) {
    std::printf("  not in the tables: castling rights remain\n");
    return;
  }
  if (popcount(pos.bb[OCCUPIED]) > 7) {
    std::printf("  not in the tables: more than seven men\n");
    return;
  }
  int wdl_success, dtz_success;
  const int wdl = probe_wdl(thread, wdl_success);
  const int dtz = probe_dtz(thread, dtz_success);
  if (!wdl_success) {
    std::printf("  not in the tables: a table it needs is missing\n");
    return;
  }
  std::printf("  wdl %d success %d\n", wdl, wdl_success);
  if (!dtz_success) {
    std::printf("  dtz unknown: a DTZ table it needs is missing\n");
    return;
  }
  std::printf("  dtz %d success %d\n", dtz, dtz_success);

  ScoredMove moves[MAX_MOVES];
  ScoredMove* end = generate_legal(pos, moves);
  int32_t v[MAX_MOVES];
  const int count = int(end - moves);
  if (!root_move_distances(thread, moves, count, dtz, v)) {
    std::printf("  root moves unknown: a table of a capture line is missing\n");
    return;
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
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  tb_tables_init();
  const char* path = "<empty>";
  int first = 1;
  for (; first < argc && std::strncmp(argv[first], "--", 2) == 0; ++first) {
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
  for (int i = first; i < argc; ++i) show(*thread, argv[i]);
  return 0;
}
