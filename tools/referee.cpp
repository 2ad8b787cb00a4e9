// Plays a match between two UCI engines (by default two copies of tesmar) and fails
// loudly on anything that breaks the protocol: crashes, hangs, illegal or late moves,
// malformed or stray lines. Exit status 0 only when every game was played cleanly.
//
//   referee --games 200 --time 0.5 --inc 0.02 --threads2 2
//   referee --chess960 --openings ../shared/openings/chess960_starts.epd
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "board/board_tables.h"
#include "board/fen_check.h"
#include "protocol/engine_options.h"
#include "referee/openings.h"
#include "referee/play_game.h"

namespace {

struct MatchSettings {
  EngineSetup engines[2];
  int games = 2;
  std::string openings_file;
  bool chess960 = false;
  int random_plies = -1;  // -1: 6 from the start position, none from an opening file
  uint64_t seed = 1;
  int max_failures = 1;
  bool show_moves = false;
  GameSettings game;
};

struct Tally {
  int wins = 0, draws = 0, losses = 0;
};

void usage() {
  std::puts(
      "usage: referee [options]\n"
      "  --engine PATH          program for both engines (default: tesmar beside this tool)\n"
      "  --engine1 PATH, --engine2 PATH\n"
      "  --option NAME=VALUE    UCI option for both engines; --option1, --option2 for one\n"
      "  --threads1 N, --threads2 N, --hash MB (default 16, both)\n"
      "  --games N              games in all, colours alternating (default 2)\n"
      "  --time S, --inc S      clock and increment in seconds (default 1 + 0.05)\n"
      "  --openings EPD         start positions, one pair of games per line picked\n"
      "  --chess960             Chess960 (UCI_Chess960 true); Shredder-FEN starts from --openings,\n"
      "                         else a few built-in ones\n"
      "  --random-plies N       random plies on top of each start (default 6 from the start\n"
      "                         position, 0 from an opening file)\n"
      "  --seed N               opening choice and random plies (default 1)\n"
      "  --max-moves N          adjudicate a draw after N moves each (default 150, at most 500)\n"
      "  --grace-ms N           lateness past the clock still in time (default 200)\n"
      "  --ready-timeout-ms N   answer to isready (default 5000)\n"
      "  --start-timeout-ms N   start-up until readyok (default 10000)\n"
      "  --ping-every N         isready during every N-th search, 0 never (default 7)\n"
      "  --max-failures N       stop after N failed games (default 1)\n"
      "  --show-moves           print the moves of every game");
}

std::string tool_directory() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return ".";
  path[n] = 0;
  std::string text = path;
  return text.substr(0, text.rfind('/'));
}

bool add_option(EngineSetup& engine, const std::string& assignment) {
  const size_t eq = assignment.find('=');
  if (eq == std::string::npos || eq == 0) return false;
  engine.options.emplace_back(assignment.substr(0, eq), assignment.substr(eq + 1));
  return true;
}

void set_option(EngineSetup& engine, const std::string& name, const std::string& value) {
  for (auto& option : engine.options)
    if (option.first == name) {
      option.second = value;
      return;
    }
  engine.options.emplace_back(name, value);
}

// False (after a message) when the counts and clocks of the match can't be played.
bool limits_make_sense(const MatchSettings& m) {
  if (m.games < 1 || m.game.base_ms < 1 || m.max_failures < 1 || m.game.max_plies < 1) {
    std::fputs("referee: --games, --time, --max-moves and --max-failures must be positive\n", stderr);
    return false;
  }
  // The engine reads lines of up to 8191 characters; a longer position command would arrive cut.
  if (m.game.max_plies > 1000) {
    std::fputs("referee: --max-moves is at most 500\n", stderr);
    return false;
  }
  return true;
}

// Options named by the tool go first, so that an explicit --option can still override them;
// each engine is labelled with its thread count.
void put_tool_options_first(MatchSettings& m, const std::string& hash, const std::string threads[2]) {
  for (int e = 0; e < 2; ++e) {
    EngineSetup& engine = m.engines[e];
    std::vector<std::pair<std::string, std::string>> explicit_options = engine.options;
    engine.options.clear();
    set_option(engine, "Hash", hash);
    set_option(engine, "Threads", threads[e]);
    if (m.chess960) set_option(engine, "UCI_Chess960", "true");
    for (const auto& [name, value] : explicit_options) set_option(engine, name, value);
    engine.label = e == 0 ? "E1" : "E2";
    for (const auto& [name, value] : engine.options)
      if (name == "Threads") engine.label += "(Threads " + value + ")";
  }
}

