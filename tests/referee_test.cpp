// The match runner's referee, proved against scripted engines: every way a game can end, and
// every fault it must catch, with the reason it has to name; and very short games of the real
// engine through it, standard with one side on three search threads and Chess960, so that a
// broken protocol or a crash under fast play fails the suite quickly.
#include <gtest/gtest.h>

#include <vector>

#include "helpers/referee_runner.h"

namespace {

struct RefereeCase {
  const char* name;
  FakeEngine engine;  // both seats run the same script
  const char* reason;
  const char* fen = "";    // the one game starts here; the start position when empty
  const char* extra = "";  // further referee arguments
};

const char* const MATE = "f2f3 e7e5 g2g4 d8h4";
const char* const CHESS960 = "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1";

// One game per case; status 0 with the score and reason, or status 1 with the failure named.
void play_cases(const std::vector<RefereeCase>& cases, int status) {
  for (const RefereeCase& c : cases) {
    std::string arguments = "--engine " + write_fake_engine(c.name, c.engine) + " --games 1 --random-plies 0";
    if (*c.fen) arguments += " --openings " + write_opening(c.name, c.fen);
    // The waits are long enough for a script to answer on a busy machine.
    const ToolRun run = run_referee(arguments + " --time 2 --inc 0 --ready-timeout-ms 2000 --start-timeout-ms 3000 " +
                                     c.extra);
    EXPECT_EQ(run.status, status) << c.name << "\n" << run.output;
    EXPECT_NE(run.output.find(c.reason), std::string::npos) << c.name << "\n" << run.output;
    EXPECT_NE(run.output.find(status ? "referee: FAILED" : "referee: OK"), std::string::npos) << run.output;
  }
}

TEST(Referee, EndsGamesByTheRules) {
  const char* const lone_minor = "1/2-1/2 insufficient material, 1 plies";
  play_cases({
      {"mate", {.moves = MATE}, "0-1 checkmate, 4 plies"},
      {"stalemate", {.moves = "f5f7"}, "1/2-1/2 stalemate, 1 plies", "7k/8/6K1/5Q2/8/8/8/8 w - - 0 1"},
      // Knights out and back twice: the start position stands for the third time after 8 plies.
      {"repetition", {.moves = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3"}, "1/2-1/2 threefold repetition, 8 plies"},
      // A pawn move in between makes the earlier positions unreachable: no draw at ply 8 or 12.
      {"pawn_between", {.moves = "g1f3 g8f6 f3g1 f6g8 e2e3 b8c6 g1f3 c6b8 f3g1 b8c6 g1f3 c6b8 f3g1"},
       "adjudicated by move count, 12 plies", "", "--max-moves 6"},
      {"fifty", {.moves = "a1b1 h8g8 b1a1"}, "1/2-1/2 fifty-move rule, 2 plies", "7k/8/8/8/8/8/8/K2R4 w - - 98 60"},
      // The king takes the last rook and leaves a lone minor piece, or bishops on one colour,
      // which can never mate; bishops on both colours can.
      {"bishop", {.moves = "a1b2 h8g8"}, lone_minor, "7k/8/8/8/8/8/1r6/K1B5 w - - 0 1"},
      {"knight", {.moves = "a1b2 h8g8"}, lone_minor, "7k/8/8/8/8/8/1r6/KN6 w - - 0 1"},
      {"same_bishops", {.moves = "a1b2 h8g8"}, lone_minor, "7k/8/8/8/8/8/1rb5/KB6 w - - 0 1"},
      {"opposite_bishops", {.moves = "a1b2 h8g8 b2c3 g8h8"}, "1/2-1/2 adjudicated by move count, 4 plies",
       "7k/8/8/8/8/8/1r6/KB4b1 w - - 0 1", "--max-moves 2"},
      // Chess960 castling is the king taking its own rook.
      {"castle960", {.moves = "f1g1 f8g8 g1h1"}, "move count, 2 plies", CHESS960, "--chess960 --max-moves 1"},
      // A well-formed info line with a legal pv; a ping at every search, answered after bestmove.
      {"good_info", {.moves = MATE, .on_go = "echo 'info multipv 1 depth 3 time 0 nodes 12 nps 12000 tbhits 0 "
                                             "score mate -1 pv '\"$(set -- $moves; shift $n; echo $1)\"; play"},
       "0-1 checkmate"},
      {"ping_after", {.moves = MATE}, "0-1 checkmate", "", "--ping-every 1"},
  }, 0);
}

TEST(Referee, CatchesEachEngineFault) {
  play_cases({
      {"illegal", {.moves = "e2e4 e7e5 e2e4"}, "illegal bestmove e2e4"},
      // Without UCI_Chess960 the king taking its rook is no move at all.
      {"castle960_off", {.moves = "f1g1 f8g8"}, "illegal bestmove f1g1", CHESS960},
      {"null_move", {.moves = "e2e4", .on_go = "echo 'bestmove 0000'"}, "illegal bestmove 0000"},
      {"malformed", {.moves = "e2e4", .on_go = "echo 'bestmove e2e4 e7e5'"}, "malformed bestmove line"},
      {"no_move", {.moves = "e2e4", .on_go = "echo bestmove"}, "malformed bestmove line"},
      {"ponder", {.moves = "e2e4", .on_go = "echo 'bestmove e2e4 ponder e2e4'"}, "illegal ponder move e2e4"},
      // The promotion letter is part of the move: a bare e7e8 is no move where a pawn promotes.
      {"promotion", {.moves = "e7e8"}, "illegal bestmove e7e8", "4k3/4P3/8/8/8/8/8/K7 w - - 0 1"},
      {"stray_line", {.moves = "e2e4", .on_go = "echo thinking; play"}, "unexpected line during a search: \"thinking\""},
      // The answer to a ping may come before or after bestmove, but only once.
      {"extra_ready", {.moves = MATE, .on_go = "echo readyok; play"}, "unexpected line during a search: \"readyok\""},
      {"bad_pv", {.moves = "e2e4", .on_go = "echo 'info depth 1 score cp 5 pv e2e4 e2e4'; play"},
       "illegal move e2e4 at ply 2 of the pv"},
      {"bad_score", {.moves = "e2e4", .on_go = "echo 'info depth 1 score 5 pv e2e4'; play"}, "bad score"},
      {"bad_field", {.moves = "e2e4", .on_go = "echo 'info depth 1 speed 5'; play"}, "unknown field speed"},
      // Two bestmoves for one go: the second arrives with no search running.
      {"double", {.moves = "e2e4 e7e5 g1f3", .on_go = "play; play"}, "with no search running: \"bestmove"},
      {"crash", {.moves = "e2e4", .on_go = "[ $n = 0 ] && play || kill -SEGV $$"}, "killed by signal 11"},
      {"exits", {.moves = "e2e4", .on_go = "exit 3"}, "exit status 3"},
      {"slow", {.moves = "e2e4", .on_go = ":"}, "timed out waiting for bestmove: loss on time", "",
       "--time 0.2 --grace-ms 50"},
      // Answers the isready of the start-up, then never again.
      {"hang", {.moves = "e2e4", .on_isready = "[ -z \"$answered\" ] && echo readyok; answered=1"},
       "timed out waiting for readyok: engine hangs"},
      {"no_uciok", {.moves = "e2e4", .on_uci = "echo 'id name fake'"}, "timed out waiting for uciok"},
      {"bad_quit", {.moves = MATE, .on_quit = "exit 66"}, "ended after quit with exit status 66"},
  }, 1);
  const ToolRun missing = run_referee("--engine /nonexistent/engine --games 1");
  EXPECT_EQ(missing.status, 1) << missing.output;
  EXPECT_NE(missing.output.find("FAILURE at start-up"), std::string::npos) << missing.output;
}

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

}  // namespace
