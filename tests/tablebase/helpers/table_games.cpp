#include "tablebase/helpers/table_games.h"

#include <algorithm>

#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "helpers/engine_process.h"
#include "tablebase/probe.h"

TableGame play_table_game(const char* binary, const std::string& setup, const std::string& fen, int max_plies,
                          int nodes) {
  EngineProcess engines[2] = {EngineProcess({}, 0, binary), EngineProcess({}, 0, binary)};
  for (EngineProcess& engine : engines) engine.send(setup);
  TableGame game;
  int before = 0, before_success = 0;  // the mover's value before its move
  for (int ply = 0; ply <= max_plies; ++ply) {
    auto thread = thread_at(fen.c_str(), game.moves.empty() ? nullptr : game.moves.c_str());
    const Position& pos = *thread->current_position;
    game.max_rule50 = std::max(game.max_rule50, int(pos.rule50));
    int success;
    const int value = probe_wdl(*thread, success);
    if (ply > 0 && success && before_success) {
      // The value after a move is the opponent's: the mover's is its negative.
      game.value_fell |= -value < before;
    }
    if (ply > 0 && pos.rule50 == 0 && !game.first_zeroing_ply) {
      game.first_zeroing_ply = ply;
      game.wdl_after_zeroing = success ? value : 0;
    }
    ScoredMove list[MAX_MOVES];
    if (generate_legal(pos, list) == list) {
      game.result = in_check(pos) ? (ply % 2 ? 1 : -1) : 0;
      game.finished = true;
      return game;
    }
    if (pos.rule50 >= 100 || (pos.flags & FLAG_REPETITION)) {
      game.finished = true;
      return game;
    }
    if (ply == max_plies) break;
    before = value;
    before_success = success;
    const SearchOutput out = engines[ply % 2].go("position fen " + fen +
                                                 (game.moves.empty() ? "" : " moves " + game.moves) + "\ngo nodes " +
                                                 std::to_string(nodes) + "\n");
    if (out.bestmove.empty() || out.bestmove == "0000") break;
    game.moves += (game.moves.empty() ? "" : " ") + out.bestmove;
    game.plies = ply + 1;
  }
  return game;
}
