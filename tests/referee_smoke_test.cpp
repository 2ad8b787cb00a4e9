// Very short games of the real engine through the match runner, standard with one side on
// three search threads and Chess960, so that a broken protocol or a crash under fast play
// fails the suite quickly.
#include <gtest/gtest.h>

#include "helpers/referee_runner.h"

TEST(RefereeSmoke, TwoFastGamesStandardOnThreeThreadsAndChess960) {
  for (const char* variant : {"--threads2 3 --seed 7", "--chess960 --seed 3"}) {
    // Generous limits: the suite also runs in sanitizer builds and beside other work, where
    // a search thread may wait long for a core; a fault here is a protocol fault or a hang.
    const ToolRun run = run_referee(std::string(variant) + " --games 2 --time 0.2 --inc 0.01 --max-moves 80 "
                                     "--grace-ms 3000 --start-timeout-ms 60000 --ready-timeout-ms 20000");
    EXPECT_EQ(run.status, 0) << run.output;  // no failure of either engine
    EXPECT_NE(run.output.find("2 of 2 games played"), std::string::npos) << run.output;
  }
}
