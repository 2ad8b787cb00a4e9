#pragma once
// The journal that datagen keeps beside each training file OUT, in OUT.journal: text lines,
// appended as the run goes.
//   run SEED SETTINGS          the settings that games of SEED are played with
//   game SEED STREAM GAME POSITIONS RESULT END
//                              game GAME of a worker's STREAM is in OUT: POSITIONS records, the
//                              result from White's view, and END, the records in OUT after it
//   speed SEED WORKERS POSITIONS SECONDS CPU_SECONDS
//                              what one run added, in what time and what processor time of
//                              its workers
// A game's records go to OUT before its line goes to the journal, so the lines that agree with
// each other and with OUT's length tell what OUT holds for certain: the rest (a game cut short
// by a killed run, a torn record) is cut off, and the streams go on after their last game.
#include <cstdint>
#include <map>
#include <string>

struct SeedProgress {
  std::string settings;
  int64_t positions = 0;
  int64_t games = 0;
  int64_t white_wins = 0, draws = 0, black_wins = 0;
  std::map<int, int64_t> next_game;  // per stream: games played
  int64_t runs = 0;                  // speed lines: runs that ended
  double run_positions = 0, worker_seconds = 0, cpu_seconds = 0;
};

struct JournalState {
  std::map<uint64_t, SeedProgress> seeds;
  int64_t records = 0;  // records that the journal accounts for
  int64_t bytes = 0;    // length of the journal's sound part
};

// Reads the journal text against the `data_records` whole records of OUT. Lines after the first
// torn or inconsistent one, or after the first game that OUT doesn't hold in full, are not part
// of the state; state.bytes says where the sound part ends. False, with a reason, when the
// journal is not one (a game out of its stream's order).
bool read_journal(const std::string& text, int64_t data_records, JournalState& state, std::string& error);

std::string run_line(uint64_t seed, const std::string& settings);
std::string game_line(uint64_t seed, int stream, int64_t game, int64_t positions, int result, int64_t end);
std::string speed_line(uint64_t seed, int workers, int64_t positions, double seconds, double cpu_seconds);
