// Reading a FEN into slot 0 of a thread's position stack.
#include <cstdlib>
#include <cstring>

#include "board/move_list.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

namespace {

int piece_type_of_letter(char c) {
  switch (c | 0x20) {
    case 'k': return KING;
    case 'q': return QUEEN;
    case 'r': return ROOK;
    case 'b': return BISHOP;
    case 'n': return KNIGHT;
    default: return PAWN;  // "p", "P" and anything unknown
  }
}

bool is_black_letter(char c) { return c == 'k' || c == 'q' || c == 'r' || c == 'b' || c == 'n' || c == 'p'; }

// The placement field, from a8 to h1, with White as the side to move.
void read_placement(Position& pos, const char* field) {
  int counter = 0;
  for (const char* c = field; *c && counter < 64; ++c) {
    if (*c >= '1' && *c <= '8') {
      counter += *c - '0';
      continue;
    }
    if (*c == '/') continue;
    int type = piece_type_of_letter(*c);
    bool black = is_black_letter(*c);
    Square s = counter ^ 56;
    pos.bb[type] |= bit(s);
    pos.bb[OCCUPIED] |= bit(s);
    if (!black) pos.bb[OWN] |= bit(s);
    pos.key ^= ZOBRIST[((type + (black ? 8 : 0)) << 6) + (black ? counter : s)];
    ++counter;
  }
}

// KQkq or rook files (Shredder or X-FEN); a right's wing is the side of the king its rook is on.
void read_castling(Position& pos, const char* field) {
  if (field[0] == '-') return;
  for (const char* c = field; *c; ++c) {
    char letter = *c == 'K' ? 'H' : *c == 'Q' ? 'A' : *c == 'k' ? 'h' : *c == 'q' ? 'a' : *c;
    bool white = letter >= 'A' && letter <= 'H';
    if (!white && !(letter >= 'a' && letter <= 'h')) continue;
    int rook_file = white ? letter - 'A' : letter - 'a';
    Bitboard kings = pos.bb[KING] & (white ? pos.bb[OWN] : enemy_pieces(pos));
    int king_file = kings ? file_of(lsb(kings)) : 0;
    bool king_side = rook_file > king_file;
    int shift = white ? (king_side ? OWN_KING_SIDE_SHIFT : OWN_QUEEN_SIDE_SHIFT)
                      : (king_side ? ENEMY_KING_SIDE_SHIFT : ENEMY_QUEEN_SIDE_SHIFT);
    set_castling_field(pos.castling, shift, rook_file);
    pos.key ^= ZOBRIST[castling_key_index(!white, king_side)];
  }
}

// The en-passant file is kept only when a pawn of the side to move can capture there.
void read_en_passant(Position& pos, const char* field, bool black_to_move) {
  if (field[0] == '-') return;
  int f = (field[0] - 'a') & 7;
  Bitboard capturers = black_to_move ? EP_RANK4[f] & enemy_pieces(pos) & pos.bb[PAWN]
                                     : EP_RANK5[f] & pos.bb[OWN] & pos.bb[PAWN];
  if (capturers) {
    pos.flags = flags_with_ep(pos.flags, f);
    pos.key ^= ZOBRIST[ZOBRIST_EP + f];
  }
}

}  // namespace

void read_fen(Position& pos, const char* fen) {
  char buffer[136];
  std::strncpy(buffer, fen, sizeof buffer - 1);
  buffer[sizeof buffer - 1] = 0;
  std::memset(pos.bb, 0, sizeof pos.bb);
  pos.key = 0;
  pos.castling = NO_CASTLING;
  pos.flags = FLAG_NO_EP;
  pos.rule50 = 0;

  char* fields[5] = {};
  char* save = nullptr;
  for (int i = 0; i < 5; ++i) fields[i] = strtok_r(i == 0 ? buffer : nullptr, " \t\r\n", &save);
  if (!fields[0] || !fields[1] || !fields[2] || !fields[3]) return;

  read_placement(pos, fields[0]);
  read_castling(pos, fields[2]);
  const bool black_to_move = fields[1][0] == 'b';
  read_en_passant(pos, fields[3], black_to_move);
  if (fields[4]) pos.rule50 = uint8_t(std::atoi(fields[4]));

  if (black_to_move) {
    flip_position(pos);
    pos.flags ^= FLAG_BLACK;
    pos.key ^= ZOBRIST[ZOBRIST_SIDE];
  }
  if (checkers(pos)) pos.flags |= FLAG_IN_CHECK;
}

int set_position(ThreadData& thread, const char* fen, char* moves) {
  thread.current_position = thread.position_stack;
  read_fen(thread.position_stack[0], fen);
  search_limits.game_last_move = search_limits.game_second_last_move = 0;
  return moves ? apply_move_list(thread, moves) : 0;
}
