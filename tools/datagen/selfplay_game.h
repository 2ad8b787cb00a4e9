#pragma once
// Self-play games: the engine's own search at a fixed node count plays both sides.
#include <cstdint>
#include <string>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_record.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"

struct SelfplaySettings {
  int64_t nodes;
  int random_plies;
  double chess960_share;
};

// Plays one game from a randomised opening; records becomes the positions it keeps,
// labelled by the search's scores, results settled, and played the whole game from the end of
// its random plies, every move with its score, for the corpus. Returns the result from White's view.
int play_selfplay_game(GameBoard& game, const std::vector<std::string>& openings, const SelfplaySettings& settings,
                       SplitMixRng& rng, std::vector<TrainingRecord>& records, CorpusGame& played);
