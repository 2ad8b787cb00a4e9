#include "play_game.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>
#include <vector>

namespace {

std::vector<std::string> split_words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

bool is_integer(const std::string& text, bool signed_allowed) {
  size_t i = signed_allowed && !text.empty() && text[0] == '-' ? 1 : 0;
  if (i == text.size()) return false;
  for (; i < text.size(); ++i)
    if (text[i] < '0' || text[i] > '9') return false;
  return true;
}

// "" for a well-formed bestmove of a legal move (and a legal ponder move), else the fault.
std::string check_bestmove(GameRecord& game, const std::vector<std::string>& words, Move& best) {
  best = 0;
  if (words.size() != 2 && !(words.size() == 4 && words[2] == "ponder")) return "malformed bestmove line";
  best = legal_move_named(current_position(game), words[1]);
  if (!best) return "illegal bestmove " + words[1];
  if (words.size() == 4 && first_illegal_in_line(game, best, {words[3]}) == 0)
    return "illegal ponder move " + words[3] + " after " + words[1];
  return "";
}

}  // namespace

std::string check_info_line(GameRecord& game, const std::string& line) {
  static const std::set<std::string> COUNTERS = {"depth", "seldepth", "multipv", "time", "nodes",
                                                 "nps", "tbhits", "hashfull", "currmovenumber"};
  const std::vector<std::string> words = split_words(line);
  for (size_t i = 1; i < words.size(); ++i) {
    const std::string& key = words[i];
    if (key == "string") return "";
    if (COUNTERS.count(key)) {
      if (i + 1 >= words.size() || !is_integer(words[i + 1], false)) return "bad value of " + key;
      ++i;
    } else if (key == "score") {
      if (i + 2 >= words.size() || (words[i + 1] != "cp" && words[i + 1] != "mate") || !is_integer(words[i + 2], true))
        return "bad score";
      i += 2;
      if (i + 1 < words.size() && (words[i + 1] == "lowerbound" || words[i + 1] == "upperbound")) ++i;
    } else if (key == "currmove") {
      if (i + 1 >= words.size() || !legal_move_named(current_position(game), words[i + 1])) return "bad currmove";
      ++i;
    } else if (key == "pv") {
      const std::vector<std::string> pv(words.begin() + long(i) + 1, words.end());
      if (pv.empty()) return "empty pv";
      const int bad = first_illegal_in_line(game, 0, pv);
      if (bad >= 0) return "illegal move " + pv[size_t(bad)] + " at ply " + std::to_string(bad + 1) + " of the pv";
      return "";
    } else {
      return "unknown field " + key;
    }
  }
  return "";
}

namespace {

std::string go_command(const int64_t clock_ms[2], int64_t increment_ms) {
  return "go wtime " + std::to_string(clock_ms[0]) + " btime " + std::to_string(clock_ms[1]) + " winc " +
         std::to_string(increment_ms) + " binc " + std::to_string(increment_ms);
}

// Reads the search's lines up to its bestmove: each info line checked, the answers to
// isready counted off; "" with the move in best, else the fault.
std::string read_search(EngineSeat& seat, GameRecord& game, int64_t deadline, Move& best) {
  for (;;) {
    std::string line;
    const std::string failure = receive_from(seat, deadline, "bestmove: loss on time", line);
    if (!failure.empty()) return failure;
    const std::vector<std::string> words = split_words(line);
    if (line == "readyok" && seat.pending_readyok > 0) {
      --seat.pending_readyok;
    } else if (!words.empty() && words[0] == "info") {
      const std::string fault = check_info_line(game, line);
      if (!fault.empty()) return fault + " in \"" + line + "\"";
    } else if (!words.empty() && words[0] == "bestmove") {
      const std::string fault = check_bestmove(game, words, best);
      return fault.empty() ? "" : fault + " in \"" + line + "\"";
    } else {
      return "unexpected line during a search: \"" + line + "\"";
    }
  }
}

// The ping came too late to meet the search; its answer still has to come.
std::string await_late_readyok(EngineSeat& seat, const GameSettings& settings) {
  if (seat.pending_readyok == 0) return "";
  std::string line;
  std::string failure = receive_from(seat, now_ms() + settings.timeouts.ready_ms, "readyok: engine hangs", line);
  if (failure.empty() && line != "readyok") failure = "unexpected line after bestmove: \"" + line + "\"";
  if (failure.empty()) --seat.pending_readyok;
  return failure;
}

// One move of the side to move, searched under its clock and checked line by line; the
// clock is charged and the move played. "" or the fault of that side.
std::string play_one_move(EngineSeat& seat, GameRecord& game, const GameSettings& settings, int ply,
                          int64_t clock_ms[2], GameResult& result) {
  const int side = white_to_move(game) ? 0 : 1;
  std::string failure = send_to(seat, position_command(game));
  if (failure.empty()) failure = send_to(seat, go_command(clock_ms, settings.increment_ms));
  if (!failure.empty()) return failure;
  const int64_t started = now_ms();
  const int64_t deadline = started + clock_ms[side] + settings.grace_ms;
  // An isready in the middle of a search must be answered at once, between whole lines.
  if (settings.ping_every > 0 && ply % settings.ping_every == settings.ping_every - 1) {
    failure = send_to(seat, "isready");
    if (!failure.empty()) return failure;
    ++seat.pending_readyok;
  }
  Move best = 0;
  failure = read_search(seat, game, deadline, best);
  if (!failure.empty()) return failure;
  const int64_t used = now_ms() - started;
  failure = await_late_readyok(seat, settings);
  if (!failure.empty()) return failure;
  if (used > clock_ms[side]) {
    ++result.late_moves;
    result.longest_overrun_ms = std::max(result.longest_overrun_ms, used - clock_ms[side]);
  }
  clock_ms[side] = std::max<int64_t>(0, clock_ms[side] - used) + settings.increment_ms;
  play_move(game, best);
  return "";
}

}  // namespace

GameResult play_game(EngineSeat* seats[2], GameRecord& game, const GameSettings& settings) {
  GameResult result;
  auto fail = [&](int side, const std::string& what) {
    result.failure = what;
    result.failed_side = side;
    return result;
  };
  for (int side = 0; side < 2; ++side) {
    std::string failure = check_silence(*seats[side]);
    if (failure.empty()) failure = send_to(*seats[side], "ucinewgame");
    if (failure.empty()) failure = ping(*seats[side], settings.timeouts.ready_ms);
    if (!failure.empty()) return fail(side, failure);
  }

  int64_t clock_ms[2] = {settings.base_ms, settings.base_ms};
  for (int ply = 0;; ++ply) {
    result.end = game_end(game);
    if (result.end == GameEnd::NONE && ply >= settings.max_plies) result.end = GameEnd::MOVE_LIMIT;
    if (result.end != GameEnd::NONE) break;
    for (int s = 0; s < 2; ++s) {
      const std::string failure = check_silence(*seats[s]);
      if (!failure.empty()) return fail(s, failure);
    }
    const int side = white_to_move(game) ? 0 : 1;
    const std::string failure = play_one_move(*seats[side], game, settings, ply, clock_ms, result);
    if (!failure.empty()) return fail(side, failure);
  }

  if (result.end == GameEnd::CHECKMATE) result.winner = white_to_move(game) ? 1 : 0;
  // Both engines must still answer, and neither may have said anything more.
  for (int side = 0; side < 2; ++side) {
    const std::string failure = ping(*seats[side], settings.timeouts.ready_ms);
    if (!failure.empty()) return fail(side, failure);
  }
  return result;
}
