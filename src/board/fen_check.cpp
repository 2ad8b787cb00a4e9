#include "board/fen_check.h"

#include <cstdlib>
#include <cstring>

#include "board/position.h"

namespace {

constexpr int MAX_FEN_LENGTH = 135;
constexpr const char* FIELD_BREAKS = " \t\r\n";

bool is_break(char c) { return c && std::strchr(FIELD_BREAKS, c); }

// Where the first six blank-separated fields of a FEN start and how long they are.
struct FenSpans {
  char* start[6];
  int length[6];
  int count;
};

FenSpans find_fields(const char* fen) {
  FenSpans spans{};
  char* c = const_cast<char*>(fen);
  while (spans.count < 6) {
    while (is_break(*c)) ++c;
    if (!*c) break;
    spans.start[spans.count] = c;
    while (*c && !is_break(*c)) ++c;
    spans.length[spans.count] = int(c - spans.start[spans.count]);
    ++spans.count;
  }
  return spans;
}

// Board letters by true square, 0 for an empty square; null or the reason it can't be read.
const char* read_board(const char* field, int length, char squares[64]) {
  std::memset(squares, 0, 64);
  int counter = 0;  // squares in reading order, from a8
  for (int i = 0; i < length; ++i) {
    const char c = field[i];
    if (c >= '1' && c <= '8') {
      counter += c - '0';
    } else if (c == '/') {
      continue;
    } else if (std::strchr("KQRBNPkqrbnp", c) && c) {
      if (counter >= 64) return "board runs past the last square";
      squares[counter ^ 56] = c;
      ++counter;
    } else {
      return "unknown board character";
    }
  }
  return counter > 64 ? "board runs past the last square" : nullptr;
}

int count_of(const char squares[64], char piece) {
  int n = 0;
  for (int s = 0; s < 64; ++s) n += squares[s] == piece;
  return n;
}

int square_of(const char squares[64], char piece) {
  for (int s = 0; s < 64; ++s)
    if (squares[s] == piece) return s;
  return -1;
}

// At most eight pawns, and no more extra pieces than pawns that can have promoted.
bool material_reachable(const char squares[64], const char* letters) {
  const int pawns = count_of(squares, letters[0]);
  int extra = 0;
  const int start_counts[4] = {2, 2, 2, 1};  // knights, bishops, rooks, queens
  for (int i = 0; i < 4; ++i) {
    const int n = count_of(squares, letters[i + 1]);
    if (n > start_counts[i]) extra += n - start_counts[i];
  }
  return pawns <= 8 && extra <= 8 - pawns;
}

// The file of the rook furthest from the king on that side of it on the colour's first
// rank, or -1 when there is none.
int outermost_rook_file(const char squares[64], bool white, int king_file, bool king_side) {
  const char* rank = squares + (white ? 0 : 56);
  const char rook = white ? 'R' : 'r';
  if (king_side) {
    for (int f = 7; f > king_file; --f)
      if (rank[f] == rook) return f;
  } else {
    for (int f = 0; f < king_file; ++f)
      if (rank[f] == rook) return f;
  }
  return -1;
}

// Replaces the span [start, start + length) of a terminated text by replacement.
void replace_span(char* start, int length, const char* replacement) {
  const int n = int(std::strlen(replacement));
  std::memmove(start + n, start + length, std::strlen(start + length) + 1);
  std::memcpy(start, replacement, size_t(n));
}

}  // namespace

const char* fen_check(const char* fen) {
  int length = int(std::strlen(fen));
  while (length > 0 && is_break(fen[length - 1])) --length;
  if (length > MAX_FEN_LENGTH) return "FEN longer than 135 characters";
  const FenSpans spans = find_fields(fen);
  if (spans.count < 4) return "FEN has fewer than four fields";

  char squares[64];
  if (const char* reason = read_board(spans.start[0], spans.length[0], squares)) return reason;
  if (count_of(squares, 'K') != 1 || count_of(squares, 'k') != 1) return "each side needs exactly one king";
  for (int f = 0; f < 8; ++f)
    if (squares[f] == 'P' || squares[f] == 'p' || squares[56 + f] == 'P' || squares[56 + f] == 'p')
      return "pawn on the first or last rank";
  if (!material_reachable(squares, "PNBRQ") || !material_reachable(squares, "pnbrq"))
    return "more pieces than a game can reach";
  const char ep = spans.start[3][0];
  if (ep != '-' && (ep < 'a' || ep > 'h')) return "en-passant field is neither - nor a file";

  const Square white_king = square_of(squares, 'K'), black_king = square_of(squares, 'k');
  if (std::abs(file_of(white_king) - file_of(black_king)) <= 1 &&
      std::abs(rank_of(white_king) - rank_of(black_king)) <= 1)
    return "kings stand next to each other";
  Position pos;
  read_fen(pos, fen);
  flip_position(pos);  // now the side not to move is own
  if (checkers(pos)) return "side not to move is in check";
  return nullptr;
}

void drop_unusable_rights(char* fen, bool chess960) {
  FenSpans spans = find_fields(fen);
  if (spans.count < 4) return;
  char squares[64];
  if (read_board(spans.start[0], spans.length[0], squares)) return;
  const bool black_to_move = spans.start[1][0] == 'b';

  if (spans.start[2][0] != '-') {
    char kept[16] = {};
    int kept_count = 0;
    bool named[2][2] = {};  // by colour, then king side
    for (int i = 0; i < spans.length[2]; ++i) {
      char c = spans.start[2][i];
      char letter = c == 'K' ? 'H' : c == 'Q' ? 'A' : c == 'k' ? 'h' : c == 'q' ? 'a' : c;
      const bool white = letter >= 'A' && letter <= 'H';
      if (!white && !(letter >= 'a' && letter <= 'h')) continue;
      const int first_rank = white ? 0 : 56;
      const Square king = square_of(squares, white ? 'K' : 'k');
      const int king_file = file_of(king);
      if (chess960 && c != letter) {
        // X-FEN: K and Q name the outermost rook on that side of the king. The board code
        // reads them as the h- and a-file, so any other file is written as its letter.
        const int outermost = outermost_rook_file(squares, white, king_file, c == 'K' || c == 'k');
        if (outermost < 0) continue;
        const char named_file = char((white ? 'A' : 'a') + outermost);
        if (named_file != letter) c = letter = named_file;
      }
      const int rook_file = white ? letter - 'A' : letter - 'a';
      if (king - first_rank < 1 || king - first_rank > 6) continue;
      if (squares[first_rank + rook_file] != (white ? 'R' : 'r')) continue;
      if (!chess960 && (king_file != 4 || (rook_file != 0 && rook_file != 7))) continue;
      bool& seen = named[white ? 0 : 1][rook_file > king_file ? 1 : 0];
      if (seen || kept_count == 15) continue;
      seen = true;
      kept[kept_count++] = c;
    }
    if (kept_count < spans.length[2] || std::strncmp(kept, spans.start[2], size_t(kept_count)) != 0) {
      replace_span(spans.start[2], spans.length[2], kept_count ? kept : "-");
      spans = find_fields(fen);
    }
  }

  const char ep = spans.start[3][0];
  if (ep >= 'a' && ep <= 'h') {
    // The pawn that moved two squares stands beside the capturer's rank, the two squares
    // it passed over are empty.
    const int f = ep - 'a';
    const bool pushed = black_to_move ? squares[24 + f] == 'P' && !squares[16 + f] && !squares[8 + f]
                                      : squares[32 + f] == 'p' && !squares[40 + f] && !squares[48 + f];
    if (!pushed) replace_span(spans.start[3], spans.length[3], "-");
  }
}
