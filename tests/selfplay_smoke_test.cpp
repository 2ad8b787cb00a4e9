// Two very short games of the real engine through the match runner, one side with three
// search threads, so that a broken protocol or a crash under fast play fails the suite quickly.
#include <gtest/gtest.h>

#include "helpers/selfplay_runner.h"

TEST(SelfplaySmoke, TwoFastGamesOneAndThreeThreads) {
  // Generous start-up and ping limits: the suite also runs in sanitizer builds.
  const ToolRun run = run_selfplay(
      "--games 2 --time 0.2 --inc 0.01 --threads2 3 --seed 7 --max-moves 80 --grace-ms 500 "
      "--start-timeout-ms 60000 --ready-timeout-ms 20000");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("2 of 2 games played"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("failures: 0"), std::string::npos) << run.output;
}

TEST(SelfplaySmoke, TwoFastChess960Games) {
  const ToolRun run = run_selfplay(
      "--chess960 --games 2 --time 0.2 --inc 0.01 --seed 3 --max-moves 80 --grace-ms 500 "
      "--start-timeout-ms 60000 --ready-timeout-ms 20000");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("2 of 2 games played"), std::string::npos) << run.output;
}
