#include "board/fen_write.h"

#include <cstdio>

namespace {

constexpr char PIECE_LETTERS[] = " pnbrqk";

// Letter of one right (file 0..7), or nothing when the right is gone.
char* write_right(char* out, int rook_file, char classic_letter, bool white, bool chess960) {
  if (rook_file == NO_RIGHT) return out;
  const bool classic = !chess960 && (classic_letter == 'K' ? rook_file == 7 : rook_file == 0);
  if (classic)
    *out++ = white ? classic_letter : char(classic_letter | 0x20);
  else
    *out++ = char((white ? 'A' : 'a') + rook_file);
  return out;
}

}  // namespace

void position_to_fen(const Position& pos, char* out, bool chess960) {
  // Back to White's frame: then own is White and the low castling byte White's rights.
  Position p = pos;
  const bool black_to_move = pos.flags & FLAG_BLACK;
  if (black_to_move) flip_position(p);

  char* o = out;
  for (int rank = 7; rank >= 0; --rank) {
    int empty = 0;
    for (int file = 0; file < 8; ++file) {
      const Square s = rank * 8 + file;
      const int type = piece_on(p, s);
      if (type == NONE) {
        ++empty;
        continue;
      }
      if (empty) *o++ = char('0' + empty), empty = 0;
      const char letter = PIECE_LETTERS[type];
      *o++ = (p.bb[OWN] & bit(s)) ? char(letter & ~0x20) : letter;
    }
    if (empty) *o++ = char('0' + empty);
    if (rank) *o++ = '/';
  }

  *o++ = ' ';
  *o++ = black_to_move ? 'b' : 'w';
  *o++ = ' ';
  char* const rights = o;
  o = write_right(o, own_king_side_rook(p), 'K', true, chess960);
  o = write_right(o, own_queen_side_rook(p), 'Q', true, chess960);
  o = write_right(o, enemy_king_side_rook(p), 'K', false, chess960);
  o = write_right(o, enemy_queen_side_rook(p), 'Q', false, chess960);
  if (o == rights) *o++ = '-';

  *o++ = ' ';
  const int ep = ep_file(pos);
  if (ep < 8) {
    *o++ = char('a' + ep);
    *o++ = black_to_move ? '3' : '6';
  } else {
    *o++ = '-';
  }
  std::snprintf(o, size_t(FEN_BUFFER_SIZE - (o - out)), " %d 1", pos.rule50);
}
