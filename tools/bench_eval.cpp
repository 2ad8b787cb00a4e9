// Nanoseconds per evaluate along games: the incremental accumulator update after
// one move plus the forward pass, for every form of the evaluation this processor
// runs, and each form's speed against the plain integer form.
//
//   bench_eval [GAMES]
//
// Games are seeded random playouts from the start position; at every ply the
// parent is evaluated, then each quiet move is made and evaluated, as a search does.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "board/board_tables.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "eval/eval_forms.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

namespace {

struct Sample {
  std::vector<Move> line;  // moves from the start position to the parent
  std::vector<Move> children;
};

uint64_t rng_state = 0x1234567;
int random_below(int n) {
  rng_state ^= rng_state >> 12, rng_state ^= rng_state << 25, rng_state ^= rng_state >> 27;
  return int((rng_state * 0x2545F4914F6CDD1Dull) % uint64_t(n));
}

std::vector<Sample> collect_samples(ThreadData& thread, int games) {
  std::vector<Sample> samples;
  for (int g = 0; g < games; ++g) {
    set_position(thread, START_FEN, nullptr);
    std::vector<Move> line;
    for (int ply = 0; ply < 120; ++ply) {
      ScoredMove moves[MAX_MOVES];
      ScoredMove* end = generate_legal(*thread.current_position, moves);
      if (end == moves) break;
      Sample s{line, {}};
      for (ScoredMove* m = moves; m != end; ++m)
        if (!(m->move & (MOVE_TACTICAL | MOVE_CASTLING)) && move_piece(m->move) != KING) s.children.push_back(m->move);
      if (!in_check(*thread.current_position)) samples.push_back(s);
      Move chosen = moves[random_below(int(end - moves))].move;
      make_move(thread, chosen, nullptr);
      line.push_back(chosen);
    }
  }
  return samples;
}

// The form under measurement; null for the walk alone.
const EvalForm* measured_form = nullptr;

int32_t evaluate_measured(ThreadData& thread, int ply) {
  return measured_form ? evaluate_in_form(thread, ply, *measured_form) : 0;
}

double nanoseconds_per_child(ThreadData& thread, const std::vector<Sample>& samples, int64_t& count,
                             int64_t& checksum) {
  using Clock = std::chrono::steady_clock;
  double total = 0;
  count = checksum = 0;
  for (const Sample& s : samples) {
    set_position(thread, START_FEN, nullptr);
    for (Move m : s.line) make_move(thread, m, nullptr);
    // The base at ply 0 is built from scratch outside the timing.
    thread.ply_records[0].acc_valid = 0;
    checksum += evaluate_measured(thread, 0);
    const auto start = Clock::now();
    for (Move m : s.children) {
      make_move(thread, m, &thread.ply_records[0].delta);
      thread.ply_records[1].acc_valid = 0;
      checksum += evaluate_measured(thread, 1);
      undo_move(thread);
    }
    total += std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    count += int64_t(s.children.size());
  }
  return total / double(count);
}

}  // namespace

int main(int argc, char** argv) {
  const int games = argc > 1 ? std::atoi(argv[1]) : 40;
  set_default_options(engine_options);
  init_board_tables();
  load_network(tesmar_embedded_network);
  auto thread = std::make_unique<ThreadData>();
  const std::vector<Sample> samples = collect_samples(*thread, games);

  int64_t count, checksum;
  // The same walk without evaluate: what making and taking back the move costs.
  const double move_ns = nanoseconds_per_child(*thread, samples, count, checksum);
  std::printf("positions after one quiet move: %lld (from %zu parents)\n", (long long)count, samples.size());
  std::printf("make and undo alone: %8.1f ns\n", move_ns);
  std::printf("the engine's form: %s\n", engine_eval_form->name);
  std::printf("%-12s %22s %22s %14s\n", "form", "ns with the move", "ns evaluate alone", "x plain");
  double plain_ns = 0;
  int64_t plain_sum = 0;
  bool agree = true;
  for (const EvalForm& form : EVAL_FORMS) {
    if (!form.runs_here()) {
      std::printf("%-12s %22s\n", form.name, "not on this processor");
      continue;
    }
    measured_form = &form;
    nanoseconds_per_child(*thread, samples, count, checksum);  // warm the caches
    const double ns = nanoseconds_per_child(*thread, samples, count, checksum);
    if (&form == &EVAL_FORMS[0]) plain_ns = ns, plain_sum = checksum;
    agree = agree && checksum == plain_sum;
    std::printf("%-12s %22.1f %22.1f %14.2f\n", form.name, ns, ns - move_ns, (plain_ns - move_ns) / (ns - move_ns));
  }
  if (!agree) {
    std::printf("MISMATCH: the forms disagree\n");
    return 1;
  }
  return 0;
}
