#include "datagen/selfplay_game.h"

#include <algorithm>
#include <cstdlib>

#include "board/fen_write.h"
#include "datagen/game_records.h"
#include "games/engine_search.h"
#include "games/start_positions.h"
#include "search/score.h"

namespace {

constexpr int32_t RESIGN_SCORE = 1000;
constexpr int RESIGN_PLIES = 4;
constexpr int32_t DRAW_SCORE_LIMIT = 10;
constexpr int DRAW_PLIES = 10;
constexpr int DRAW_FIRST_PLY = 80;

}  // namespace

int play_selfplay_game(GameBoard& game, const std::vector<std::string>& openings, const SelfplaySettings& settings,
                       SplitMixRng& rng, std::vector<TrainingRecord>& records, CorpusGame& played) {
  records.clear();
  // The start also sets UCI_Chess960, by which the evaluation adds its corner-bishop terms.
  const GameStart start = start_random_game(game, openings, settings.random_plies, settings.chess960_share, rng);
  const bool chess960 = start.chess960;
  clear_engine();
  char start_fen[FEN_BUFFER_SIZE];
  position_to_fen(board_position(game), start_fen, chess960);
  played.chess960 = chess960;
  played.start_fen = start_fen;
  played.start_ply = game.ply;
  played.moves.clear();
  played.scores.clear();
  // The game's plies count from the opening line, the random ones included.
  const int first_ply = game.ply - start.random_plies;
  int resign_run = 0;  // plies in a row that both searches gave to White (positive) or Black (negative)
  int quiet_run = 0;   // plies in a row with a score near zero
  int result = 0;
  for (;;) {
    if (game_over(game, game.ply - first_ply, PLY_CAP, result)) break;
    const Position& pos = board_position(game);
    const EngineAnswer answer = engine_search(game, settings.nodes);
    // The corpus keeps the move of a game ended by adjudication too: its position's score is a label.
    played.moves.push_back(answer.move);
    played.scores.push_back(int16_t(std::clamp(answer.score, int32_t(INT16_MIN), int32_t(INT16_MAX))));
    if (is_training_position(pos, answer.move, answer.score))
      keep_position(records, pos, answer.score, game.ply, chess960);
    resign_run = decisive_run_after(resign_run, answer.score * white_sign(pos), RESIGN_SCORE);
    if (std::abs(resign_run) >= RESIGN_PLIES) {
      result = resign_run > 0 ? 1 : -1;
      break;
    }
    quiet_run = std::abs(answer.score) <= DRAW_SCORE_LIMIT ? quiet_run + 1 : 0;
    if (game.ply - first_ply >= DRAW_FIRST_PLY && quiet_run >= DRAW_PLIES) break;
    play_board_move(game, answer.move);
  }
  played.result = result;
  settle_results(records, result);
  return result;
}
