// Lists what a Polyglot book holds for one position:
//   bookprobe BOOK "FEN"|startpos [--chess960]
// One line per entry in file order (move as the engine prints it, weight, share of the
// weights), then the move the engine plays from it with BookRandom off.
#include <cstdio>
#include <cstring>
#include <string>

#include "board/board_tables.h"
#include "board/fen_check.h"
#include "board/move_text.h"
#include "board/position.h"
#include "book/book_entries.h"
#include "book/book_move.h"
#include "book/polyglot_key.h"
#include "protocol/engine_options.h"

namespace {

int usage() {
  std::fprintf(stderr, "usage: bookprobe BOOK \"FEN\"|startpos [--chess960]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  const char* book = nullptr;
  const char* fen = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--chess960"))
      engine_options.UCI_Chess960 = true;
    else if (!book)
      book = argv[i];
    else if (!fen)
      fen = argv[i];
    else
      return usage();
  }
  if (!book || !fen) return usage();
  std::string fen_text = std::strcmp(fen, "startpos") ? fen : START_FEN;
  if (const char* reason = fen_check(fen_text.c_str())) {
    std::fprintf(stderr, "bad FEN: %s\n", reason);
    return 2;
  }
  drop_unusable_rights(fen_text.data(), engine_options.UCI_Chess960);
  Position pos;
  read_fen(pos, fen_text.c_str());

  std::FILE* file = std::fopen(book, "rb");
  if (!file) {
    std::fprintf(stderr, "cannot open %s\n", book);
    return 1;
  }
  const uint64_t key = polyglot_key(pos);
  std::printf("key %016llx\n", (unsigned long long)key);
  BookCandidates found;
  const bool in_book = read_book_candidates(file, key, found);
  std::fclose(file);
  if (!in_book) {
    std::printf("not in the book\nengine plays none: it searches\n");
    return 0;
  }
  char text[8];
  for (int i = 0; i < found.count; ++i) {
    const BookCandidate& c = found.list[i];
    move_text(pos, book_move_to_move(pos, c.move), text);
    const double share = found.weight_sum ? 100.0 * c.weight / found.weight_sum : 0.0;
    std::printf("%-6s weight %5u share %5.1f%%\n", text, unsigned(c.weight), share);
  }
  const BookMove chosen = choose_book_move(found, false);
  const Move m = chosen ? book_move_to_move(pos, chosen) : 0;
  if (m) {
    move_text(pos, m, text);
    std::printf("engine plays %s\n", text);
  } else {
    std::printf("engine plays none: it searches\n");
  }
  return 0;
}
