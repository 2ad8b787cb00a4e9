// Long reliability matches of the real engine: 200 games in all, at 0.5 s + 0.02 s per
// move, single- and multi-threaded, standard chess and Chess960. Any crash, hang, illegal
// move, loss on time or protocol fault that the match runner reports fails the test.
//
//   ctest --test-dir build -L long -R RefereeLong --output-on-failure
//
// Each case is one referee command, printed in its output; rerun it by hand to replay
// the same games (the seed fixes openings and random plies).
#include <gtest/gtest.h>

#include <fstream>

#include "helpers/referee_runner.h"

namespace {

const std::string SHARED_DIR = TESMAR_SHARED_DIR;

bool readable(const std::string& path) { return std::ifstream(path).good(); }

void play_match(const std::string& arguments) {
  const std::string common = " --time 0.5 --inc 0.02 --max-failures 1";
  std::printf("referee %s%s\n", arguments.c_str(), common.c_str());
  // The output goes by as it comes (ctest -V shows it); a failure repeats it whole.
  const ToolRun run = run_referee(arguments + common, true);
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("failures: 0"), std::string::npos) << run.output;
}

// The 8-move openings when the shared data is there, else random plies from the start.
std::string standard_openings() {
  const std::string path = SHARED_DIR + "/openings/8moves_v3.epd";
  return readable(path) ? " --openings " + path : " --random-plies 8";
}

// Shredder-FEN starts from the shared file, else the runner's few built-in ones.
std::string chess960_openings() {
  const std::string path = SHARED_DIR + "/openings/chess960_starts.epd";
  return readable(path) ? " --chess960 --openings " + path + " --random-plies 2" : " --chess960 --random-plies 4";
}

TEST(RefereeLong, StandardOneThreadEach) { play_match("--games 60 --seed 11" + standard_openings()); }

TEST(RefereeLong, StandardOneAgainstTwoThreads) {
  play_match("--games 50 --seed 12 --threads2 2" + standard_openings());
}

TEST(RefereeLong, Chess960OneThreadEach) { play_match("--games 50 --seed 13" + chess960_openings()); }

TEST(RefereeLong, Chess960TwoThreadsEach) {
  play_match("--games 40 --seed 14 --threads1 2 --threads2 2" + chess960_openings());
}

}  // namespace
