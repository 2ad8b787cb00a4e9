#include "tablebase/probe.h"

#include <algorithm>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "tablebase/index_tables.h"
#include "tablebase/registry.h"
#include "tablebase/table_format.h"

namespace {

// Captures (the only moves that change the material) with the underpromotions among them,
// or every evasion in check.
ScoredMove* generate_tactical(const Position& pos, ScoredMove* list) {
  if (in_check(pos)) return generate_evasions(pos, list, true);
  return generate_captures(pos, generate_underpromotions(pos, list));
}

// Every move, for the DTZ searches.
ScoredMove* generate_all(const Position& pos, ScoredMove* list) {
  if (in_check(pos)) return generate_evasions(pos, list, true);
  ScoredMove* end = generate_underpromotions(pos, list);
  end = generate_quiets(pos, end, false);
  return generate_captures(pos, end);
}

// The gives-check bit of the quiet generator is exact out of check; every other move is marked here.
Move with_check_bit(const Position& pos, Move m) {
  if ((m & MOVE_TACTICAL) || in_check(pos)) mark_gives_check(pos, &m);
  return m;
}

bool is_legal(const Position& pos, Move m) { return legality_attackers(pos, m) == 0; }

// The entry of the material with its file of `kind` set up (at its first use, here), or
// null when there is none or the file can't be used.
TableEntry* ready_entry(const Position& pos, uint64_t key, int kind) {
  TableSlot& slot = find_table_slot(key);
  TableEntry* const found = slot.entry.load(std::memory_order_relaxed);
  if (!found || (kind == DTZ && !found->has_dtz)) return nullptr;
  if (found->ready[kind].load(std::memory_order_acquire) == FILE_READY) return found;
  SpinLock& lock = table_registry.table_lock;
  lock.lock();
  const uint8_t state = found->ready[kind].load(std::memory_order_acquire);
  const bool ready = state == FILE_READY || (state == FILE_UNUSED && first_use_table(*found, pos, kind));
  lock.unlock();
  return ready ? found : nullptr;
}

}  // namespace

int probe_table(ThreadData& thread, int w, int& success, int kind) {
  const Position& pos = *thread.current_position;
  const uint64_t key = material_key(pos);
  if (key == BARE_KINGS_KEY && kind == WDL) return 0;

  TableEntry* const found = ready_entry(pos, key, kind);
  if (!found) {
    success = 0;
    return 0;
  }
  TableEntry& entry = *found;

  // mirror: the table's left side is Black; second_side: the side to move is the table's side 1.
  const bool black_to_move = side_bit(pos);
  bool mirror, second_side;
  if (entry.symmetric) {
    mirror = black_to_move;
    second_side = false;
  } else {
    mirror = key != entry.key;
    second_side = black_to_move != mirror;
  }
  const Bitboard own = pos.bb[OWN], enemy = pos.bb[OCCUPIED] ^ pos.bb[OWN];
  // The men of a table code (kind, plus 8 for the right side) as squares of the real board.
  auto men_of = [&](int code) {
    const bool black = (code >= 8) != mirror;
    Bitboard men = (black == black_to_move ? own : enemy) & pos.bb[code & 7];
    return black_to_move ? flip_bitboard(men) : men;
  };
  const int flip = entry.has_pawns && mirror ? 56 : 0;

  int squares[8];
  int count = 0;
  int file = 0;
  if (entry.has_pawns) {
    // The leading pawn nearest its promotion rank, on the file folded onto a to d, picks the slice.
    const TableSlice& first_slice = kind == WDL ? entry.wdl_slices[0][0] : entry.dtz_slices[0];
    for (Bitboard b = men_of(first_slice.pieces[0]); b; b &= b - 1) squares[count++] = lsb(b) ^ flip;
    for (int i = 1; i < count; ++i)
      if (PAWN_ORDER[squares[i]] < PAWN_ORDER[squares[0]]) std::swap(squares[0], squares[i]);
    file = FILE_FOLD[squares[0] & 7];
  }
  const TableSlice* slice;
  if (kind == DTZ) {
    if (!entry.symmetric && second_side != bool(entry.dtz_flags[file] & DTZ_SIDE)) {
      success = -1;
      return 0;
    }
    slice = &entry.dtz_slices[file];
  } else {
    slice = &entry.wdl_slices[file][second_side ? 1 : 0];
  }
  while (count < entry.men) {
    const Bitboard men = men_of(slice->pieces[count]);
    if (!men) break;  // cannot happen for the material of the key
    for (Bitboard b = men; b; b &= b - 1) squares[count++] = lsb(b) ^ flip;
  }

  const uint64_t idx = encode_index(squares, *slice, entry, entry.has_pawns);
  const uint8_t* symbol = decode_value(*slice->decoder, idx);
  return kind == WDL ? wdl_of_symbol(symbol) : dtz_of_symbol(entry, file, symbol, w);
}

