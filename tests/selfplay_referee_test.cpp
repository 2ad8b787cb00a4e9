// The match runner's referee, proved against scripted engines: every way a game can end,
// and every fault it must catch, with the reason it has to name.
#include <gtest/gtest.h>

#include "helpers/selfplay_runner.h"

namespace {

// Both seats run the same script; one game from fen (the start position when empty).
ToolRun play_scripted(const std::string& name, const FakeEngine& engine, const std::string& fen = "",
                      const std::string& extra = "") {
  std::string arguments = "--engine " + write_fake_engine(name, engine) + " --games 1 --random-plies 0";
  if (!fen.empty()) arguments += " --openings " + write_opening(name, fen);
  return run_selfplay(arguments + " --time 2 --inc 0 --ready-timeout-ms 500 --start-timeout-ms 1000 " + extra);
}

void expect_finished(const ToolRun& run, const std::string& score_and_reason) {
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find(score_and_reason), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("selfplay: OK"), std::string::npos) << run.output;
}

void expect_failure(const ToolRun& run, const std::string& reason) {
  EXPECT_EQ(run.status, 1) << run.output;
  EXPECT_NE(run.output.find("FAILURE"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find(reason), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("selfplay: FAILED"), std::string::npos) << run.output;
}

TEST(SelfplayReferee, EndsGamesByTheRules) {
  expect_finished(play_scripted("mate", {.moves = "f2f3 e7e5 g2g4 d8h4"}), "0-1 checkmate, 4 plies");
  expect_finished(play_scripted("stalemate", {.moves = "f5f7"}, "7k/8/6K1/5Q2/8/8/8/8 w - - 0 1"),
                  "1/2-1/2 stalemate, 1 plies");
  // Knights out and back twice: the start position stands for the third time after 8 plies.
  expect_finished(play_scripted("repetition", {.moves = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3"}),
                  "1/2-1/2 threefold repetition, 8 plies");
  expect_finished(play_scripted("fifty", {.moves = "a1b1 h8g8 b1a1"}, "7k/8/8/8/8/8/8/K2R4 w - - 98 60"),
                  "1/2-1/2 fifty-move rule, 2 plies");
  // The king takes the last rook and leaves king and bishop against a bare king.
  expect_finished(play_scripted("material", {.moves = "a1b2 h8g8"}, "7k/8/8/8/8/8/1r6/K1B5 w - - 0 1"),
                  "1/2-1/2 insufficient material, 1 plies");
  expect_finished(play_scripted("knight", {.moves = "a1b2 h8g8"}, "7k/8/8/8/8/8/1r6/KN6 w - - 0 1"),
                  "1/2-1/2 insufficient material, 1 plies");
  // Bishops on squares of one colour can never mate; on both colours they can.
  expect_finished(play_scripted("same_bishops", {.moves = "a1b2 h8g8"}, "7k/8/8/8/8/8/1rb5/KB6 w - - 0 1"),
                  "1/2-1/2 insufficient material, 1 plies");
  expect_finished(play_scripted("opposite_bishops", {.moves = "a1b2 h8g8 b2c3 g8h8"}, "7k/8/8/8/8/8/1r6/KB4b1 w - - 0 1",
                                "--max-moves 2"),
                  "1/2-1/2 adjudicated by move count, 4 plies");
  expect_finished(play_scripted("limit", {.moves = "g1f3 g8f6 b1c3 b8c6 e2e4"}, "", "--max-moves 2"),
                  "1/2-1/2 adjudicated by move count, 4 plies");
}

TEST(SelfplayReferee, RepetitionNeedsTheSameSideToMoveAndNoIrreversibleMoveBetween) {
  // A pawn move in between makes the earlier positions unreachable: no draw at ply 8 or 12.
  expect_finished(play_scripted("pawn_between",
                                {.moves = "g1f3 g8f6 f3g1 f6g8 e2e3 b8c6 g1f3 c6b8 f3g1 b8c6 g1f3 c6b8 f3g1"},
                                "", "--max-moves 6"),
                  "adjudicated by move count, 12 plies");
}

TEST(SelfplayReferee, Chess960CastlingIsTheKingTakingItsRook) {
  const std::string start = "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1";
  expect_finished(play_scripted("castle960", {.moves = "f1g1 f8g8 g1h1"}, start, "--chess960 --max-moves 1"),
                  "adjudicated by move count, 2 plies");
  // Without UCI_Chess960 the same text is no move at all.
  expect_failure(play_scripted("castle960_off", {.moves = "f1g1 f8g8"}, start), "illegal bestmove f1g1");
}

TEST(SelfplayReferee, CatchesBadMoves) {
  expect_failure(play_scripted("illegal", {.moves = "e2e4 e7e5 e2e4"}), "illegal bestmove e2e4");
  expect_failure(play_scripted("null_move", {.moves = "e2e4", .on_go = "echo 'bestmove 0000'"}), "illegal bestmove 0000");
  expect_failure(play_scripted("malformed", {.moves = "e2e4", .on_go = "echo 'bestmove e2e4 e7e5'"}), "malformed bestmove line");
  expect_failure(play_scripted("no_move", {.moves = "e2e4", .on_go = "echo bestmove"}), "malformed bestmove line");
  expect_failure(play_scripted("ponder", {.moves = "e2e4", .on_go = "echo 'bestmove e2e4 ponder e2e4'"}), "illegal ponder move e2e4");
  // Underpromotion letters are part of the move: a bare e7e8 is malformed where a pawn promotes.
  expect_failure(play_scripted("promotion", {.moves = "e7e8"}, "4k3/4P3/8/8/8/8/8/K7 w - - 0 1"),
                 "illegal bestmove e7e8");
}

TEST(SelfplayReferee, CatchesBrokenSearchOutput) {
  expect_failure(play_scripted("stray_line", {.moves = "e2e4", .on_go = "echo thinking; play"}),
                 "unexpected line during a search: \"thinking\"");
  expect_failure(play_scripted("bad_pv", {.moves = "e2e4", .on_go = "echo 'info depth 1 score cp 5 pv e2e4 e2e4'; play"}),
                 "illegal move e2e4 at ply 2 of the pv");
  expect_failure(play_scripted("bad_score", {.moves = "e2e4", .on_go = "echo 'info depth 1 score 5 pv e2e4'; play"}),
                 "bad score");
  expect_failure(play_scripted("bad_field", {.moves = "e2e4", .on_go = "echo 'info depth 1 speed 5'; play"}),
                 "unknown field speed");
  // A well-formed line with a legal pv is accepted.
  expect_finished(play_scripted("good_info",
                                {.moves = "f2f3 e7e5 g2g4 d8h4",
                                 .on_go = "echo 'info multipv 1 depth 3 time 0 nodes 12 nps 12000 tbhits 0 "
                                          "score mate -1 pv '\"$(set -- $moves; shift $n; echo $1)\"; play"}),
                  "0-1 checkmate");
  // Two bestmoves for one go: the second arrives with no search running.
  expect_failure(play_scripted("double", {.moves = "e2e4 e7e5 g1f3", .on_go = "play; play"}),
                 "with no search running: \"bestmove");
}

TEST(SelfplayReferee, CatchesDeadAndSilentEngines) {
  expect_failure(play_scripted("crash", {.moves = "e2e4", .on_go = "[ $n = 0 ] && play || kill -SEGV $$"}),
                 "killed by signal 11");
  expect_failure(play_scripted("exits", {.moves = "e2e4", .on_go = "exit 3"}), "exit status 3");
  expect_failure(play_scripted("slow", {.moves = "e2e4", .on_go = ":"}, "", "--time 0.2 --grace-ms 50"),
                 "timed out waiting for bestmove: loss on time");
  // Answers the isready of the start-up, then never again.
  expect_failure(play_scripted("hang", {.moves = "e2e4",
                                        .on_isready = "[ -z \"$answered\" ] && echo readyok; answered=1"}),
                 "timed out waiting for readyok: engine hangs");
  expect_failure(play_scripted("no_uciok", {.moves = "e2e4", .on_uci = "echo 'id name fake'"}), "timed out waiting for uciok");
  expect_failure(play_scripted("bad_quit", {.moves = "f2f3 e7e5 g2g4 d8h4", .on_quit = "exit 66"}),
                 "ended after quit with exit status 66");
  expect_failure(run_selfplay("--engine /nonexistent/engine --games 1"), "FAILURE at start-up");
}

TEST(SelfplayReferee, AnswersToIsreadyDuringASearchAreExpected) {
  // Ping at every search: the answer may come before or after bestmove, but only once.
  expect_finished(play_scripted("ping_after", {.moves = "f2f3 e7e5 g2g4 d8h4"}, "", "--ping-every 1"), "0-1 checkmate");
  expect_failure(play_scripted("extra_ready", {.moves = "f2f3 e7e5 g2g4 d8h4", .on_go = "echo readyok; play"}),
                 "unexpected line during a search: \"readyok\"");
}

}  // namespace
