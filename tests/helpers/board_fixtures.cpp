#include "helpers/board_fixtures.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

#include "board/fen_write.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "board/zobrist.h"
#include "protocol/engine_options.h"

std::unique_ptr<ThreadData> thread_at(const char* fen, const char* moves) {
  auto thread = std::make_unique<ThreadData>();
  std::string list = moves ? moves : "";  // the move list is cut up in place
  set_position(*thread, fen, moves ? list.data() : nullptr);
  return thread;
}

Position position_of(const char* fen) {
  Position pos;
  read_fen(pos, fen);
  return pos;
}

Square square_named(const char* name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

Move move_named(const Position& pos, const char* token) {
  Move m = parse_move_token(pos, token);
  mark_gives_check(pos, &m);
  return m;
}

std::string fen_of(const Position& pos, bool chess960) {
  char text[FEN_BUFFER_SIZE];
  position_to_fen(pos, text, chess960);
  return text;
}

uint64_t key_from_scratch(const Position& pos) {
  const bool black_to_move = pos.flags & FLAG_BLACK;
  uint64_t key = black_to_move ? ZOBRIST[1036] : 0;
  for (Square q = 0; q < 64; ++q) {
    // A piece's square counts in its own colour's frame: the true square for White, XOR 56 for Black.
    const bool white = bool(pos.bb[OWN] & bit(q)) != black_to_move;
    const Square colour_square = (black_to_move ? q ^ 56 : q) ^ (white ? 0 : 56);
    if (piece_on(pos, q)) key ^= ZOBRIST[(piece_on(pos, q) + (white ? 0 : 8)) * 64 + colour_square];
  }
  // Rights by colour: White's king side, Black's king side, White's queen side, Black's queen side.
  const int rights[2] = {black_to_move ? pos.castling >> 8 : pos.castling & 0xFF,
                         black_to_move ? pos.castling & 0xFF : pos.castling >> 8};
  for (int i = 0; i < 4; ++i)
    if (((rights[i & 1] >> (4 * (i >> 1))) & 15) != 8) key ^= ZOBRIST[1024 + i];
  if ((pos.flags >> 4) != 8) key ^= ZOBRIST[1028 + (pos.flags >> 4)];
  return key;
}

std::string record_difference(const Position& a, const Position& b) {
  std::ostringstream out;
  out << std::hex;
  for (int i = 0; i < 8; ++i)
    if (a.bb[i] != b.bb[i]) out << "bb[" << i << "] " << a.bb[i] << " vs " << b.bb[i] << "; ";
  if (a.key != b.key) out << "key " << a.key << " vs " << b.key << "; ";
  if (a.castling != b.castling) out << "castling " << a.castling << " vs " << b.castling << "; ";
  if ((a.flags ^ b.flags) & ~FLAG_REPETITION) out << "flags " << int(a.flags) << " vs " << int(b.flags) << "; ";
  if (a.rule50 != b.rule50) out << std::dec << "rule50 " << int(a.rule50) << " vs " << int(b.rule50) << "; ";
  return out.str();
}

// Features of a position in its own frame: planes 0..4 for own pieces, 5..9 for the
// opponent's (kings have none), and the codes of the rights still held.
static std::set<uint32_t> features_of(const Position& p) {
  std::set<uint32_t> s;
  for (int type = PAWN; type < KING; ++type)
    for (Bitboard b = p.bb[type]; b; b &= b - 1)
      s.insert(uint32_t(((p.bb[OWN] & lowest_bit(b)) ? type - 1 : type + 4) * 64 + lsb(b)));
  const uint32_t codes[4] = {RIGHT_LOST_OWN_KING_SIDE, RIGHT_LOST_OWN_QUEEN_SIDE, RIGHT_LOST_ENEMY_KING_SIDE,
                             RIGHT_LOST_ENEMY_QUEEN_SIDE};
  for (int i = 0; i < 4; ++i)
    if (((p.castling >> (4 * i)) & 15) != NO_RIGHT) s.insert(codes[i]);
  return s;
}

std::string delta_fault(const Position& before, const Position& after, Move m, const FeatureDelta& d) {
  if (d.king_moved != (move_piece(m) == KING && move_from(m) != move_to(m))) return "king_moved";
  if (d.added_count < 0 || d.added_count > 8 || d.removed_count < 0 || d.removed_count > 8) return "counts";
  std::set<uint32_t> s = features_of(before);
  for (int i = 0; i < d.removed_count; ++i)
    if (!s.erase(d.removed[i])) return "removed entry not present: " + std::to_string(d.removed[i]);
  for (int i = 0; i < d.added_count; ++i)
    if (!s.insert(d.added[i]).second) return "added entry already present: " + std::to_string(d.added[i]);
  Position mover_view = after;
  flip_position(mover_view);
  return s == features_of(mover_view) ? "" : "features differ from those of the new position";
}

std::string mirrored_fen(const std::string& fen) {
  std::istringstream in(fen);
  std::string board, side, castling, ep, rest, out, rank;
  in >> board >> side >> castling >> ep;
  std::getline(in, rest);
  auto swap_case = [](char c) { return char(std::isupper(c) ? std::tolower(c) : std::toupper(c)); };
  for (char c : board + "/") {
    if (c != '/') {
      rank += swap_case(c);
    } else {
      out = out.empty() ? rank : rank + "/" + out;
      rank.clear();
    }
  }
  std::transform(castling.begin(), castling.end(), castling.begin(), swap_case);
  // Keep the white letters first, as a FEN writes them.
  std::stable_partition(castling.begin(), castling.end(), [](char c) { return std::isupper(c); });
  if (ep != "-") ep[1] = char('1' + '8' - ep[1]);
  return out + " " + (side == "w" ? "b" : "w") + " " + castling + " " + ep + rest;
}

std::string mirrored_move(const std::string& token) {
  std::string m = token;
  m[1] = char('1' + '8' - m[1]);
  m[3] = char('1' + '8' - m[3]);
  return m;
}

Chess960Option::Chess960Option(bool on) : saved(engine_options.UCI_Chess960) { engine_options.UCI_Chess960 = on; }
Chess960Option::~Chess960Option() { engine_options.UCI_Chess960 = saved; }
