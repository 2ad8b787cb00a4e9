// Training data: the 32-byte record against the board and the network, the bootstrap
// teacher, Chess960 starts, the game rules of the generator, and whole runs of datagen:
// runs killed and run again, runs of other seeds added, files merged.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen_check.h"
#include "board/movegen.h"
#include "common/training_record.h"
#include "datagen/teacher.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "helpers/board_fixtures.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"
#include "search/score.h"

namespace {

uint64_t next_random(uint64_t& state) {
  state += 0x9E3779B97F4A7C15ull;
  uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

int32_t evaluate_at(ThreadData& scratch, const Position& pos) {
  scratch.position_stack[0] = pos;
  scratch.current_position = scratch.position_stack;
  scratch.ply_records[0].acc_valid = 0;
  return evaluate(scratch, 0);
}

int32_t teacher_at(ThreadData& scratch, const Position& pos) {
  scratch.position_stack[0] = pos;
  scratch.current_position = scratch.position_stack;
  return teacher_score(scratch);
}

void play_tokens(GameBoard& game, const char* tokens) {
  std::istringstream in(tokens);
  for (std::string t; in >> t;) play_board_move(game, move_named(board_position(game), t.c_str()));
}

TEST(TrainingRecord, RandomGamesRoundTripBoardRightsAndEvaluation) {
  load_network(tesmar_embedded_network);
  // The start (32 pieces), pawns about to promote, rights on one side only, Chess960 starts
  // with rooks off the a- and h-files.
  const struct {
    std::string fen;
    bool chess960;
  } starts[] = {{START_FEN, false},
                {"r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBP1P/R3K2R w KQkq - 0 1", false},
                {"k7/3PPP2/8/8/8/8/2ppp3/7K w - - 0 1", false},
                {"r3k2r/8/8/8/8/8/8/R3K2R b Kq - 0 1", false},
                {chess960_start_fen(0), true},
                {chess960_start_fen(959), true}};
  auto scratch = std::make_unique<ThreadData>();
  uint64_t state = 11;
  std::set<int32_t> evaluations;
  for (const auto& [fen, chess960] : starts) {
    const Chess960Option option(chess960);
    for (int game_index = 0; game_index < 6; ++game_index) {
      GameBoard game;
      start_board(game, fen.c_str());
      for (int ply = 0; ply < 150; ++ply) {
        const Position pos = board_position(game);
        const int score = int(next_random(state) % 6001) - 3000, result = int(next_random(state) % 3) - 1;
        const TrainingRecord record = pack_record(pos, score, result, game.ply, chess960);
        Position back;
        unpack_record(record, back);
        for (int i = 0; i < 8; ++i) ASSERT_EQ(back.bb[i], pos.bb[i]) << fen_of(pos) << " slot " << i;
        for (int shift = 0; shift < 16; shift += 4)
          ASSERT_EQ((back.castling >> shift & 15) != NO_RIGHT, (pos.castling >> shift & 15) != NO_RIGHT)
              << fen_of(pos);
        ASSERT_EQ(in_check(back), in_check(pos)) << fen_of(pos);
        EXPECT_EQ(record.score, score);
        EXPECT_EQ(record.result, result);
        EXPECT_EQ(record.ply, game.ply);
        EXPECT_EQ(record.flags, chess960 ? RECORD_CHESS960 : 0);
        const int32_t e = evaluate_at(*scratch, pos);
        ASSERT_EQ(evaluate_at(*scratch, back), e) << fen_of(pos);
        evaluations.insert(e);

        ScoredMove list[MAX_MOVES];
        const int count = int(generate_legal(pos, list) - list);
        if (count == 0) break;
        play_board_move(game, list[next_random(state) % uint64_t(count)].move);
      }
    }
  }
  EXPECT_GT(evaluations.size(), 100u);  // the network told the positions apart
  EXPECT_EQ(pack_record(position_of(START_FEN), 40000, 0, 0, false).score, 32767);
  EXPECT_EQ(pack_record(position_of(START_FEN), -40000, 0, 0, false).score, -32767);
}

TEST(Teacher, CapturesThatPayAreCountedAndOthersStandPat) {
  // A hanging queen: the label is the position after the rook takes it.
  auto hanging = thread_at("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");
  auto taken = thread_at("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1", "d2d5");
  EXPECT_LT(teacher_eval(*hanging->current_position), -300);
  EXPECT_EQ(teacher_score(*hanging), -teacher_eval(*taken->current_position));
  EXPECT_GT(teacher_score(*hanging), 300);
  // A knight that a pawn guards is left alone: the rook would be lost for it.
  auto guarded = thread_at("4k3/8/4p3/3n4/8/8/3R4/4K3 w - - 0 1");
  EXPECT_EQ(teacher_score(*guarded), teacher_eval(*guarded->current_position));
  // Queen promotion counts as a gain; the thread is left at the labelled position.
  auto promotion = thread_at("7k/P7/8/8/8/8/8/K7 w - - 0 1");
  EXPECT_GT(teacher_score(*promotion), 800);
  EXPECT_EQ(promotion->current_position, promotion->position_stack);
}

TEST(Teacher, ChecksAreAnsweredAndMateIsScored) {
  auto mated = thread_at("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
  EXPECT_EQ(teacher_score(*mated), mated_score(0));
  // In check by an unguarded queen: the king takes it (no standing pat in check).
  auto check = thread_at("4k3/8/8/8/8/8/4q3/4K3 w - - 0 1");
  auto after = thread_at("4k3/8/8/8/8/8/4q3/4K3 w - - 0 1", "e1e2");
  EXPECT_EQ(teacher_score(*check), -teacher_eval(*after->current_position));
}

TEST(Teacher, SymmetricStartIsZeroAndTheSideToMoveSetsTheSign) {
  EXPECT_EQ(teacher_eval(position_of(START_FEN)), 0);
  EXPECT_GT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 w - - 0 1")), 400);
  EXPECT_LT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 b - - 0 1")), -400);
  GameBoard game;
  start_board(game, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  uint64_t state = 5;
  for (int ply = 0; ply < 60; ++ply) {
    const Position pos = board_position(game);
    const std::string fen = fen_of(pos);
    // The same board from the other side's chair: every term changes sign.
    Position turned = pos;
    flip_position(turned);
    EXPECT_EQ(teacher_eval(turned), -teacher_eval(pos)) << fen;
    ScoredMove list[MAX_MOVES];
    const int count = int(generate_legal(pos, list) - list);
    if (count == 0) break;
    play_board_move(game, list[next_random(state) % uint64_t(count)].move);
  }
}

TEST(Chess960Start, NumbersGiveTheStandardTable) {
  EXPECT_EQ(chess960_start_fen(518), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1");
  std::set<std::string> seen;
  for (int n = 0; n < 960; ++n) {
    const std::string fen = chess960_start_fen(n);
    ASSERT_EQ(fen_check(fen.c_str()), nullptr) << fen;
    const std::string back = fen.substr(fen.find_last_of('/') + 1, 8);
    const size_t b1 = back.find('B'), b2 = back.rfind('B'), r1 = back.find('R'), r2 = back.rfind('R');
    const size_t k = back.find('K');
    EXPECT_EQ((b1 + b2) % 2, 1u) << fen;  // bishops on squares of both colours
    EXPECT_TRUE(r1 < k && k < r2) << fen;
    EXPECT_EQ(seen.count(back), 0u) << fen;
    seen.insert(back);
  }
  std::ifstream table(TESMAR_SHARED_DIR "/openings/chess960_starts.epd");
  if (!table) GTEST_SKIP() << "no Chess960 start table in the shared data";
  std::string line;
  for (int n = 0; n < 960 && std::getline(table, line); ++n)
    EXPECT_EQ(chess960_start_fen(n).substr(0, 56), line.substr(0, 56)) << "number " << n;
}

TEST(GameBoard, RulesEndGames) {
  GameBoard game;
  start_board(game, START_FEN);
  play_tokens(game, "g1f3 g8f6 f3g1 f6g8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::NONE);  // the start position twice
  play_tokens(game, "g1f3 g8f6 f3g1 f6g8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::REPETITION);
  EXPECT_EQ(game.ply, 8);

  start_board(game, "4k3/8/8/8/8/8/8/R3K3 w - - 99 80");
  EXPECT_EQ(game.ply, 158);
  EXPECT_EQ(game_end_by_rule(game), GameEnd::NONE);
  play_tokens(game, "a1a2");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::FIFTY_MOVES);
  // Mate on the hundredth half-move stands.
  start_board(game, "6k1/5ppp/8/8/8/8/8/R5K1 w - - 99 80");
  play_tokens(game, "a1a8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::CHECKMATE);
  start_board(game, "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::STALEMATE);

  // A capture empties the history: the stack holds one position again.
  start_board(game, "4k3/8/8/3p4/8/8/3R4/4K3 w - - 5 40");
  play_tokens(game, "d2d3 e8e7 d3d5");
  EXPECT_EQ(game.keys.size(), 1u);
  EXPECT_EQ(game.thread->current_position, game.thread->position_stack);
  EXPECT_EQ(game.ply, 81);

  const struct {
    const char* fen;
    bool dead;
  } material[] = {{"8/8/8/4k3/8/8/8/4K3 w - - 0 1", true},      {"8/8/8/4k3/8/8/8/1N2K3 b - - 0 1", true},
                  {"5b2/8/8/4k3/8/8/8/2B1K3 w - - 0 1", true},  {"5b2/8/8/4k3/8/8/8/3BK3 b - - 0 1", false},
                  {"8/8/8/4k3/8/8/8/1NN1K3 w - - 0 1", false},  {"8/8/8/4k3/8/8/4P3/4K3 w - - 0 1", false},
                  {"8/8/8/4k3/8/8/1B6/2B1K3 b - - 0 1", true},   {"8/8/8/4k3/8/8/8/1N1BK3 w - - 0 1", false}};
  for (const auto& m : material) {
    start_board(game, m.fen);
    EXPECT_EQ(insufficient_material(board_position(game)), m.dead) << m.fen;
    EXPECT_EQ(game_end_by_rule(game) == GameEnd::MATERIAL, m.dead) << m.fen;
  }
}

TEST(DatagenTool, BootstrapLabelsQuietPositionsWithTheTeacher) {
  TempDir dir;
  const DatagenRun run = run_datagen("bootstrap --positions 400 --threads 2 --seed 7", dir.file("boot.bin"));
  check_records(run, 400, 4);
  // The label is the teacher's score from the side to move (an en-passant chance, which the
  // record drops, may change a few).
  auto scratch = std::make_unique<ThreadData>();
  int same = 0;
  for (const TrainingRecord& r : run.records) {
    Position pos;
    unpack_record(r, pos);
    same += teacher_at(*scratch, pos) == r.score;
  }
  EXPECT_GE(same, 390);

  EXPECT_EQ(run_datagen("bootstrap --positions 10 --nodes 5", dir.file("bad.bin")).status, 2);
}

TEST(DatagenTool, SelfplayKeepsSearchedPositionsAfterTheRandomPlies) {
  TempDir dir;
  const DatagenRun run = run_datagen("selfplay --positions 300 --threads 2 --nodes 300 --seed 3 --chess960-share 0.5",
                                     dir.file("self.bin"));
  check_records(run, 300, 8);
  int chess960 = 0, agree = 0, clear = 0;
  for (const TrainingRecord& r : run.records) {
    chess960 += r.flags == RECORD_CHESS960;
    Position pos;
    unpack_record(r, pos);
    // Random plies leave material behind: the search's sign should follow it.
    const int32_t material = teacher_eval(pos);
    if (std::abs(material) < 300) continue;
    ++clear;
    agree += (material > 0) == (r.score > 0);
  }
  EXPECT_GT(chess960, 0);
  EXPECT_LT(chess960, 300);
  if (clear >= 20) {
    EXPECT_GE(agree * 10, clear * 8) << agree << " of " << clear;
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

// Another seed adds its games behind those already there; a seed played with other settings,
// and a file whose records no journal lists, are refused and left as they are.
TEST(DatagenTool, OtherSeedsAddAndForeignFilesAreRefused) {
  TempDir dir;
  const std::string out = dir.file("data.bin");
  const DatagenRun first = run_datagen("bootstrap --positions 300 --threads 2 --seed 1", out);
  ASSERT_EQ(first.status, 0) << first.messages;
  const DatagenRun more = run_datagen("bootstrap --positions 200 --threads 1 --seed 2", out);
  ASSERT_EQ(more.status, 0) << more.messages;
  ASSERT_EQ(more.records.size(), 500u);
  EXPECT_EQ(std::memcmp(more.records.data(), first.records.data(), 300 * sizeof(TrainingRecord)), 0);
  EXPECT_EQ(journal_games(more, out, 2).positions, 200u);

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
  const std::string tool = std::string(TESMAR_TOOLS_DIR "/datagen ");
  const std::string merged = dir.file("m.bin");
  ASSERT_EQ(std::system((tool + "merge " + merged + " " + dir.file("a.bin") + " " + dir.file("b.bin") + " >/dev/null").c_str()), 0);
  const std::string text = file_text(merged);
  ASSERT_EQ(text.size(), TRAINING_HEADER_BYTES + 200 * sizeof(TrainingRecord));
  EXPECT_EQ(text.substr(0, TRAINING_HEADER_BYTES + 120 * 32), file_text(dir.file("a.bin")));
  EXPECT_EQ(text.substr(TRAINING_HEADER_BYTES + 120 * 32), file_text(dir.file("b.bin")).substr(TRAINING_HEADER_BYTES, 80 * 32));
  EXPECT_NE(std::system((tool + "merge " + merged + " " + dir.file("a.bin") + " 2>/dev/null").c_str()), 0);
  EXPECT_EQ(file_text(merged).size(), text.size());
}

}  // namespace
