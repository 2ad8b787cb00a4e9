#include "datagen/pgn_games.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen_check.h"
#include "board/fen_write.h"
#include "datagen/san.h"
#include "protocol/engine_options.h"
#include "search/score.h"

namespace {

const char* const START_POSITION = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
// The score of a move that came without one: a decided score, so no filter keeps its position.
constexpr int16_t NO_SCORE = INT16_MAX;

bool is_result(const std::string& token) {
  return token == "1-0" || token == "0-1" || token == "1/2-1/2" || token == "*";
}

// A tag line: [Name "value"].
void read_tag(const std::string& line, PgnGame& game) {
  const size_t space = line.find(' '), open = line.find('"'), close = line.rfind('"');
  if (space == std::string::npos || open == std::string::npos || close <= open) return;
  game.tags[line.substr(1, space - 1)] = line.substr(open + 1, close - open - 1);
}

// Splits movetext into the main line's moves and their comments; variations are skipped.
void read_movetext(const std::string& text, PgnGame& game) {
  int depth = 0;
  for (size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c == '{') {
      const size_t end = text.find('}', i);
      const std::string comment = text.substr(i + 1, end == std::string::npos ? std::string::npos : end - i - 1);
      if (depth == 0 && !game.moves.empty() && game.comments.back().empty()) game.comments.back() = comment;
      i = end == std::string::npos ? text.size() : end + 1;
    } else if (c == ';') {
      const size_t end = text.find('\n', i);
      i = end == std::string::npos ? text.size() : end + 1;
    } else if (c == '(' || c == ')') {
      depth += c == '(' ? 1 : -1;
      ++i;
    } else if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else {
      size_t end = i;
      while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end])) && !std::strchr("{}();", text[end]))
        ++end;
      std::string token = text.substr(i, end - i);
      i = end;
      // Move numbers ("12." or "12..."), glued to a move or not, and NAGs ("$1") are no moves.
      const size_t digits = token.find_first_not_of("0123456789");
      if (digits != std::string::npos && digits > 0 && token[digits] == '.') {
        const size_t move = token.find_first_not_of('.', digits);
        token = move == std::string::npos ? std::string() : token.substr(move);
      }
      if (token.empty() || token[0] == '$' || depth > 0 || (std::isdigit(static_cast<unsigned char>(token[0])) && token.find_first_not_of("0123456789.") == std::string::npos))
        continue;
      if (is_result(token)) {
        game.result = token;
        continue;
      }
      game.moves.push_back(token);
      game.comments.emplace_back();
    }
  }
}

std::string score_text(int score) {
  char text[32];
  std::snprintf(text, sizeof text, "%s%d.%02d", score < 0 ? "-" : "+", std::abs(score) / 100, std::abs(score) % 100);
  return text;
}

}  // namespace

bool read_pgn_game(std::istream& in, PgnGame& game) {
  game = PgnGame{};
  std::string line, movetext;
  bool seen = false;
  for (std::streampos at = in.tellg(); std::getline(in, line); at = in.tellg()) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && line[0] == '[') {
      // A tag after movetext starts the next game: leave it for the next call.
      if (!movetext.empty()) {
        in.clear();
        in.seekg(at);
        break;
      }
      read_tag(line, game);
      seen = true;
    } else if (!line.empty() && line[0] != '%') {
      movetext += line + "\n";
      seen = true;
      // The result ends a game's movetext.
      const size_t last = line.find_last_not_of(" \t");
      if (last != std::string::npos) {
        const size_t first = line.find_last_of(" \t", last);
        if (is_result(line.substr(first == std::string::npos ? 0 : first + 1, last - (first == std::string::npos ? 0 : first + 1) + 1)))
          break;
      }
    }
  }
  read_movetext(movetext, game);
  if (game.result.empty() && game.tags.count("Result")) game.result = game.tags["Result"];
  return seen;
}

