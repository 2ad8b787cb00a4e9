#include "datagen/bootstrap_game.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "board/make_move.h"
#include "board/movegen.h"
#include "datagen/game_records.h"
#include "datagen/teacher.h"
#include "games/start_positions.h"
#include "search/score.h"

namespace {

// The first plies from an opening repeat across games; the start position itself would
// be written once per game.
constexpr int FIRST_KEPT_PLY = 4;
constexpr double RANDOM_MOVE_SHARE = 0.15;
// Each game draws its temperature from this range: low plays close to the teacher's
// choice, high spreads the games over more kinds of positions.
constexpr double MIN_TEMPERATURE = 40.0;
constexpr double MAX_TEMPERATURE = 200.0;
constexpr int32_t DECISIVE_SCORE = 1001;  // beyond 1000
constexpr int DECISIVE_PLIES = 4;

// A uniformly random move now and then; otherwise a move drawn with a weight that falls
// off exponentially with its teacher score below the best one.
Move choose_move(GameBoard& game, double temperature, SplitMixRng& rng) {
  ThreadData& thread = *game.thread;
  ScoredMove list[MAX_MOVES];
  const int count = int(generate_legal(board_position(game), list) - list);
  if (rng.uniform() < RANDOM_MOVE_SHARE) return list[rng.below(count)].move;
  int32_t scores[MAX_MOVES];
  int32_t best = -SCORE_INFINITE;
  for (int i = 0; i < count; ++i) {
    make_move(thread, list[i].move, nullptr);
    scores[i] = -teacher_score(thread);
    undo_move(thread);
    if (scores[i] > best) best = scores[i];
  }
  double weights[MAX_MOVES], total = 0.0;
  for (int i = 0; i < count; ++i) total += weights[i] = std::exp(double(scores[i] - best) / temperature);
  double pick = rng.uniform() * total;
  for (int i = 0; i < count; ++i)
    if ((pick -= weights[i]) < 0.0) return list[i].move;
  return list[count - 1].move;
}

}  // namespace

int play_bootstrap_game(GameBoard& game, const std::vector<std::string>& openings, SplitMixRng& rng,
                        std::vector<TrainingRecord>& records) {
  records.clear();
  start_board(game, pick_opening(openings, rng));
  const int first_ply = game.ply;
  const double temperature = MIN_TEMPERATURE + (MAX_TEMPERATURE - MIN_TEMPERATURE) * rng.uniform();
  int decisive_run = 0;  // plies in a row decided for White (positive) or Black (negative)
  int result = 0;
  for (;;) {
    if (game_over(game, game.ply - first_ply, PLY_CAP, result)) break;
    const Position& pos = board_position(game);
    const int32_t label = teacher_score(*game.thread);
    if (!in_check(pos) && game.ply - first_ply >= FIRST_KEPT_PLY && std::abs(label) < SCORE_DECIDED)
      keep_position(records, pos, label, game.ply, false);
    decisive_run = decisive_run_after(decisive_run, label * white_sign(pos), DECISIVE_SCORE);
    if (std::abs(decisive_run) >= DECISIVE_PLIES) {
      result = decisive_run > 0 ? 1 : -1;
      break;
    }
    play_board_move(game, choose_move(game, temperature, rng));
  }
  settle_results(records, result);
  return result;
}
