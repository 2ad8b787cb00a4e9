#include "helpers/training_fixtures.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "board/make_move.h"
#include "board/movegen.h"
#include "search/thread_data.h"

namespace {

int material_balance(const Position& pos) {
  constexpr int VALUES[6] = {0, 100, 300, 320, 500, 900};
  int balance = 0;
  for (int t = PAWN; t <= QUEEN; ++t)
    balance += VALUES[t] * (popcount(pos.bb[t] & pos.bb[OWN]) - popcount(pos.bb[t] & enemy_pieces(pos)));
  return balance;
}

}  // namespace

std::vector<TrainingRecord> random_play_records(int count, uint64_t seed) {
  std::mt19937_64 rng(seed);
  auto thread = std::make_unique<ThreadData>();
  std::vector<TrainingRecord> records;
  while (int(records.size()) < count) {
    set_position(*thread, START_FEN, nullptr);
    for (int ply = 0; ply < 160 && int(records.size()) < count; ++ply) {
      const Position& pos = *thread->current_position;
      ScoredMove moves[MAX_MOVES];
      ScoredMove* end = generate_legal(pos, moves);
      if (end == moves) break;
      const int balance = material_balance(pos);
      records.push_back(pack_record(pos, balance, balance > 150 ? 1 : balance < -150 ? -1 : 0, ply, false));
      int captures = 0;
      for (ScoredMove* m = moves; m != end; ++m) captures += (m->move & MOVE_CAPTURE) ? 1 : 0;
      Move chosen = moves[rng() % (end - moves)].move;
      if (captures && rng() % 2) {
        int pick = int(rng() % captures);
        for (ScoredMove* m = moves; m != end; ++m)
          if ((m->move & MOVE_CAPTURE) && pick-- == 0) chosen = m->move;
      }
      make_move(*thread, chosen, nullptr);
    }
  }
  return records;
}

bool write_training_file(const std::string& path, const std::vector<TrainingRecord>& records) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  // An empty vector may hold no buffer at all, and fwrite must not be given a null one.
  const bool ok = write_training_header(file) &&
                  (records.empty() ||
                   std::fwrite(records.data(), sizeof(TrainingRecord), records.size(), file) == records.size());
  return std::fclose(file) == 0 && ok;
}

bool same_records(const std::vector<TrainingRecord>& a, const std::vector<TrainingRecord>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(TrainingRecord)) == 0;
}
