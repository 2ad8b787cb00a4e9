#include "helpers/board_fixtures.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>
#include <vector>

#include "board/attacks.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "board/zobrist.h"
#include "protocol/engine_options.h"

std::unique_ptr<ThreadData> thread_at(const char* fen, const char* moves) {
  auto thread = std::make_unique<ThreadData>();
  if (moves) {
    std::vector<char> buffer(moves, moves + std::strlen(moves) + 1);
    set_position(*thread, fen, buffer.data());
  } else {
    set_position(*thread, fen, nullptr);
  }
  return thread;
}

Square square_named(const char* name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

Square frame_square(const Position& pos, const char* name) {
  return square_named(name) ^ ((pos.flags & FLAG_BLACK) ? 56 : 0);
}

Move move_named(const Position& pos, const char* token) {
  Move m = parse_move_token(pos, token);
  mark_gives_check(pos, &m);
  return m;
}

uint64_t key_from_scratch(const Position& pos) {
  const bool black_to_move = pos.flags & FLAG_BLACK;
  uint64_t key = 0;
  for (Square q = 0; q < 64; ++q) {
    if (!(pos.bb[OCCUPIED] & bit(q))) continue;
    int type = 0;
    for (int t = 1; t <= 6; ++t)
      if (pos.bb[t] & bit(q)) type = t;
    const bool own = pos.bb[OWN] & bit(q);
    const bool white = own != black_to_move;
    const Square true_square = black_to_move ? q ^ 56 : q;
    const Square colour_square = white ? true_square : true_square ^ 56;
    key ^= ZOBRIST[(type + (white ? 0 : 8)) * 64 + colour_square];
  }
  const int white_rights = black_to_move ? pos.castling >> 8 : pos.castling & 0xFF;
  const int black_rights = black_to_move ? pos.castling & 0xFF : pos.castling >> 8;
  if ((white_rights & 15) != 8) key ^= ZOBRIST[1024];
  if ((black_rights & 15) != 8) key ^= ZOBRIST[1025];
  if ((white_rights >> 4) != 8) key ^= ZOBRIST[1026];
  if ((black_rights >> 4) != 8) key ^= ZOBRIST[1027];
  if ((pos.flags >> 4) != 8) key ^= ZOBRIST[1028 + (pos.flags >> 4)];
  if (black_to_move) key ^= ZOBRIST[1036];
  return key;
}

Bitboard slow_attackers(const Position& pos, Square s, Bitboard by) {
  // Each piece type looks from s with its own move; the pawns of `by` are told apart by colour.
  const Bitboard occ = pos.bb[OCCUPIED];
  Bitboard result = 0;
  const int file = file_of(s), rank = rank_of(s);
  auto at = [&](int f, int r) -> Bitboard { return f >= 0 && f < 8 && r >= 0 && r < 8 ? bit(r * 8 + f) : 0; };
  const int knight[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
  for (const auto& d : knight) result |= at(file + d[0], rank + d[1]) & pos.bb[KNIGHT];
  for (int df = -1; df <= 1; ++df)
    for (int dr = -1; dr <= 1; ++dr)
      if (df || dr) result |= at(file + df, rank + dr) & pos.bb[KING];
  // Own pawns (of the side to move) attack upwards, enemy pawns downwards.
  const Bitboard own_pawns = pos.bb[PAWN] & pos.bb[OWN], enemy_pawns = pos.bb[PAWN] & ~pos.bb[OWN];
  result |= (at(file - 1, rank - 1) | at(file + 1, rank - 1)) & own_pawns;
  result |= (at(file - 1, rank + 1) | at(file + 1, rank + 1)) & enemy_pawns;
  const int lines[8][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
  for (int i = 0; i < 8; ++i) {
    const Bitboard sliders = pos.bb[QUEEN] | (i < 4 ? pos.bb[ROOK] : pos.bb[BISHOP]);
    for (int f = file + lines[i][0], r = rank + lines[i][1]; at(f, r); f += lines[i][0], r += lines[i][1]) {
      if (occ & at(f, r)) {
        result |= at(f, r) & sliders;
        break;
      }
    }
  }
  return result & by;
}

std::string record_difference(const Position& a, const Position& b) {
  std::ostringstream out;
  out << std::hex;
  for (int i = 0; i < 8; ++i)
    if (a.bb[i] != b.bb[i]) out << "bb[" << i << "] " << a.bb[i] << " vs " << b.bb[i] << "; ";
  if (a.key != b.key) out << "key " << a.key << " vs " << b.key << "; ";
  if (a.castling != b.castling) out << "castling " << a.castling << " vs " << b.castling << "; ";
  if ((a.flags & ~FLAG_REPETITION) != (b.flags & ~FLAG_REPETITION))
    out << "flags " << int(a.flags) << " vs " << int(b.flags) << "; ";
  if (a.rule50 != b.rule50) out << std::dec << "rule50 " << int(a.rule50) << " vs " << int(b.rule50) << "; ";
  return out.str();
}

std::string mirrored_fen(const std::string& fen) {
  std::istringstream in(fen);
  std::string board, side, castling, ep, rest;
  in >> board >> side >> castling >> ep;
  std::getline(in, rest);
  std::vector<std::string> ranks;
  std::string rank;
  for (char c : board + "/") {
    if (c == '/') {
      ranks.push_back(rank);
      rank.clear();
    } else {
      rank += char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
    }
  }
  std::string out;
  for (auto it = ranks.rbegin(); it != ranks.rend(); ++it) out += (out.empty() ? "" : "/") + *it;
  std::string rights;
  for (char c : castling) rights += c == '-' ? c : char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
  // Keep the white letters first, as a FEN writes them.
  std::stable_partition(rights.begin(), rights.end(), [](char c) { return std::isupper(c); });
  if (ep != "-") ep[1] = char('1' + '8' - ep[1]);
  return out + " " + (side == "w" ? "b" : "w") + " " + rights + " " + ep + rest;
}

std::string mirrored_move(const std::string& token) {
  std::string m = token;
  m[1] = char('1' + '8' - m[1]);
  m[3] = char('1' + '8' - m[3]);
  return m;
}


Chess960Option::Chess960Option(bool on) : saved(engine_options.UCI_Chess960) { engine_options.UCI_Chess960 = on; }
Chess960Option::~Chess960Option() { engine_options.UCI_Chess960 = saved; }
