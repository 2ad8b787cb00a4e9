#include "datagen/san.h"

#include <cstring>
#include <memory>

#include "board/make_move.h"
#include "board/move_text.h"
#include "board/movegen.h"
#include "search/thread_data.h"

namespace {

constexpr char PIECE_LETTERS[] = "\0\0NBRQK";

// The true square of a square in pos's frame.
Square true_square(const Position& pos, Square s) { return side_bit(pos) ? Square(s ^ 56) : s; }

std::string square_name(Square s) { return {char('a' + file_of(s)), char('1' + rank_of(s))}; }

int legal_moves(const Position& pos, Move* out) {
  ScoredMove list[MAX_MOVES];
  const int n = int(generate_legal(pos, list) - list);
  for (int i = 0; i < n; ++i) out[i] = list[i].move;
  return n;
}

// "+" or "#" for a move that gives check, by whether the reply has a legal move.
std::string check_mark(const Position& pos, Move m) {
  if (!(m & MOVE_GIVES_CHECK)) return "";
  static thread_local std::unique_ptr<ThreadData> scratch = std::make_unique<ThreadData>();
  scratch->position_stack[0] = pos;
  scratch->current_position = scratch->position_stack;
  make_move(*scratch, m, nullptr);
  Move replies[MAX_MOVES];
  return legal_moves(*scratch->current_position, replies) ? "+" : "#";
}

// SAN without its check mark.
std::string bare_san(const Position& pos, Move m, const Move* legal, int n) {
  if (m & MOVE_CASTLING) return move_to(m) == 6 ? "O-O" : "O-O-O";
  const int piece = move_piece(m);
  const Square from = true_square(pos, move_from(m)), to = true_square(pos, move_to(m));
  std::string san;
  if (piece == PAWN) {
    if (m & MOVE_CAPTURE) san += char('a' + file_of(from));
  } else {
    san += PIECE_LETTERS[piece];
    // Another piece of the kind that can go to the same square: name the file, else the rank,
    // else both.
    bool other = false, same_file = false, same_rank = false;
    for (int i = 0; i < n; ++i) {
      const Move o = legal[i];
      if (o == m || move_piece(o) != piece || move_to(o) != move_to(m) || (o & MOVE_CASTLING)) continue;
      const Square of = true_square(pos, move_from(o));
      other = true;
      same_file |= file_of(of) == file_of(from);
      same_rank |= rank_of(of) == rank_of(from);
    }
    if (other && !same_file) san += char('a' + file_of(from));
    else if (other && !same_rank) san += char('1' + rank_of(from));
    else if (other) san += square_name(from);
  }
  if (m & MOVE_CAPTURE) san += 'x';
  san += square_name(to);
  if (m & MOVE_PROMOTION) san += std::string("=") + PIECE_LETTERS[move_promotion(m)];
  return san;
}

}  // namespace

std::string move_san(const Position& pos, Move m) {
  Move legal[MAX_MOVES];
  const int n = legal_moves(pos, legal);
  return bare_san(pos, m, legal, n) + check_mark(pos, m);
}

Move move_of_san(const Position& pos, const std::string& token) {
  std::string san = token;
  while (!san.empty() && std::strchr("+#!?", san.back())) san.pop_back();
  for (char& c : san)
    if (c == '0') c = 'O';
  Move legal[MAX_MOVES];
  const int n = legal_moves(pos, legal);
  Move found = 0;
  const auto take = [&found](Move m) {
    if (found && found != m) return false;  // two moves fit: the token is ambiguous
    found = m;
    return true;
  };
  if (san == "O-O" || san == "O-O-O") {
    for (int i = 0; i < n; ++i)
      if ((legal[i] & MOVE_CASTLING) && move_to(legal[i]) == (san == "O-O" ? 6 : 2) && !take(legal[i])) return 0;
    return found;
  }
  for (int i = 0; i < n; ++i) {
    char text[8];
    move_text(pos, legal[i], text);
    if (token == text) return legal[i];
  }
  // Piece letter, then disambiguation and "x" in any mix, the destination, a promotion.
  const char* letter = san.empty() ? nullptr : std::strchr("NBRQK", san[0]);
  const int piece = letter && san[0] ? int(letter - "NBRQK") + KNIGHT : PAWN;
  std::string rest = piece == PAWN ? san : san.substr(1);
  int promotion = 0;
  if (piece == PAWN && !rest.empty() && std::strchr("NBRQ", rest.back()) && rest.back()) {
    promotion = int(std::strchr("NBRQ", rest.back()) - "NBRQ") + KNIGHT;
    rest.pop_back();
    if (!rest.empty() && rest.back() == '=') rest.pop_back();
  }
  if (rest.size() < 2) return 0;
  const char to_file = rest[rest.size() - 2], to_rank = rest[rest.size() - 1];
  if (to_file < 'a' || to_file > 'h' || to_rank < '1' || to_rank > '8') return 0;
  const Square to = Square((to_rank - '1') * 8 + (to_file - 'a'));
  int from_file = -1, from_rank = -1;
  for (char c : rest.substr(0, rest.size() - 2)) {
    if (c >= 'a' && c <= 'h') from_file = c - 'a';
    else if (c >= '1' && c <= '8') from_rank = c - '1';
    else if (c != 'x' && c != '-' && c != ':') return 0;
  }
  for (int i = 0; i < n; ++i) {
    const Move m = legal[i];
    const Square from = true_square(pos, move_from(m));
    if ((m & MOVE_CASTLING) || move_piece(m) != piece || true_square(pos, move_to(m)) != to ||
        move_promotion(m) != promotion || (from_file >= 0 && file_of(from) != from_file) ||
        (from_rank >= 0 && rank_of(from) != from_rank))
      continue;
    if (!take(m)) return 0;
  }
  return found;
}