bool comment_score(const std::string& comment, int& score) {
  const size_t start = comment.find_first_not_of(" \t\n");
  if (start == std::string::npos) return false;
  const char* p = comment.c_str() + start;
  const int sign = *p == '-' ? -1 : 1;
  if (*p == '+' || *p == '-') ++p;
  if (*p == 'M' || *p == '#') {
    char* end;
    const long plies = std::strtol(p + 1, &end, 10);
    if (end == p + 1 || plies < 0 || plies > 1000) return false;
    score = sign * (SCORE_MATE - int(plies));
    return true;
  }
  if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
  char* end;
  const double pawns = std::strtod(p, &end);
  if (*end && !std::strchr("/ ,\t\n", *end)) return false;
  const double units = std::round(pawns * 100.0);
  if (units > SCORE_MATE) return false;
  score = sign * int(units);
  return true;
}

bool corpus_game_of_pgn(const PgnGame& pgn, GameBoard& board, CorpusGame& game, std::string& error) {
  const auto tag = [&pgn](const char* name) {
    const auto at = pgn.tags.find(name);
    return at == pgn.tags.end() ? std::string() : at->second;
  };
  game = CorpusGame{};
  if (pgn.result == "1-0") game.result = 1;
  else if (pgn.result == "0-1") game.result = -1;
  else if (pgn.result == "1/2-1/2") game.result = 0;
  else return error = "a game without a result", false;
  const std::string variant = tag("Variant");
  game.chess960 = variant == "Chess960" || variant == "chess960" || variant == "fischerandom";
  std::string fen = tag("FEN").empty() ? START_POSITION : tag("FEN");
  if (const char* problem = fen_check(fen.c_str())) return error = "FEN " + fen + ": " + problem, false;
  drop_unusable_rights(fen.data(), game.chess960);
  engine_options.UCI_Chess960 = game.chess960;
  start_board(board, fen.c_str());
  size_t i = 0;
  // The book's moves lead to the start position: they have no score to learn from.
  for (; i < pgn.moves.size() && pgn.comments[i].find("book") != std::string::npos; ++i) {
    const Move m = move_of_san(board_position(board), pgn.moves[i]);
    if (!m) return error = "book move " + pgn.moves[i] + " is not legal", false;
    play_board_move(board, m);
  }
  char start[FEN_BUFFER_SIZE];
  position_to_fen(board_position(board), start, game.chess960);
  game.start_fen = start;
  game.start_ply = board.ply;
  for (; i < pgn.moves.size(); ++i) {
    const Move m = move_of_san(board_position(board), pgn.moves[i]);
    if (!m) return error = "move " + std::to_string(i + 1) + " " + pgn.moves[i] + " is not legal", false;
    int score;
    game.moves.push_back(m);
    game.scores.push_back(comment_score(pgn.comments[i], score) ? int16_t(score) : NO_SCORE);
    play_board_move(board, m);
  }
  return true;
}

std::string pgn_of_corpus_game(const CorpusGame& game, GameBoard& board) {
  const char* result = game.result > 0 ? "1-0" : game.result < 0 ? "0-1" : "1/2-1/2";
  std::string text = "[Event \"Tesmar self-play\"]\n[White \"Tesmar\"]\n[Black \"Tesmar\"]\n";
  text += std::string("[Result \"") + result + "\"]\n";
  // The FEN's move number carries the game's ply, so that a reader counts plies as we do.
  std::string fen = game.start_fen.substr(0, game.start_fen.find_last_of(' ') + 1) + std::to_string(game.start_ply / 2 + 1);
  text += "[SetUp \"1\"]\n[FEN \"" + fen + "\"]\n";
  if (game.chess960) text += "[Variant \"Chess960\"]\n";
  text += "\n";
  std::string line;
  replay_game(game, board, [&](const Position& pos, Move m, int score, int ply) {
    std::string token;
    if (!side_bit(pos) || line.empty()) token = std::to_string(ply / 2 + 1) + (side_bit(pos) ? "... " : ". ");
    token += move_san(pos, m);
    if (score != NO_SCORE) token += " {" + score_text(score) + "}";
    if (line.size() + token.size() > 79) text += line + "\n", line.clear();
    line += (line.empty() ? "" : " ") + token;
  });
  text += line + (line.empty() ? "" : " ") + result + "\n\n";
  return text;
}