int probe_captures(ThreadData& thread, int alpha, int beta, int& success) {
  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  ScoredMove* const end = generate_tactical(pos, list);
  for (ScoredMove* p = end; p-- != list;) {
    Move m = p->move;
    if (!(m & MOVE_CAPTURE) || !is_legal(pos, m)) continue;
    mark_gives_check(pos, &m);
    make_move(thread, m, nullptr);
    const int v = -probe_captures(thread, -beta, -alpha, success);
    undo_move(thread);
    if (!success) return 0;
    if (v > alpha) {
      if (v >= beta) return v;
      alpha = v;
    }
  }
  const int stored = probe_table(thread, 0, success, WDL);
  return std::max(alpha, stored);
}

int probe_wdl(ThreadData& thread, int& success) {
  success = 1;
  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  ScoredMove* end = generate_tactical(pos, list);

  int best_capture = -3, best_en_passant = -3;
  for (ScoredMove* p = end; p-- != list;) {
    Move m = p->move;
    if (!(m & MOVE_CAPTURE) || !is_legal(pos, m)) continue;
    mark_gives_check(pos, &m);
    make_move(thread, m, nullptr);
    const int v = -probe_captures(thread, -2, -best_capture, success);
    undo_move(thread);
    if (!success) return 0;
    if (v > best_capture) {
      if (v == 2) {
        success = 2;
        return 2;
      }
      if (m & MOVE_EN_PASSANT)
        best_en_passant = std::max(best_en_passant, v);
      else
        best_capture = v;
    }
  }

  const int w = probe_table(thread, 0, success, WDL);
  if (!success) return 0;
  // The tables know nothing of en passant: such a capture may beat what they say.
  if (best_en_passant > best_capture) {
    best_capture = best_en_passant;
    if (best_en_passant > w) {
      success = 2;
      return best_en_passant;
    }
  }
  if (best_capture >= w) {
    success = best_capture > 0 ? 2 : 1;
    return best_capture;
  }
  if (w != 0 || best_en_passant == -3) return w;

  // A table draw where an en-passant capture may be the only legal move: then the
  // "draw" is the stalemate the table assumed, and the capture decides.
  for (ScoredMove* p = list; p != end; ++p)
    if (!(p->move & MOVE_EN_PASSANT) && is_legal(pos, p->move)) return 0;
  if (!in_check(pos)) {
    ScoredMove* const quiets_end = generate_quiets(pos, end, false);
    for (ScoredMove* p = end; p != quiets_end; ++p)
      if (is_legal(pos, p->move)) return 0;
  }
  success = 2;
  return best_en_passant;
}

int probe_dtz(ThreadData& thread, int& success) {
  const int w = probe_wdl(thread, success);
  if (!success || w == 0) return 0;
  if (success == 2) return WDL_TO_DTZ[w + 2];

  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  ScoredMove* end = list;
  if (w > 0) {
    // A pawn move that keeps the win zeroes the count at once: no table needed.
    end = generate_all(pos, list);
    for (ScoredMove* p = end; p-- != list;) {
      const Move m = with_check_bit(pos, p->move);
      if ((m & (MOVE_CAPTURE | 7)) != PAWN || !is_legal(pos, m)) continue;
      make_move(thread, m, nullptr);
      const int x = probe_wdl(thread, success);
      undo_move(thread);
      if (!success) return 0;
      if (x + w == 0) return WDL_TO_DTZ[w + 2];
    }
  }

  const int d = probe_table(thread, w, success, DTZ);
  if (success >= 0) return w > 0 ? WDL_TO_DTZ[w + 2] + d : WDL_TO_DTZ[w + 2] - d;

  // The file holds the other side to move: one ply of search over the moves that don't
  // zero the count stands in for it.
  int best = w > 0 ? 0x7FFFFFFF : WDL_TO_DTZ[w + 2];
  if (w < 0) end = generate_all(pos, list);
  for (ScoredMove* p = end; p-- != list;) {
    const Move m = with_check_bit(pos, p->move);
    if ((m & MOVE_CAPTURE) || move_piece(m) == PAWN || !is_legal(pos, m)) continue;
    make_move(thread, m, nullptr);
    const int x = probe_dtz(thread, success);
    undo_move(thread);
    if (!success) return 0;
    if (w > 0) {
      if (x < 0) best = std::min(best, 1 - x);
    } else {
      best = std::min(best, -x - 1);
    }
  }
  success = 1;
  return best;
}
