#pragma once
// Games rebuilt from self-play training records, for data made before the game corpus existed.
// Records keep only the positions self-play learnt from; between two of them lie plies whose move
// was a capture or promotion, or that answered a check. The moves that join two records are found
// by a short search over exactly such plies, so a game comes back whole between its first and its
// last record. The last record of each game has no move after it and is not kept; records that
// nothing joins start a game of their own.
#include <cstdint>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_record.h"

struct RebuildCounts {
  int64_t records = 0;  // read
  int64_t kept = 0;     // that the rebuilt games give back as training positions
  int64_t games = 0;
};

// Appends the games that the records, in file order, come from.
void games_of_records(const std::vector<TrainingRecord>& records, std::vector<CorpusGame>& games,
                      RebuildCounts& counts);
