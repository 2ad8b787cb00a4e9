#include "book/book_move.h"

#include <cstdio>
#include <cstdlib>

#include "board/move.h"
#include "book/polyglot_key.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/node_check.h"
#include "search/thread_data.h"

BookMove weighted_book_move(const BookCandidates& found, uint32_t r) {
  int64_t rest = r;
  for (int i = 0; i < found.count; ++i) {
    rest -= found.list[i].weight;
    if (rest < 0) return found.list[i].move;
  }
  return 0;
}

BookMove choose_book_move(const BookCandidates& found, bool random) {
  if (found.weight_sum == 0) return 0;
  if (!random) return found.best_move;
  // A new seed at every lookup, from the clock's milliseconds taken modulo 2^32.
  std::srand(unsigned(now_ms()));
  return weighted_book_move(found, uint32_t(std::rand()) % found.weight_sum);
}

Move book_move_to_move(const Position& pos, BookMove book_move) {
  const int flip = (pos.flags & FLAG_BLACK) ? 56 : 0;
  const Square from = ((book_move >> 6) & 63) ^ flip;
  const Square to = (book_move & 63) ^ flip;
  // The king on its own rook's square: the rook's file comes from the rights, so a Chess960
  // start works the same. Only a right still held makes it a castling.
  if (from == own_king_square(pos)) {
    if (own_king_side_rook(pos) != NO_RIGHT && to == own_king_side_rook(pos))
      return make_move_word(KING, from, 6) | MOVE_CASTLING;
    if (own_queen_side_rook(pos) != NO_RIGHT && to == own_queen_side_rook(pos))
      return make_move_word(KING, from, 2) | MOVE_CASTLING;
  }
  // Piece and capture stay empty: the word is only printed. move_text writes the promotion
  // letter when the promotion flag is set; codes above 4 are not promotions.
  const int code = (book_move >> 12) & 7;
  const Move m = make_move_word(NONE, from, to);
  return code >= 1 && code <= 4 ? with_promotion(m, code + 1) : m;
}

Move lookup_book_move(const char* path, const Position& pos, bool random) {
  std::FILE* file = std::fopen(path, "rb");
  if (!file) return 0;
  BookCandidates found;
  const bool in_book = read_book_candidates(file, polyglot_key(pos), found);
  std::fclose(file);
  if (!in_book) return 0;
  const BookMove chosen = choose_book_move(found, random);
  return chosen ? book_move_to_move(pos, chosen) : 0;
}

Move probe_book() {
  // An infinite search is analysis: the book would end it at once.
  if (!engine_options.OwnBook || search_limits.ponder_mode.load(std::memory_order_relaxed) == PONDER_INFINITE)
    return 0;
  return lookup_book_move(engine_options.BookFile, *search_limits.thread_blocks[0].current_position,
                          engine_options.BookRandom);
}
