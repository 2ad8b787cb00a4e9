#include "tbgen/signature.h"

#include <stdexcept>

namespace {
// Letters strongest first; the registry writes each side in this order.
constexpr char LETTERS[] = "KQRBNP";
constexpr int LETTER_KIND[] = {KING, QUEEN, ROOK, BISHOP, KNIGHT, PAWN};

int kind_of_letter(char c) {
  for (int i = 0; i < 6; ++i)
    if (LETTERS[i] == c) return LETTER_KIND[i];
  throw std::runtime_error(std::string("bad piece letter ") + c);
}

std::string side_letters(const Material& m, int side) {
  std::string s;
  for (int i = 0; i < 6; ++i) s.append(m.count[side][LETTER_KIND[i]], LETTERS[i]);
  return s;
}

int letter_rank(char c) {
  for (int i = 0; i < 6; ++i)
    if (LETTERS[i] == c) return i;
  return 6;
}
}  // namespace

Material parse_signature(const std::string& name) {
  Material m{};
  int side = 0;
  for (char c : name) {
    if (c == 'v') {
      side = 1;
      continue;
    }
    ++m.count[side][kind_of_letter(c)];
  }
  if (m.count[0][KING] != 1 || m.count[1][KING] != 1) throw std::runtime_error("a signature needs two kings: " + name);
  return m;
}

std::string signature_name(const Material& m) { return side_letters(m, 0) + "v" + side_letters(m, 1); }

int men_of(const Material& m) {
  int n = 0;
  for (int s = 0; s < 2; ++s)
    for (int k = PAWN; k <= KING; ++k) n += m.count[s][k];
  return n;
}

bool has_pawns(const Material& m) { return m.count[0][PAWN] + m.count[1][PAWN] > 0; }

std::string canonical_name(const Material& m, bool* swapped) {
  std::string a = side_letters(m, 0), b = side_letters(m, 1);
  bool swap = false;
  if (a.size() != b.size()) {
    swap = b.size() > a.size();
  } else {
    for (size_t i = 0; i < a.size(); ++i)
      if (a[i] != b[i]) {
        swap = letter_rank(b[i]) < letter_rank(a[i]);
        break;
      }
  }
  if (swapped) *swapped = swap;
  return swap ? b + "v" + a : a + "v" + b;
}

std::vector<std::string> small_signatures() {
  const char* order = "QRBNP";
  std::vector<std::string> names;
  for (int i = 0; i < 5; ++i) names.push_back(std::string("K") + order[i] + "vK");
  for (int i = 0; i < 5; ++i)
    for (int j = i; j < 5; ++j) names.push_back(std::string("K") + order[i] + "vK" + order[j]);
  for (int i = 0; i < 5; ++i)
    for (int j = i; j < 5; ++j) names.push_back(std::string("K") + order[i] + order[j] + "vK");
  return names;
}

Layout make_layout(const std::string& name) {
  Layout l;
  l.material = parse_signature(name);
  l.name = signature_name(l.material);
  l.men = men_of(l.material);
  if (l.men > MAX_MEN) throw std::runtime_error("more than five men: " + name);
  int n = 0;
  auto add = [&](int colour, int kind) {
    l.kind[n] = kind;
    l.colour[n] = colour;
    ++n;
  };
  add(0, KING);
  add(1, KING);
  for (int colour = 0; colour < 2; ++colour)
    for (int kind = QUEEN; kind >= KNIGHT; --kind)
      for (int c = 0; c < l.material.count[colour][kind]; ++c) add(colour, kind);
  l.pieces = n - 1;
  for (int colour = 0; colour < 2; ++colour)
    for (int c = 0; c < l.material.count[colour][PAWN]; ++c) add(colour, PAWN);
  l.pawns = n - 1 - l.pieces;
  for (int p = 0; p < l.pawns; ++p) l.pawn_configs *= 48;
  l.king_squares = l.pawns ? 32 : 16;
  l.per_config = l.king_squares << (6 * l.pieces);
  l.per_side = l.per_config * l.pawn_configs;
  l.size = 2 * l.per_side;
  return l;
}

uint64_t Layout::index(const int* squares, int side) const {
  int x = 0;
  if (file_of(squares[0]) >= 4) x ^= 7;
  if (!pawns && rank_of(squares[0]) >= 4) x ^= 56;
  uint64_t config = 0;
  for (int p = men - 1; p > pieces; --p) config = config * 48 + uint64_t((squares[p] ^ x) - 8);
  const int k = squares[0] ^ x;
  uint64_t idx = (uint64_t(side) * pawn_configs + config) * king_squares + uint64_t(rank_of(k) * 4 + file_of(k));
  uint64_t rest = 0;
  for (int m = pieces; m >= 1; --m) rest = rest << 6 | uint64_t(squares[m] ^ x);
  return idx << (6 * pieces) | rest;
}

int Layout::decode(uint64_t idx, int* squares) const {
  uint64_t rest = idx & ((uint64_t(1) << (6 * pieces)) - 1);
  idx >>= 6 * pieces;
  for (int m = 1; m <= pieces; ++m, rest >>= 6) squares[m] = int(rest & 63);
  const int k = int(idx % king_squares);
  squares[0] = (k >> 2) * 8 + (k & 3);
  idx /= king_squares;
  uint64_t config = idx % pawn_configs;
  for (int p = pieces + 1; p < men; ++p, config /= 48) squares[p] = int(config % 48) + 8;
  return int(idx / pawn_configs);
}
