#include "common/record_features.h"

#include <bit>

#include "common/training_record.h"

namespace {

constexpr int KING_CODE = 6;
constexpr int ENEMY_BIT = 8;

inline int piece_code(const TrainingRecord& r, int index) { return (r.pieces[index / 2] >> (4 * (index & 1))) & 15; }

}  // namespace

bool record_is_valid(const TrainingRecord& record) {
  if (std::popcount(record.occupied) > 32) return false;
  int own_kings = 0, enemy_kings = 0, index = 0;
  for (uint64_t b = record.occupied; b; b &= b - 1, ++index) {
    const int code = piece_code(record, index);
    if ((code & 7) == 0 || (code & 7) > KING_CODE) return false;
    if ((code & 7) == KING_CODE) ++((code & ENEMY_BIT) ? enemy_kings : own_kings);
  }
  return own_kings == 1 && enemy_kings == 1;
}

void record_features(const TrainingRecord& record, RecordFeatures& features) {
  int own_king = 0, enemy_king = 0, index = 0;
  for (uint64_t b = record.occupied; b; b &= b - 1, ++index) {
    const int code = piece_code(record, index);
    if (code == KING_CODE) own_king = std::countr_zero(b);
    if (code == (KING_CODE | ENEMY_BIT)) enemy_king = std::countr_zero(b);
  }
  // View 1 looks from the other side: ranks mirrored (XOR 56), own and enemy planes exchanged.
  const int kings[2] = {own_king, enemy_king ^ 56};
  features.count[0] = features.count[1] = 0;
  index = 0;
  for (uint64_t b = record.occupied; b; b &= b - 1, ++index) {
    const int code = piece_code(record, index);
    const int type = code & 7;
    if (type == KING_CODE) continue;
    const int square = std::countr_zero(b);
    const bool enemy = code & ENEMY_BIT;
    features.rows[0][features.count[0]++] = piece_row(enemy ? type + 4 : type - 1, square, kings[0]);
    features.rows[1][features.count[1]++] = piece_row(enemy ? type - 1 : type + 4, square ^ 56, kings[1]);
  }
  const int rights[2] = {record.rights & 3, (record.rights >> 2) & 3};
  for (int view = 0; view < 2; ++view) {
    if (rights[view] & 1) features.rows[view][features.count[view]++] = ROW_KING_SIDE_RIGHT;
    if (rights[view] & 2) features.rows[view][features.count[view]++] = ROW_QUEEN_SIDE_RIGHT;
  }
}
