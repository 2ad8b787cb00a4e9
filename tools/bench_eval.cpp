// Nanoseconds per evaluate along games: the incremental accumulator update after
// one move plus the forward pass, for every form of the evaluation this processor
// runs, and each form's speed against the plain integer form, in processor time of
// the measuring thread. Then the cost of
// rebuilding the view of a king that moved, from the biases and by way of the
// thread's refresh cache.
//
//   bench_eval [GAMES]
//
// Games are seeded random playouts from the start position; at every ply the
// parent is evaluated, then each quiet move is made and evaluated, as a search does.
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "board/board_tables.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "eval/accumulator.h"
#include "eval/eval_forms.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "eval/refresh_cache.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

namespace {

struct Sample {
  std::vector<Move> line;  // moves from the start position to the parent
  std::vector<Move> children;
  std::vector<Move> king_children;  // king steps that are not castling
  Position parent;
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
      Sample s{line, {}, {}, *thread.current_position};
      for (ScoredMove* m = moves; m != end; ++m) {
        if (m->move & MOVE_CASTLING) continue;
        if (move_piece(m->move) == KING)
          s.king_children.push_back(m->move);
        else if (!(m->move & MOVE_TACTICAL))
          s.children.push_back(m->move);
      }
      if (!in_check(*thread.current_position)) samples.push_back(s);
      Move chosen = moves[random_below(int(end - moves))].move;
      make_move(thread, chosen, nullptr);
      line.push_back(chosen);
    }
  }
  return samples;
}

// Nanoseconds of processor time of this thread: on a shared machine, time spent waiting
// for a core is not counted against the code.
double thread_nanoseconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) * 1e9 + double(t.tv_nsec);
}

// The form under measurement; null for the walk alone.
const EvalForm* measured_form = nullptr;

int32_t evaluate_measured(ThreadData& thread, int ply) {
  return measured_form ? evaluate_in_form(thread, ply, *measured_form) : 0;
}

double nanoseconds_per_child(ThreadData& thread, const std::vector<Sample>& samples, int64_t& count,
                             int64_t& checksum) {
  double total = 0;
  count = checksum = 0;
  for (const Sample& s : samples) {
    set_position(thread, START_FEN, nullptr);
    for (Move m : s.line) make_move(thread, m, nullptr);
    // The base at ply 0 is built from scratch outside the timing.
    thread.ply_records[0].acc_valid = 0;
    checksum += evaluate_measured(thread, 0);
    const double start = thread_nanoseconds();
    for (Move m : s.children) {
      make_move(thread, m, &thread.ply_records[0].delta);
      thread.ply_records[1].acc_valid = 0;
      checksum += evaluate_measured(thread, 1);
      undo_move(thread);
    }
    total += thread_nanoseconds() - start;
    count += int64_t(s.children.size());
  }
  return total / double(count);
}

enum class KingView { NONE, FROM_BIASES, BY_CACHE };

// Nanoseconds per king step: making and taking back the step, with the rebuild of the
// mover's view (view 1 after the step) as asked. The cache carries over from step to
// step and from position to position, as a thread's does in a search.
double nanoseconds_per_king_step(ThreadData& thread, const std::vector<Sample>& samples, KingView how,
                                 ApplyRows apply_rows, int64_t& count, int64_t& checksum) {
  alignas(64) int16_t acc[L1_SIZE] = {};
  count = checksum = 0;
  const double start = thread_nanoseconds();
  for (const Sample& s : samples) {
    thread.position_stack[0] = s.parent;
    thread.current_position = thread.position_stack;
    for (Move m : s.king_children) {
      make_move(thread, m, &thread.ply_records[0].delta);
      if (how == KingView::FROM_BIASES) rebuild_accumulator(*thread.current_position, 1, acc, apply_rows);
      if (how == KingView::BY_CACHE)
        refresh_accumulator(thread.refresh_cache, *thread.current_position, 1, acc, apply_rows);
      checksum += acc[m & 255];
      undo_move(thread);
    }
    count += int64_t(s.king_children.size());
  }
  return (thread_nanoseconds() - start) / double(count);
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

  // The king's view rebuilt after a king step, in the engine's form.
  const ApplyRows apply_rows = engine_eval_form->apply_rows;
  int64_t biases_sum, cache_sum;
  const double step_ns = nanoseconds_per_king_step(*thread, samples, KingView::NONE, apply_rows, count, checksum);
  nanoseconds_per_king_step(*thread, samples, KingView::FROM_BIASES, apply_rows, count, biases_sum);
  const double biases_ns =
      nanoseconds_per_king_step(*thread, samples, KingView::FROM_BIASES, apply_rows, count, biases_sum);
  nanoseconds_per_king_step(*thread, samples, KingView::BY_CACHE, apply_rows, count, cache_sum);
  const double cache_ns =
      nanoseconds_per_king_step(*thread, samples, KingView::BY_CACHE, apply_rows, count, cache_sum);
  std::printf("\nrebuilding the mover's view after a king step (%lld steps, %s form, step made and taken back "
              "alone %.1f ns):\n",
              (long long)count, engine_eval_form->name, step_ns);
  std::printf("%-24s %10.1f ns\n", "from the biases", biases_ns - step_ns);
  std::printf("%-24s %10.1f ns  (%.2f times faster)\n", "by the refresh cache", cache_ns - step_ns,
              (biases_ns - step_ns) / (cache_ns - step_ns));
  agree = agree && biases_sum == cache_sum;
  if (!agree) {
    std::printf("MISMATCH: the forms or the two rebuilds disagree\n");
    return 1;
  }
  return 0;
}
