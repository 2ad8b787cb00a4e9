#include "eval/refresh_cache.h"

#include <cstring>

#include "board/position.h"
#include "eval/network.h"

namespace {

// The pieces and rights of view in its own frame; view 1 sees the board turned over.
ViewPieces view_pieces(const Position& pos, int view) {
  const Bitboard mine = view ? enemy_pieces(pos) : pos.bb[OWN];
  const Bitboard theirs = pos.bb[OCCUPIED] ^ mine;
  ViewPieces v;
  for (int t = PAWN; t <= QUEEN; ++t) {
    v.planes[t - 1] = view ? flip_bitboard(pos.bb[t] & mine) : pos.bb[t] & mine;
    v.planes[t + 4] = view ? flip_bitboard(pos.bb[t] & theirs) : pos.bb[t] & theirs;
  }
  const int rights = view ? pos.castling >> 8 : pos.castling;
  v.rights = uint32_t((rights & 15) != NO_RIGHT) | uint32_t(((rights >> 4) & 15) != NO_RIGHT) << 1;
  return v;
}

}  // namespace

void refresh_accumulator(RefreshCache& cache, const Position& pos, int view, int16_t* acc, ApplyRows apply_rows) {
  const Bitboard kings = pos.bb[KING] & (view ? enemy_pieces(pos) : pos.bb[OWN]);
  const Square king = lsb(view ? flip_bitboard(kings) : kings);
  const int colour = (side_bit(pos) != 0) ^ view;
  RefreshEntry& entry = cache.entries[colour][king];
  if (entry.network_stamp != network_generation) {
    std::memcpy(entry.accumulator, network_l1_bias(), sizeof entry.accumulator);
    entry.pieces = ViewPieces{};
    entry.network_stamp = network_generation;
  }

  const ViewPieces now = view_pieces(pos, view);
  RowBatch batch;
  batch.added_count = batch.removed_count = 0;
  for (int plane = 0; plane < 10; ++plane) {
    const Bitboard before = entry.pieces.planes[plane];
    for (Bitboard b = now.planes[plane] & ~before; b; b &= b - 1)
      batch.added[batch.added_count++] = network_row(feature_row(plane, lsb(b), king));
    for (Bitboard b = before & ~now.planes[plane]; b; b &= b - 1)
      batch.removed[batch.removed_count++] = network_row(feature_row(plane, lsb(b), king));
  }
  const uint32_t gained = now.rights & ~entry.pieces.rights, lost = entry.pieces.rights & ~now.rights;
  if (gained & 1) batch.added[batch.added_count++] = network_row(ROW_KING_SIDE_RIGHT);
  if (gained & 2) batch.added[batch.added_count++] = network_row(ROW_QUEEN_SIDE_RIGHT);
  if (lost & 1) batch.removed[batch.removed_count++] = network_row(ROW_KING_SIDE_RIGHT);
  if (lost & 2) batch.removed[batch.removed_count++] = network_row(ROW_QUEEN_SIDE_RIGHT);

  apply_rows(entry.accumulator, entry.accumulator, batch);
  entry.pieces = now;
  std::memcpy(acc, entry.accumulator, sizeof entry.accumulator);
}
