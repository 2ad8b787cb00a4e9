#pragma once
// Worker processes: the search keeps its state in process-wide globals, so parallel games
// need separate processes. Worker i plays the games of stream i, one after the other, and
// sends each finished game down a pipe. The parent alone writes: it appends each game to the
// training file, then a line to its journal (see run_journal.h), so that a run killed at any
// moment leaves a file that a rerun of the same command continues.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_record.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"

struct RunPlan {
  std::string out;
  uint64_t seed;
  int64_t positions;     // records of this seed that the file holds when the run is done
  int workers;
  std::string settings;  // what the games of the seed are played with, one line of text
  std::string corpus;    // game corpus file that every game also goes to; empty: none
};

// Plays one game; records becomes the positions it keeps, results settled, and played the game
// for the corpus (no moves: nothing for the corpus). Returns the result from White's view (1, 0, -1).
using PlayGame = std::function<int(GameBoard&, SplitMixRng&, std::vector<TrainingRecord>&, CorpusGame&)>;

// Runs the plan: each worker first calls prepare, then plays games of its stream with the
// generator of game_rng. Returns the exit status for main.
int run_workers(const RunPlan& plan, const std::function<void()>& prepare, const PlayGame& play);

// The processor cores this process may run on.
int available_cores();
