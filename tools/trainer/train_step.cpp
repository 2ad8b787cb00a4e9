#include "trainer/train_step.h"

#include <barrier>
#include <cmath>
#include <cstring>
#include <memory>

#include "common/parallel_for.h"
#include "trainer/float_vector.h"

namespace {

// Groups: 640 (plane, square) groups of piece rows, then one for each castling row.
constexpr int GROUPS = FACTOR_ROWS + 2;
inline uint32_t group_of(uint32_t row) { return row < FEATURE_ROWS ? row >> 6 : FACTOR_ROWS + (row - FEATURE_ROWS); }

void add_row(float* target, const float* source) {
  for (int i = 0; i < L1_SIZE; i += 16) store16(target + i, load16(target + i) + load16(source + i));
}

// Forward and backward pass of the positions of a chunk; the rows they switch on go to the lists
// of their owners.
void chunk_pass(const ForwardNetwork& network, StepBuffers& buffers, const TrainingRecord* records,
                const uint32_t* batch, int count, int chunk, float d_weight, const LossSettings& loss, int thread) {
  DenseParameters& grad = buffers.dense_grads[chunk];
  std::memset(&grad, 0, sizeof grad);
  std::vector<RowUse>* uses = &buffers.uses[size_t(thread) * buffers.threads];
  double total = 0;
  ForwardState state;
  RecordFeatures features;
  const int begin = int(int64_t(count) * chunk / BATCH_CHUNKS), end = int(int64_t(count) * (chunk + 1) / BATCH_CHUNKS);
  for (int p = begin; p < end; ++p) {
    const TrainingRecord& r = records[batch[p]];
    record_features(r, features);
    const float out = model_forward(network, features, state);
    float d_out;
    total += position_loss(out, record_target(r.score, r.result, loss.lambda, loss.scale), loss.scale, &d_out);
    model_backward(network, state, d_out * d_weight, grad, buffers.d_acc.data() + size_t(p) * 2 * L1_SIZE);
    for (int view = 0; view < 2; ++view)
      for (int k = 0; k < features.count[view]; ++k) {
        const uint32_t row = features.rows[view][k];
        uses[buffers.group_owner[group_of(row)]].push_back({row, uint32_t(2 * p + view)});
      }
  }
  buffers.losses[chunk] = total;
}

// Gathers the gradients of the rows that this thread owns, and of their factor rows, and steps them.
void rows_pass(FloatModel& model, AdamState& adam, StepBuffers& buffers, float step_size, int thread) {
  std::vector<uint32_t>& touched = buffers.touched_rows[thread];
  auto touch = [&](uint32_t row) {
    if (!buffers.row_touched[row]) {
      buffers.row_touched[row] = 1;
      touched.push_back(row);
    }
    return buffers.row_grads.data() + size_t(row) * L1_SIZE;
  };
  for (int producer = 0; producer < buffers.threads; ++producer)
    for (const RowUse& use : buffers.uses[size_t(producer) * buffers.threads + thread])
      add_row(touch(use.row), buffers.d_acc.data() + size_t(use.slot) * L1_SIZE);
  // A factor row is switched on with each of its king rows: its gradient is the sum of theirs.
  const size_t king_rows = buffers.factoriser ? touched.size() : 0;
  for (size_t i = 0; i < king_rows; ++i) {
    const uint32_t row = touched[i];
    if (row < FEATURE_ROWS) add_row(touch(factor_row(row)), buffers.row_grads.data() + size_t(row) * L1_SIZE);
  }
  for (uint32_t row : touched) {
    const size_t offset = size_t(row) * L1_SIZE;
    const float limit = !buffers.factoriser && row < FEATURE_ROWS ? FOLDED_ROW_LIMIT : ROW_LIMIT;
    adam_row(model.row(row), adam.row_m.data() + offset, adam.row_v.data() + offset, buffers.row_grads.data() + offset,
             step_size, limit);
    buffers.row_touched[row] = 0;
  }
  touched.clear();
}

}  // namespace

StepBuffers::StepBuffers(int batch, int thread_count)
    : threads(thread_count),
      d_acc(size_t(batch) * 2 * L1_SIZE),
      dense_grads(BATCH_CHUNKS),
      losses(BATCH_CHUNKS),
      uses(size_t(thread_count) * thread_count),
      group_owner(GROUPS),
      row_grads(size_t(MODEL_ROWS) * L1_SIZE, 0.0f),
      row_touched(MODEL_ROWS, 0),
      touched_rows(thread_count) {
  // Neighbouring squares of a plane go to different threads, which spreads the busy ones.
  for (int g = 0; g < GROUPS; ++g) group_owner[g] = uint16_t(g % thread_count);
}

double train_batch(FloatModel& model, AdamState& adam, StepBuffers& buffers, const TrainingRecord* records,
                   const uint32_t* batch, int count, float learning_rate, const LossSettings& loss) {
  const int threads = buffers.threads;
  ++adam.step;
  const float step_size = corrected_step_size(learning_rate, adam.step);
  // The loss is the batch's mean: each position's gradient counts 1 / count.
  const float d_weight = 1.0f / float(count);
  prepare_forward(model, loss.fixed_point, buffers.network);
  std::barrier sync(threads);
  run_threads(threads, [&](int t) {
    for (int o = 0; o < threads; ++o) buffers.uses[size_t(t) * threads + o].clear();
    // Consecutive chunks per thread: the owners' lists then hold the rows in batch order.
    for (int chunk = BATCH_CHUNKS * t / threads; chunk < BATCH_CHUNKS * (t + 1) / threads; ++chunk)
      chunk_pass(buffers.network, buffers, records, batch, count, chunk, d_weight, loss, t);
    sync.arrive_and_wait();  // every gradient slot written, and no thread reads a row any more
    rows_pass(model, adam, buffers, step_size, t);
  });
  DenseParameters& total = buffers.dense_grads[0];
  double loss_sum = buffers.losses[0];
  for (int chunk = 1; chunk < BATCH_CHUNKS; ++chunk) {
    float* sum = dense_floats(total);
    const float* part = dense_floats(buffers.dense_grads[chunk]);
    for (int i = 0; i < DENSE_COUNT; ++i) sum[i] += part[i];
    loss_sum += buffers.losses[chunk];
  }
  adam_dense(model.dense, adam, total, step_size);
  return loss_sum;
}

double mean_loss(const FloatModel& model, const TrainingRecord* records, const std::vector<uint32_t>& indices,
                 const LossSettings& loss, int threads) {
  if (indices.empty()) return std::nan("");
  auto network = std::make_unique<ForwardNetwork>();
  prepare_forward(model, loss.fixed_point, *network);
  // Sums by chunk, added in chunk order: the same number on any thread count.
  std::vector<double> sums(BATCH_CHUNKS, 0.0);
  const size_t count = indices.size();
  run_threads(threads, [&](int t) {
    ForwardState state;
    RecordFeatures features;
    float d_out;
    for (int chunk = BATCH_CHUNKS * t / threads; chunk < BATCH_CHUNKS * (t + 1) / threads; ++chunk) {
      double total = 0;
      for (size_t i = count * chunk / BATCH_CHUNKS; i < count * (chunk + 1) / BATCH_CHUNKS; ++i) {
        const TrainingRecord& r = records[indices[i]];
        record_features(r, features);
        const float out = model_forward(*network, features, state);
        total += position_loss(out, record_target(r.score, r.result, loss.lambda, loss.scale), loss.scale, &d_out);
      }
      sums[chunk] = total;
    }
  });
  double total = 0;
  for (double s : sums) total += s;
  return total / double(count);
}
