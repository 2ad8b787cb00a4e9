#include "helpers/datagen_runs.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "board/position.h"
#include "common/training_file.h"
#include "helpers/scratch_files.h"
#include "search/score.h"

DatagenRun run_datagen(const std::string& arguments, const std::string& out) {
  DatagenRun run;
  const std::string errors = out + ".stderr";
  const std::string command = DATAGEN + arguments + " --out " + out + " 2>" + errors;
  const int status = std::system(command.c_str());
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream messages(errors);
  run.messages.assign(std::istreambuf_iterator<char>(messages), std::istreambuf_iterator<char>());
  std::remove(errors.c_str());
  if (std::FILE* file = std::fopen(out.c_str(), "rb")) {
    run.header_ok = read_training_header(file, out.c_str());
    for (TrainingRecord r; std::fread(&r, sizeof r, 1, file) == 1;) run.records.push_back(r);
    run.file_bytes = size_t(std::ftell(file));
    std::fclose(file);
  }
  return run;
}

JournalGames journal_games(const DatagenRun& run, const std::string& out, uint64_t seed) {
  JournalGames result;
  std::istringstream lines(file_text(out + ".journal"));
  std::map<int, int> next;
  for (std::string line; std::getline(lines, line);) {
    unsigned long long s;
    int stream, game, result_word;
    long long positions, end;
    if (std::sscanf(line.c_str(), "game %llu %d %d %lld %d %lld", &s, &stream, &game, &positions, &result_word, &end) != 6)
      continue;
    if (s != seed) continue;
    result.in_order = result.in_order && game == next[stream]++;
    if (end > (long long)run.records.size()) {
      result.in_order = false;
      break;
    }
    result.games[{stream, game}].assign(run.records.begin() + (end - positions), run.records.begin() + end);
    result.last = {stream, game};
    result.positions += size_t(positions);
  }
  return result;
}

SignalledRun run_and_signal(const std::string& arguments, const std::string& out, int games, int signal,
                            bool whole_group) {
  SignalledRun run;
  const auto listed = [&out] {
    const std::string journal = file_text(out + ".journal");
    int count = 0;
    for (size_t at = 0; (at = journal.find("\ngame ", at)) != std::string::npos; ++at) ++count;
    return count;
  };
  const int target = listed() + games;
  const std::string errors = out + ".stderr";
  const pid_t pid = fork();
  if (pid == 0) {
    setsid();
    const std::string command = DATAGEN + arguments + " --out " + out + " 2>" + errors;
    execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (pid <= 0) return run;
  for (int wait = 0; wait < 3000 && !run.ended_by_itself; ++wait) {
    if (listed() >= target) break;
    run.ended_by_itself = waitpid(pid, &run.status, WNOHANG) == pid;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (!run.ended_by_itself) {
    kill(whole_group ? -pid : pid, signal);
    waitpid(pid, &run.status, 0);
  }
  run.messages = file_text(errors);
  std::remove(errors.c_str());
  return run;
}

void append_bytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
}

void check_records(const DatagenRun& run, size_t expected, int first_ply) {
  ASSERT_EQ(run.status, 0) << run.messages;
  ASSERT_TRUE(run.header_ok);
  ASSERT_EQ(run.records.size(), expected);
  EXPECT_EQ(run.file_bytes, TRAINING_HEADER_BYTES + 32 * expected);
  EXPECT_NE(run.messages.find("done: " + std::to_string(expected) + "/" + std::to_string(expected)), std::string::npos)
      << run.messages;
  for (size_t i = 0; i < run.records.size(); ++i) {
    const TrainingRecord& r = run.records[i];
    Position pos;
    unpack_record(r, pos);
    ASSERT_EQ(popcount(pos.bb[KING] & pos.bb[OWN]), 1) << i;
    ASSERT_EQ(popcount(pos.bb[KING] & ~pos.bb[OWN]), 1) << i;
    ASSERT_EQ(pos.bb[PAWN] & (RANK_1 | RANK_8), 0u) << i;
    ASSERT_EQ(checkers(pos), 0u) << i;
    ASSERT_TRUE(r.result >= -1 && r.result <= 1) << i;
    ASSERT_LT(std::abs(r.score), SCORE_DECIDED) << i;
    ASSERT_GE(r.ply, first_ply) << i;
    // Records of one game follow each other with rising plies; no game starts later than
    // the last kept ply of another.
    if (i > 0 && r.ply > run.records[i - 1].ply) {
      const int same_side = (r.ply - run.records[i - 1].ply) % 2 == 0 ? 1 : -1;
      ASSERT_EQ(r.result, run.records[i - 1].result * same_side) << i;
    }
  }
}

std::vector<CorpusGame> corpus_games(const std::string& bytes, CorpusFileInfo& info) {
  std::vector<CorpusGame> games;
  GameBoard board;
  std::string error;
  EXPECT_TRUE(read_corpus(bytes, board, [&](const CorpusGame& g) { games.push_back(g); }, info, error)) << error;
  return games;
}

std::vector<TrainingRecord> training_records_of(const std::string& path) {
  TrainingFiles files;
  EXPECT_TRUE(open_training_files({path}, files));
  std::vector<TrainingRecord> records(size_t(files.total));
  EXPECT_TRUE(read_training_records(files, 0, files.total, records.data()));
  return records;
}
