#include "board/move_text.h"

#include "board/move.h"
#include "protocol/engine_options.h"

void move_text(const Position& pos, Move m, char* text) {
  Square from = move_from(m), to = move_to(m);
  int to_file = file_of(to), to_rank = rank_of(to);
  if ((m & MOVE_CASTLING) && engine_options.UCI_Chess960) {
    to_file = to == KING_SIDE_KING_TO ? own_king_side_rook(pos) : own_queen_side_rook(pos);
    to_rank = 0;
  }
  int from_rank = rank_of(from);
  if (pos.flags & FLAG_BLACK) from_rank = 7 - from_rank, to_rank = 7 - to_rank;
  char* t = text;
  *t++ = char('a' + file_of(from));
  *t++ = char('1' + from_rank);
  *t++ = char('a' + to_file);
  *t++ = char('1' + to_rank);
  if (m & MOVE_PROMOTION) *t++ = "\0\0nbrq"[move_promotion(m)];
  *t = 0;
}

Move parse_move_token(const Position& pos, const char* token) {
  int flip = (pos.flags & FLAG_BLACK) ? 56 : 0;
  Square from = ((((token[1] - '1') * 8 + (token[0] - 'a')) & 255) ^ flip) & 63;
  Square to = ((((token[3] - '1') * 8 + (token[2] - 'a')) & 255) ^ flip) & 63;
  if (pos.bb[ROOK] & pos.bb[OWN] & bit(to)) {
    Square king_to = to == own_king_side_rook(pos) ? KING_SIDE_KING_TO : QUEEN_SIDE_KING_TO;
    return make_move_word(KING, from, king_to) | MOVE_CASTLING;
  }
  int promotion = 0;
  switch (token[4]) {
    case 'q': promotion = QUEEN; break;
    case 'r': promotion = ROOK; break;
    case 'b': promotion = BISHOP; break;
    case 'n': promotion = KNIGHT; break;
    default: break;
  }
  int captured = piece_on(pos, to);
  int piece = piece_on(pos, from);
  Move m = make_move_word(piece, from, to) | Move(captured) << 15 | Move(promotion) << 18;
  if (piece == PAWN) {
    if (to > 55) {
      m |= MOVE_PROMOTION;
    } else if (ep_file(pos) != NO_EP_FILE && to == ep_file(pos) + 40) {
      m |= MOVE_EN_PASSANT | Move(PAWN) << 15;
      captured = PAWN;
    }
  } else if (piece == KING && (to - from == 2 || to - from == -2)) {
    m |= MOVE_CASTLING;
  }
  if (captured) m |= MOVE_CAPTURE;
  return m;
}