// False (after a message) on a bad command line.
bool parse_arguments(int argc, char** argv, MatchSettings& m) {
  const std::string tesmar = tool_directory() + "/tesmar";
  m.engines[0].program = m.engines[1].program = tesmar;
  std::string hash = "16";
  std::string threads[2] = {"1", "1"};
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--chess960" || arg == "--show-moves") {
      (arg == "--chess960" ? m.chess960 : m.show_moves) = true;
      continue;
    }
    if (arg == "--help" || arg == "-h") return usage(), false;
    if (i + 1 >= argc) {
      std::fprintf(stderr, "referee: %s needs a value\n", arg.c_str());
      return false;
    }
    const std::string value = argv[++i];
    const long number = std::strtol(value.c_str(), nullptr, 10);
    const double seconds = std::strtod(value.c_str(), nullptr);
    if (arg == "--engine") m.engines[0].program = m.engines[1].program = value;
    else if (arg == "--engine1") m.engines[0].program = value;
    else if (arg == "--engine2") m.engines[1].program = value;
    else if (arg == "--option" || arg == "--option1" || arg == "--option2") {
      bool ok = true;
      if (arg != "--option2") ok &= add_option(m.engines[0], value);
      if (arg != "--option1") ok &= add_option(m.engines[1], value);
      if (!ok) {
        std::fprintf(stderr, "referee: %s wants NAME=VALUE\n", arg.c_str());
        return false;
      }
    } else if (arg == "--threads1") threads[0] = value;
    else if (arg == "--threads2") threads[1] = value;
    else if (arg == "--hash") hash = value;
    else if (arg == "--games") m.games = int(number);
    else if (arg == "--time") m.game.base_ms = std::llround(seconds * 1000);
    else if (arg == "--inc") m.game.increment_ms = std::llround(seconds * 1000);
    else if (arg == "--openings") m.openings_file = value;
    else if (arg == "--random-plies") m.random_plies = int(number);
    else if (arg == "--seed") m.seed = std::strtoull(value.c_str(), nullptr, 10);
    else if (arg == "--max-moves") m.game.max_plies = int(2 * number);
    else if (arg == "--grace-ms") m.game.grace_ms = number;
    else if (arg == "--ready-timeout-ms") m.game.timeouts.ready_ms = int(number);
    else if (arg == "--start-timeout-ms") m.game.timeouts.start_ms = int(number);
    else if (arg == "--ping-every") m.game.ping_every = int(number);
    else if (arg == "--max-failures") m.max_failures = int(number);
    else {
      std::fprintf(stderr, "referee: unknown argument %s\n", arg.c_str());
      usage();
      return false;
    }
  }
  if (!limits_make_sense(m)) return false;
  put_tool_options_first(m, hash, threads);
  return true;
}

std::string open_both(EngineSeat seats[2], const MatchSettings& m, int& failed) {
  for (failed = 0; failed < 2; ++failed) {
    seats[failed].setup = m.engines[failed];
    const std::string failure = open_seat(seats[failed], m.game.timeouts);
    if (!failure.empty()) return failure;
  }
  failed = -1;
  return "";
}

void report_failure(const std::string& title, const EngineSeat& seat, const std::string& what, const GameRecord* game) {
  std::printf("FAILURE %s: %s: %s\n", title.c_str(), seat.setup.label.c_str(), what.c_str());
  if (game && game->board) std::printf("%s", game_transcript(*game).c_str());
  std::printf("  last lines of the dialogue with %s:\n%s", seat.setup.label.c_str(), dialogue_tail(seat).c_str());
  std::fflush(stdout);
}

// What a match has come to so far.
struct MatchState {
  EngineSeat seats[2];
  bool engines_open = false;
  Tally tally[2];
  int reasons[7] = {};
  int late_moves = 0;
  int64_t longest_overrun = 0;
  long total_plies = 0;
  int played = 0;
  int failures = 0;
};

// The start positions: the lines of the openings file, or built-in ones. False (with a message)
// when the file gives none.
bool load_openings(const MatchSettings& m, std::vector<std::string>& openings) {
  if (m.openings_file.empty()) {
    openings = m.chess960 ? BUILT_IN_CHESS960_STARTS : std::vector<std::string>{START_FEN};
    return true;
  }
  int skipped = 0;
  openings = read_epd_openings(m.openings_file, m.chess960, skipped);
  if (skipped) std::printf("referee: %d lines of %s skipped\n", skipped, m.openings_file.c_str());
  if (openings.empty()) std::fprintf(stderr, "referee: no usable opening in %s\n", m.openings_file.c_str());
  return !openings.empty();
}

// After a failure in a game: both engines are closed, and opened again while failures are allowed.
void restart_engines(MatchState& s, const MatchSettings& m) {
  for (EngineSeat& seat : s.seats) abandon_seat(seat);
  s.engines_open = false;
  if (s.failures >= m.max_failures) return;
  int failed_seat = -1;
  const std::string failure = open_both(s.seats, m, failed_seat);
  s.engines_open = failure.empty();
  if (!s.engines_open) {
    ++s.failures;
    report_failure("at restart", s.seats[failed_seat], failure, nullptr);
    for (EngineSeat& seat : s.seats) abandon_seat(seat);
  }
}

