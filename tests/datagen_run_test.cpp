// Whole runs of the datagen program: bootstrap labels, runs killed and run again, runs of
// other seeds added to a file, and files merged.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "common/training_record.h"
#include "datagen/teacher.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"

namespace {

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
    scratch->position_stack[0] = pos;
    scratch->current_position = scratch->position_stack;
    same += teacher_score(*scratch) == r.score;
  }
  EXPECT_GE(same, 390);

  EXPECT_EQ(run_datagen("bootstrap --positions 10 --nodes 5", dir.file("bad.bin")).status, 2);
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
