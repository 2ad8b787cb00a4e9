// Lists what a Polyglot book holds for one position:
//   bookprobe BOOK "FEN"|startpos [--chess960]
// One line per entry in file order (move as the engine prints it, weight, share of the
// weights), then the move the engine plays from it with BookRandom off. A file that can't
// be a Polyglot book (a folder, empty, not whole 16-byte entries, keys out of order) is
// named as such: the engine would find nothing in it, in silence. Exit status: 0 for an
// answer (in the book or not), 1 for a file that is no usable book, 2 for a bad FEN or
// command line.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
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

constexpr const char* USAGE =
    "usage: bookprobe BOOK \"FEN\"|startpos [--chess960]\n"
    "Exit status: 0 answered, 1 BOOK is no usable Polyglot book, 2 a bad FEN or command line.\n";

int usage() {
  std::fputs(USAGE, stderr);
  return 2;
}

// Null when the file looks like a Polyglot book: a file of whole 16-byte entries whose
// big-endian keys never fall; else why not, in `why`.
const char* book_fault(const char* path, std::string& why) {
  struct stat status;
  if (stat(path, &status) != 0) return (why = std::string("cannot open it: ") + std::strerror(errno)).c_str();
  if (S_ISDIR(status.st_mode)) return "it is a folder, not a book file";
  if (!S_ISREG(status.st_mode)) return "it is not a file";
  if (status.st_size == 0) return "it is empty";
  if (status.st_size % 16) {
    why = "its " + std::to_string(status.st_size) + " bytes are not whole 16-byte entries";
    return why.c_str();
  }
  std::FILE* file = std::fopen(path, "rb");
  if (!file) return (why = std::string("cannot open it: ") + std::strerror(errno)).c_str();
  uint64_t previous = 0, entry = 0;
  uint8_t bytes[16];
  while (std::fread(bytes, 1, 16, file) == 16) {
    uint64_t key = 0;
    for (int i = 0; i < 8; ++i) key = key << 8 | bytes[i];
    if (key < previous) {
      std::fclose(file);
      why = "its keys are not sorted (entry " + std::to_string(entry) + " comes before the one above it)";
      return why.c_str();
    }
    previous = key;
    ++entry;
  }
  std::fclose(file);
  return nullptr;
}

// What the book holds for the position, each entry's share of the weights, and the move the
// engine plays from it.
void print_book_answer(const Position& pos, const BookCandidates& found) {
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
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  const char* book = nullptr;
  const char* fen = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "-h") || !std::strcmp(argv[i], "--help")) {
      std::fputs(USAGE, stdout);
      return 0;
    }
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

  std::string why;
  if (const char* fault = book_fault(book, why)) {
    std::fprintf(stderr, "%s is no Polyglot book: %s\n", book, fault);
    return 1;
  }
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
  print_book_answer(pos, found);
  return 0;
}