// Plays game g (0-based) from the opening line in `opening` and counts it.
void play_counted_game(MatchState& s, const MatchSettings& m, int g, const GameRecord& opening) {
  GameRecord board;
  start_game(board, opening.start_fen);
  for (const std::string& text : opening.moves) play_move(board, legal_move_named(current_position(board), text));
  const size_t opening_plies = board.moves.size();

  const int white = g % 2;  // engine 1 has White in the even games
  EngineSeat* by_colour[2] = {&s.seats[white], &s.seats[1 - white]};
  const int64_t game_start = now_ms();
  const GameResult result = play_game(by_colour, board, m.game);
  ++s.played;
  const size_t plies = board.moves.size() - opening_plies;
  s.total_plies += long(plies);
  s.late_moves += result.late_moves;
  s.longest_overrun = std::max(s.longest_overrun, result.longest_overrun_ms);

  if (!result.failure.empty()) {
    ++s.failures;
    const int guilty = result.failed_side == 0 ? white : 1 - white;
    report_failure("in game " + std::to_string(g + 1), s.seats[guilty], result.failure, &board);
    restart_engines(s, m);
    return;
  }
  ++s.reasons[int(result.end)];
  const char* score = result.winner == 0 ? "1-0" : result.winner == 1 ? "0-1" : "1/2-1/2";
  for (int e = 0; e < 2; ++e) {
    const int colour = e == white ? 0 : 1;
    if (result.winner < 0) ++s.tally[e].draws;
    else if (result.winner == colour) ++s.tally[e].wins;
    else ++s.tally[e].losses;
  }
  std::printf("game %d/%d: %s-%s %s %s, %zu plies, %.1f s | %s +%d =%d -%d\n", g + 1, m.games,
              s.seats[white].setup.label.c_str(), s.seats[1 - white].setup.label.c_str(), score,
              game_end_text(result.end), plies, (now_ms() - game_start) / 1000.0, s.seats[0].setup.label.c_str(),
              s.tally[0].wins, s.tally[0].draws, s.tally[0].losses);
  if (m.show_moves) std::printf("%s", game_transcript(board).c_str());
  std::fflush(stdout);
}

void print_summary(const MatchState& s, const MatchSettings& m, int64_t match_start) {
  std::printf("\nreferee summary: %d of %d games played in %.1f s, %ld plies\n", s.played, m.games,
              (now_ms() - match_start) / 1000.0, s.total_plies);
  for (int e = 0; e < 2; ++e)
    std::printf("  %-16s wins %d  draws %d  losses %d\n", m.engines[e].label.c_str(), s.tally[e].wins,
                s.tally[e].draws, s.tally[e].losses);
  std::printf("  endings:");
  const char* separator = " ";
  for (int r = 1; r < 7; ++r)
    if (s.reasons[r]) std::printf("%s%s %d", separator, game_end_text(GameEnd(r)), s.reasons[r]), separator = ", ";
  std::printf("\n  moves past the clock within the grace: %d (longest %lld ms)\n", s.late_moves,
              (long long)s.longest_overrun);
  std::printf("  failures: %d\n", s.failures);
  std::printf("%s\n", s.failures ? "referee: FAILED" : "referee: OK");
}

}  // namespace

int main(int argc, char** argv) {
  MatchSettings m;
  if (!parse_arguments(argc, argv, m)) return 2;
  set_default_options(engine_options);
  init_board_tables();
  engine_options.UCI_Chess960 = m.chess960;
  std::vector<std::string> openings;
  if (!load_openings(m, openings)) return 2;
  const int random_plies = m.random_plies >= 0 ? m.random_plies : m.openings_file.empty() ? 6 : 0;

  std::printf("referee: %d games, %s vs %s, %.3f s + %.3f s, %s, seed %llu\n", m.games,
              m.engines[0].label.c_str(), m.engines[1].label.c_str(), m.game.base_ms / 1000.0,
              m.game.increment_ms / 1000.0, m.chess960 ? "Chess960" : "standard chess",
              (unsigned long long)m.seed);
  std::fflush(stdout);

  MatchState s;
  int failed_seat = -1;
  const std::string failure = open_both(s.seats, m, failed_seat);
  if (!failure.empty()) {
    report_failure("at start-up", s.seats[failed_seat], failure, nullptr);
    for (EngineSeat& seat : s.seats) abandon_seat(seat);
    std::printf("referee: 0 games played, 1 failure\nreferee: FAILED\n");
    return 1;
  }
  s.engines_open = true;
  const int64_t match_start = now_ms();
  SplitMixRng rng{m.seed};
  GameRecord opening;
  for (int g = 0; g < m.games && s.engines_open; ++g) {
    // Each pair of games shares its opening, with colours swapped.
    if (g % 2 == 0) {
      const std::string& fen = openings[size_t(rng.below(int(openings.size())))];
      if (!start_opening(opening, fen, random_plies, rng)) {
        std::fprintf(stderr, "referee: no playable opening from %s\n", fen.c_str());
        return 2;
      }
    }
    play_counted_game(s, m, g, opening);
  }

  // A clean quit is part of the test: sanitizers report at exit through the status.
  if (s.engines_open)
    for (EngineSeat& seat : s.seats) {
      const std::string quit_failure = close_seat(seat, m.game.timeouts.ready_ms);
      if (!quit_failure.empty()) {
        ++s.failures;
        report_failure("at quit", seat, quit_failure, nullptr);
      }
    }
  print_summary(s, m, match_start);
  return s.failures ? 1 : 0;
}
