#pragma once
// Runs of the datagen tool for the tests: a run's exit, messages and records, its games as the
// journal lists them, a run stopped by a signal, the checks every run's records pass, and the
// games and records of the files it writes as the trainer reads them.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_record.h"

// The tool's command, ready for its arguments.
inline const std::string DATAGEN = TESMAR_TOOLS_DIR "/datagen ";

// One run of the tool: its exit status, what it printed on stderr, the records of its file.
struct DatagenRun {
  int status = -1;
  std::string messages;
  std::vector<TrainingRecord> records;
  bool header_ok = false;
  size_t file_bytes = 0;
};

DatagenRun run_datagen(const std::string& arguments, const std::string& out);

// The games of a run as its journal lists them, each with its records from the file, keyed by
// stream and game number; `last` is the key of the journal's last game, the one a target cuts.
struct JournalGames {
  std::map<std::pair<int, int>, std::vector<TrainingRecord>> games;
  std::pair<int, int> last{-1, -1};
  size_t positions = 0;
  bool in_order = true;  // each stream's games numbered 0, 1, 2, ... with none twice
};

JournalGames journal_games(const DatagenRun& run, const std::string& out, uint64_t seed);

struct SignalledRun {
  int status = -1;  // wait status
  bool ended_by_itself = false;
  std::string messages;
};

// Starts datagen in a process group of its own and, once its journal lists `games` games
// more than it did, sends `signal` to the whole group (as Ctrl-C at a terminal does) or to
// datagen alone.
SignalledRun run_and_signal(const std::string& arguments, const std::string& out, int games, int signal,
                            bool whole_group);

void append_bytes(const std::string& path, const std::string& bytes);

// What every record of a run must satisfy; the results of one game alternate with the side.
void check_records(const DatagenRun& run, size_t expected, int first_ply);

// The games of a corpus file's bytes; info says how much of it was readable.
std::vector<CorpusGame> corpus_games(const std::string& bytes, CorpusFileInfo& info);

// The records of training files, corpus files and folders of them, as the trainer reads them.
std::vector<TrainingRecord> training_records_of(const std::string& path);
