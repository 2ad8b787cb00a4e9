#pragma once
// Material signatures of endgame tables ("KRPvKR") and the generator's layout of one
// table: the order of its men and the index of a position in the generator's arrays.
#include <cstdint>
#include <string>
#include <vector>

#include "board/types.h"

constexpr int MAX_MEN = 5;
constexpr int NO_SQUARE = 64;  // a man that has been captured

// Men counts by side of the name (0 left, 1 right) and piece type.
struct Material {
  int count[2][7];
};

Material parse_signature(const std::string& name);
std::string signature_name(const Material& m);
int men_of(const Material& m);
bool has_pawns(const Material& m);
// The registry's name of a material: left side with more men, or stronger letters on a tie.
// swapped tells that the material's side 1 is the name's left side.
std::string canonical_name(const Material& m, bool* swapped);

// The 35 signatures of three and four men, in the registry's order.
std::vector<std::string> small_signatures();

// How the generator stores one table: man 0 is the white (left) king, men 1..pieces the
// black king and the other non-pawn men, strongest first, White before Black, then the
// pawns, White before Black. The white king is folded to files a..d (and, without pawns,
// ranks 1..4); with the folding unique, every stored position stands for one class.
struct Layout {
  std::string name;
  Material material;
  int men = 0;
  int pieces = 0;  // non-pawn men besides the white king
  int pawns = 0;
  int kind[MAX_MEN];
  int colour[MAX_MEN];          // 0 White (left side), 1 Black
  uint64_t pawn_configs = 1;    // 48 to the number of pawns
  uint64_t king_squares = 16;   // folded squares of the white king
  uint64_t per_config = 0;      // entries of one pawn configuration and side
  uint64_t per_side = 0;
  uint64_t size = 0;            // both sides

  uint64_t index(const int* squares, int side) const;
  // Squares as stored (already folded); returns the side to move.
  int decode(uint64_t index, int* squares) const;
  uint64_t config_of(uint64_t index) const { return (index / per_config) % pawn_configs; }
};

Layout make_layout(const std::string& name);
