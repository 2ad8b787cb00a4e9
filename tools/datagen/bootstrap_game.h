#pragma once
// Bootstrap games: weighted-random moves judged by the teacher, labelled by the teacher.
#include <string>
#include <vector>

#include "common/training_record.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"

// Plays one game from a random line of openings (or the start position); records becomes
// the positions it keeps, results settled. Returns the result from White's view.
int play_bootstrap_game(GameBoard& game, const std::vector<std::string>& openings, SplitMixRng& rng,
                        std::vector<TrainingRecord>& records);
