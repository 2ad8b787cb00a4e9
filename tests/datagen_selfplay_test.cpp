// One self-play run of datagen, killed and run again, and all it wrote: records whose signs
// follow the material, a game corpus that decodes to those very records and that the trainer
// reads, games that go out as PGN and come back the same, and games rebuilt from the records.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_file.h"
#include "datagen/teacher.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"

namespace {

const std::string DATAGEN = TESMAR_TOOLS_DIR "/datagen ";

bool same_records(const std::vector<TrainingRecord>& a, const std::vector<TrainingRecord>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(TrainingRecord)) == 0;
}

// Random plies leave material behind: the search's sign should follow it, and Chess960 starts
// come at about their share.
void expect_searched_records(const DatagenRun& run) {
  int chess960 = 0, agree = 0, clear = 0;
  for (const TrainingRecord& r : run.records) {
    chess960 += r.flags == RECORD_CHESS960;
    Position pos;
    unpack_record(r, pos);
    const int32_t material = teacher_eval(pos);
    if (std::abs(material) < 300) continue;
    ++clear;
    agree += (material > 0) == (r.score > 0);
  }
  EXPECT_GT(chess960, 0);
  EXPECT_LT(size_t(chess960), run.records.size());
  if (clear >= 20) {
    EXPECT_GE(agree * 10, clear * 8) << agree << " of " << clear;
  }
}

// The corpus holds each game of the journal once, in the order the journal has them, and its
// training positions are the records the run wrote for it (the game cut at the target aside);
// the trainer reads them from the folder, and a filter that skips the opening keeps fewer.
void expect_corpus_of_the_journal(const std::vector<CorpusGame>& games, const JournalGames& journal,
                                  const TempDir& dir) {
  ASSERT_EQ(games.size(), journal.games.size());
  GameBoard board;
  int chess960 = 0;
  std::vector<TrainingRecord> in_order;
  for (const CorpusGame& game : games) {
    const auto listed = journal.games.find({int(game.stream), int(game.number)});
    ASSERT_NE(listed, journal.games.end()) << "stream " << game.stream << " game " << game.number;
    std::vector<TrainingRecord> records;
    game_records(game, board, CorpusFilter{}, records);
    const size_t n = listed->second.size();
    if (listed->first == journal.last)
      ASSERT_GE(records.size(), n);
    else
      ASSERT_EQ(records.size(), n);
    EXPECT_EQ(std::memcmp(records.data(), listed->second.data(), n * sizeof(TrainingRecord)), 0)
        << "stream " << game.stream << " game " << game.number;
    chess960 += game.chess960;
    in_order.insert(in_order.end(), records.begin(), records.end());
  }
  EXPECT_GT(chess960, 0);

  TrainingFiles all, later;
  ASSERT_TRUE(open_training_files({dir.path.string()}, all));
  ASSERT_EQ(all.files.size(), 1u);
  ASSERT_TRUE(open_training_files({dir.path.string()}, later, CorpusFilter{40}));
  EXPECT_LT(later.total, all.total);
  EXPECT_TRUE(same_records(training_records_of(dir.path.string()), in_order));
}

// The games go out as PGN and come back as the same training records and the same games,
// Chess960 castling and all.
void expect_pgn_round_trip(const std::vector<CorpusGame>& games, const TempDir& dir) {
  ASSERT_EQ(run_command(DATAGEN + "pgn " + dir.file("g.tgc") + " > " + dir.file("g.pgn")).status, 0);
  const CommandRun back = run_command(DATAGEN + "import-pgn --out " + dir.file("back.bin") + " " + dir.file("g.pgn") + " 2>&1");
  ASSERT_EQ(back.status, 0) << back.output;
  EXPECT_TRUE(same_records(training_records_of(dir.file("back.bin")), training_records_of(dir.file("g.tgc"))));
  ASSERT_EQ(run_command(DATAGEN + "import-pgn --out " + dir.file("back.tgc") + " " + dir.file("g.pgn")).status, 0);
  CorpusFileInfo info;
  const std::vector<CorpusGame> imported = corpus_games(file_text(dir.file("back.tgc")), info);
  ASSERT_EQ(imported.size(), games.size());
  for (size_t i = 0; i < games.size(); ++i) {
    EXPECT_EQ(games[i].start_fen, imported[i].start_fen) << i;
    EXPECT_EQ(games[i].start_ply, imported[i].start_ply) << i;
    EXPECT_EQ(games[i].chess960, imported[i].chess960) << i;
    EXPECT_EQ(games[i].moves, imported[i].moves) << i;
    EXPECT_EQ(games[i].scores, imported[i].scores) << i;
  }
}

// Records without their games, as training files from before the corpus hold them: the games
// rebuilt from them give back every record but the last of each game, unchanged and in order.
void expect_games_rebuilt_from_records(const DatagenRun& run, const JournalGames& journal, const TempDir& dir) {
  const CommandRun rebuilt = run_command(DATAGEN + "import-records --out " + dir.file("old.tgc") + " " + dir.file("g.bin"));
  ASSERT_EQ(rebuilt.status, 0) << rebuilt.output;
  const std::vector<TrainingRecord> back = training_records_of(dir.file("old.tgc"));
  // A game breaks where a quiet move with a decided score was skipped: that happens, but seldom.
  EXPECT_GE(double(back.size() + journal.games.size()), 0.98 * double(run.records.size()));
  EXPECT_LT(back.size(), run.records.size());
  size_t at = 0;
  for (const TrainingRecord& r : back) {
    while (at < run.records.size() && std::memcmp(&run.records[at], &r, sizeof r) != 0) ++at;
    ASSERT_LT(at, run.records.size()) << "a rebuilt record that self-play never wrote";
    ++at;
  }
}

TEST(DatagenTool, SelfplayRecordsCorpusPgnAndRebuiltGamesAgreeAfterAKill) {
  TempDir dir;
  const std::string command =
      "selfplay --positions 1500 --threads 2 --nodes 150 --seed 4 --chess960-share 0.4 --corpus " + dir.file("g.tgc");
  const std::string out = dir.file("g.bin");
  ASSERT_FALSE(run_and_signal(command, out, 6, SIGKILL, true).ended_by_itself);
  const DatagenRun run = run_datagen(command, out);
  check_records(run, 1500, 8);
  const JournalGames journal = journal_games(run, out, 4);
  ASSERT_TRUE(journal.in_order);
  CorpusFileInfo info;
  const std::vector<CorpusGame> games = corpus_games(file_text(dir.file("g.tgc")), info);
  EXPECT_EQ(info.readable_bytes, info.file_bytes);

  expect_searched_records(run);
  // The folder is read before the checks below write more corpus files into it.
  expect_corpus_of_the_journal(games, journal, dir);
  expect_pgn_round_trip(games, dir);
  expect_games_rebuilt_from_records(run, journal, dir);
}

}  // namespace
