#include "eval/accumulator.h"

#include <cstring>

#include "board/position.h"
#include "eval/network.h"
#include "eval/refresh_cache.h"
#include "search/thread_data.h"

namespace {

// Plane of the same piece in the other view: own and enemy change places.
constexpr int PLANE_SWAP[10] = {5, 6, 7, 8, 9, 0, 1, 2, 3, 4};

// The rows of one view's accumulator from scratch: every piece but the kings, and the view's rights.
void gather_all_rows(const Position& pos, int view, RowBatch& batch) {
  // View 1 sees the board from the other side: squares XOR 56, own and enemy exchanged.
  const int flip = view ? 56 : 0;
  const Bitboard mine = view ? enemy_pieces(pos) : pos.bb[OWN];
  const Bitboard theirs = pos.bb[OCCUPIED] ^ mine;
  const Square king = lsb(pos.bb[KING] & mine) ^ flip;
  batch.added_count = batch.removed_count = 0;
  for (int t = PAWN; t <= QUEEN; ++t) {
    for (Bitboard b = pos.bb[t] & mine; b; b &= b - 1)
      batch.added[batch.added_count++] = network_row(feature_row(t - 1, lsb(b) ^ flip, king));
    for (Bitboard b = pos.bb[t] & theirs; b; b &= b - 1)
      batch.added[batch.added_count++] = network_row(feature_row(t + 4, lsb(b) ^ flip, king));
  }
  const int rights = view ? pos.castling >> 8 : pos.castling;
  if ((rights & 15) != NO_RIGHT) batch.added[batch.added_count++] = network_row(ROW_KING_SIDE_RIGHT);
  if (((rights >> 4) & 15) != NO_RIGHT) batch.added[batch.added_count++] = network_row(ROW_QUEEN_SIDE_RIGHT);
}

// The rows that the moves from the base ply to ply change in one view. A long walk is
// applied in parts as the batch fills up; source then becomes acc.
void gather_changed_rows(const ThreadData& thread, int base, int ply, int view, int16_t* acc, const int16_t*& source,
                         RowBatch& batch, ApplyRows apply_rows) {
  const PlyRecord* records = thread.ply_records;
  const Position& pos = *thread.current_position;
  const Square king = view ? enemy_king_square(pos) ^ 56 : own_king_square(pos);
  batch.added_count = batch.removed_count = 0;
  for (int j = base; j < ply; ++j) {
    // A move puts at most 2 entries in added and 4 in removed; flush before the batch overflows.
    if (batch.added_count > RowBatch::CAPACITY - 8 || batch.removed_count > RowBatch::CAPACITY - 8) {
      apply_rows(acc, source, batch);
      source = acc;
      batch.added_count = batch.removed_count = 0;
    }
    const FeatureDelta& d = records[j].delta;
    // View 0 moved at ply j when the distance is even, view 1 when it is odd.
    const bool same = ((j ^ ply) & 1) == view;
    auto row_of = [&](uint32_t e) {
      const int plane = int(e >> 6);
      const Square s = Square(e & 63);
      return network_row(same ? feature_row(plane, s, king) : feature_row(PLANE_SWAP[plane], s ^ 56, king));
    };
    for (int k = 0; k < d.added_count; ++k) batch.added[batch.added_count++] = row_of(d.added[k]);
    for (int k = 0; k < d.removed_count; ++k) {
      const uint32_t e = d.removed[k];
      if (!(e & RIGHT_LOST_CODES)) {
        batch.removed[batch.removed_count++] = row_of(e);
        continue;
      }
      // A right-lost code: the mover's view counts its own rights, the other view the opponent's.
      const bool mover_code = e == RIGHT_LOST_OWN_KING_SIDE || e == RIGHT_LOST_OWN_QUEEN_SIDE;
      if (mover_code != same) continue;
      const bool king_side = e == RIGHT_LOST_OWN_KING_SIDE || e == RIGHT_LOST_ENEMY_KING_SIDE;
      batch.removed[batch.removed_count++] = network_row(king_side ? ROW_KING_SIDE_RIGHT : ROW_QUEEN_SIDE_RIGHT);
    }
  }
}

}  // namespace

void rebuild_accumulator(const Position& pos, int view, int16_t* acc, ApplyRows apply_rows) {
  RowBatch batch;
  gather_all_rows(pos, view, batch);
  apply_rows(acc, network_l1_bias(), batch);
}

void update_accumulators(ThreadData& thread, int ply, ApplyRows apply_rows) {
  PlyRecord* records = thread.ply_records;
  int base = ply - 1;
  while (base >= 0 && !records[base].acc_valid) --base;

  bool rebuild[2] = {base < 0, base < 0};
  for (int j = base < 0 ? ply : base; j < ply; ++j)
    if (records[j].delta.king_moved) rebuild[(j ^ ply) & 1] = true;

  PlyRecord& target = records[ply];
  for (int view = 0; view < 2; ++view) {
    int16_t* acc = target.accumulators[view];
    if (rebuild[view]) {
      refresh_accumulator(thread.refresh_cache, *thread.current_position, view, acc, apply_rows);
      continue;
    }
    // A move passes the turn: view 0 here is view 1 at the base when the distance is odd.
    const int16_t* source = records[base].accumulators[view ^ ((base ^ ply) & 1)];
    RowBatch batch;
    gather_changed_rows(thread, base, ply, view, acc, source, batch, apply_rows);
    apply_rows(acc, source, batch);
  }
  target.acc_valid = 1;
}
