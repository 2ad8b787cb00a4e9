// The datagen program and its bootstrap teacher: the teacher's material and squares from the
// side to move and its quiescence search; whole runs (bootstrap labels, runs killed and run
// again, runs of other seeds added to a file, files merged); and one self-play run, killed and
// run again, with all it wrote: records whose signs follow the material, a game corpus that
// decodes to those very records and that the trainer reads, games that go out as PGN and come
// back the same, and games rebuilt from the records.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "common/game_corpus.h"
#include "common/training_file.h"
#include "common/training_record.h"
#include "datagen/teacher.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"
#include "helpers/training_fixtures.h"
#include "search/score.h"

namespace {

TEST(Teacher, GainfulCapturesChecksAndMateAreSearchedAndTheSignFollowsTheSideToMove) {
  // A hanging queen, and a check by an unguarded queen (no standing pat in check): the label is
  // the position after the capture.
  const char* hanging = "4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1";
  EXPECT_LT(teacher_eval(position_of(hanging)), -300);
  EXPECT_GT(teacher_score(*thread_at(hanging)), 300);
  for (const auto& [fen, capture] : {std::pair{hanging, "d2d5"}, {"4k3/8/8/8/8/8/4q3/4K3 w - - 0 1", "e1e2"}})
    EXPECT_EQ(teacher_score(*thread_at(fen)), -teacher_eval(*thread_at(fen, capture)->current_position)) << fen;
  // A knight that a pawn guards is left alone: the rook would be lost for it.
  const char* guarded = "4k3/8/4p3/3n4/8/8/3R4/4K3 w - - 0 1";
  EXPECT_EQ(teacher_score(*thread_at(guarded)), teacher_eval(position_of(guarded)));
  // Queen promotion counts as a gain; the thread is left at the labelled position.
  auto promotion = thread_at("7k/P7/8/8/8/8/8/K7 w - - 0 1");
  EXPECT_GT(teacher_score(*promotion), 800);
  EXPECT_EQ(promotion->current_position, promotion->position_stack);
  EXPECT_EQ(teacher_score(*thread_at("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1")), mated_score(0));

  EXPECT_EQ(teacher_eval(position_of(START_FEN)), 0);
  EXPECT_GT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 w - - 0 1")), 400);
  EXPECT_LT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 b - - 0 1")), -400);
  GameBoard game;
  start_board(game, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  SplitMixRng rng{5};
  for (int ply = 0; ply < 60; ++ply) {
    const Position pos = board_position(game);
    // The same board from the other side's chair: every term changes sign.
    Position turned = pos;
    flip_position(turned);
    EXPECT_EQ(teacher_eval(turned), -teacher_eval(pos)) << fen_of(pos);
    ScoredMove list[MAX_MOVES];
    const int count = int(generate_legal(pos, list) - list);
    if (count == 0) break;
    play_board_move(game, list[rng.next() % uint64_t(count)].move);
  }
}

// A run stopped at any moment goes on when the same command runs again: the file ends with
// exactly the asked positions, every stream's games follow each other with none twice and none
// left out, and each game is the very game that a run which never stopped plays under that
// number. Stopped by hand, with Ctrl-C (every process of the run gets the signal, the workers
// perhaps first) or with a kill of datagen alone, a run ends as a finished run does: whole games
// only, its speed on the screen and in the journal. Killed outright, it leaves a torn record
// behind its data and a torn line behind its journal.
TEST(DatagenTool, StoppedRunsGoOnWithTheGamesOfARunThatNeverStopped) {
  TempDir dir;
  const std::string command = "bootstrap --positions 6000 --threads 2 --seed 5";
  const std::string out = dir.file("stopped.bin");
  const DatagenRun reference = run_datagen(command, dir.file("straight.bin"));
  check_records(reference, 6000, 4);

  for (const auto& [signal, whole_group] : {std::pair{SIGINT, true}, std::pair{SIGTERM, false}}) {
    const SignalledRun stopped = run_and_signal(command, out, 20, signal, whole_group);
    ASSERT_FALSE(stopped.ended_by_itself);
    ASSERT_TRUE(WIFEXITED(stopped.status)) << "killed by signal " << WTERMSIG(stopped.status);
    EXPECT_EQ(WEXITSTATUS(stopped.status), 1);
    EXPECT_NE(stopped.messages.find("stopped with"), std::string::npos) << stopped.messages;
    EXPECT_NE(stopped.messages.find("per second of processor time"), std::string::npos) << stopped.messages;
    EXPECT_EQ(stopped.messages.find("datagen: worker"), std::string::npos) << stopped.messages;

    const std::string journal = file_text(out + ".journal");
    const size_t last_line = journal.rfind('\n', journal.size() - 2) + 1;
    unsigned long long seed = 0;
    int workers = 0;
    long long positions = 0;
    double seconds = 0, cpu_seconds = 0;
    ASSERT_EQ(std::sscanf(journal.c_str() + last_line, "speed %llu %d %lld %lf %lf", &seed, &workers, &positions,
                          &seconds, &cpu_seconds),
              5)
        << journal.substr(last_line);
    EXPECT_EQ(seed, 5u);
    EXPECT_EQ(workers, 2);
    EXPECT_GT(positions, 0);
    EXPECT_GT(cpu_seconds, 0.0);
  }
  ASSERT_FALSE(run_and_signal(command, out, 4, SIGKILL, true).ended_by_itself);
  append_bytes(out, std::string(45, '\x7f'));         // a record and a half of a game cut short
  append_bytes(out + ".journal", "game 5 0 99 3");  // a line cut short
  const DatagenRun resumed = run_datagen(command, out);
  check_records(resumed, 6000, 4);
  EXPECT_NE(resumed.messages.find("bytes after the last whole game"), std::string::npos) << resumed.messages;

  const JournalGames straight = journal_games(reference, dir.file("straight.bin"), 5);
  const JournalGames games = journal_games(resumed, out, 5);
  EXPECT_TRUE(straight.in_order);
  EXPECT_TRUE(games.in_order);
  EXPECT_EQ(games.positions, 6000u);
  int compared = 0;
  for (const auto& [key, records] : games.games) {
    const auto other = straight.games.find(key);
    if (other == straight.games.end()) continue;
    // The game that reached the target is cut: it is the first part of the whole game.
    const size_t n = std::min(records.size(), other->second.size());
    if (key != games.last && key != straight.last) {
      EXPECT_EQ(records.size(), other->second.size());
    }
    EXPECT_EQ(std::memcmp(records.data(), other->second.data(), n * sizeof(TrainingRecord)), 0)
        << "stream " << key.first << " game " << key.second;
    ++compared;
  }
  EXPECT_GE(compared, 40);

  // Run again when done, it adds nothing.
  const DatagenRun again = run_datagen(command, out);
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.records.size(), 6000u);
}

// Bootstrap labels quiet positions with the teacher. Another seed adds its games behind those
// already there; a seed played with other settings, a file whose records no journal lists, and
// a node count (which bootstrap has no use for) are refused and leave the file as it is.
TEST(DatagenTool, BootstrapLabelsOtherSeedsAddAndForeignFilesAreRefused) {
  TempDir dir;
  const std::string out = dir.file("data.bin");
  const DatagenRun first = run_datagen("bootstrap --positions 300 --threads 2 --seed 1", out);
  check_records(first, 300, 4);
  // The label is the teacher's score from the side to move (an en-passant chance, which the
  // record drops, may change a few).
  auto scratch = std::make_unique<ThreadData>();
  int same = 0;
  for (const TrainingRecord& r : first.records) {
    unpack_record(r, scratch->position_stack[0]);
    scratch->current_position = scratch->position_stack;
    same += teacher_score(*scratch) == r.score;
  }
  EXPECT_GE(same, 290);
  const DatagenRun more = run_datagen("bootstrap --positions 200 --threads 1 --seed 2", out);
  ASSERT_EQ(more.status, 0) << more.messages;
  ASSERT_EQ(more.records.size(), 500u);
  EXPECT_EQ(std::memcmp(more.records.data(), first.records.data(), 300 * sizeof(TrainingRecord)), 0);
  EXPECT_EQ(journal_games(more, out, 2).positions, 200u);
  EXPECT_EQ(run_datagen("bootstrap --positions 10 --nodes 5", dir.file("bad.bin")).status, 2);

  std::ofstream(dir.file("one.epd")) << "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq -\n";
  const DatagenRun other = run_datagen("bootstrap --positions 400 --seed 1 --openings " + dir.file("one.epd"), out);
  EXPECT_EQ(other.status, 1);
  EXPECT_NE(other.messages.find("other settings"), std::string::npos) << other.messages;
  EXPECT_EQ(other.records.size(), 500u);

  std::remove((out + ".journal").c_str());
  const DatagenRun foreign = run_datagen("bootstrap --positions 900 --seed 3", out);
  EXPECT_EQ(foreign.status, 1);
  EXPECT_EQ(foreign.records.size(), 500u);
}

// merge: the whole records of its inputs in order, a torn tail left out; never over a file.
TEST(DatagenTool, MergeJoinsWholeRecords) {
  TempDir dir;
  const DatagenRun a = run_datagen("bootstrap --positions 120 --threads 1 --seed 11", dir.file("a.bin"));
  const DatagenRun b = run_datagen("bootstrap --positions 80 --threads 1 --seed 12", dir.file("b.bin"));
  ASSERT_EQ(a.status + b.status, 0);
  append_bytes(dir.file("b.bin"), std::string(31, '\x01'));
  const std::string merged = dir.file("m.bin");
  ASSERT_EQ(std::system((DATAGEN + "merge " + merged + " " + dir.file("a.bin") + " " + dir.file("b.bin") + " >/dev/null").c_str()), 0);
  const std::string text = file_text(merged);
  ASSERT_EQ(text.size(), TRAINING_HEADER_BYTES + 200 * sizeof(TrainingRecord));
  EXPECT_EQ(text.substr(0, TRAINING_HEADER_BYTES + 120 * 32), file_text(dir.file("a.bin")));
  EXPECT_EQ(text.substr(TRAINING_HEADER_BYTES + 120 * 32), file_text(dir.file("b.bin")).substr(TRAINING_HEADER_BYTES, 80 * 32));
  EXPECT_NE(std::system((DATAGEN + "merge " + merged + " " + dir.file("a.bin") + " 2>/dev/null").c_str()), 0);
  EXPECT_EQ(file_text(merged).size(), text.size());
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
