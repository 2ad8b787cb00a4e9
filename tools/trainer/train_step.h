#pragma once
// One optimiser step on a batch, spread over threads. Each thread runs the forward and backward
// pass of a run of the batch's chunks and sorts the rows those positions switch on by the thread
// that owns them. Then each thread gathers the gradients of its own rows from all slices and
// steps them, so no row is written by two threads and no lock is needed. A thread owns whole
// (plane, square) groups: the 64 king rows and the factor row of a piece on a square, whose
// gradient is the sum of theirs. The dense layers' gradients are summed chunk by chunk and stepped
// at the end. Every sum runs in the same order whatever the thread count, so a seed gives the
// same network on any machine.
#include <cstdint>
#include <vector>

#include "common/training_record.h"
#include "trainer/adam.h"
#include "trainer/float_model.h"

struct LossSettings {
  float lambda;      // weight of the score in the target; the rest is the game result
  float scale;       // score units per unit of the sigmoid's argument
  bool fixed_point;  // forward passes in the engine's fixed-point arithmetic
};

// A row switched on in the batch: its number and the slot (position x 2 + view) of its gradient.
// The batch is cut into this many chunks of positions, whatever the thread count.
constexpr int BATCH_CHUNKS = 64;

struct RowUse {
  uint32_t row;
  uint32_t slot;
};

// Memory that the steps reuse.
struct StepBuffers {
  int threads;
  std::vector<float> d_acc;                  // per slot: dLoss/dAcc of that view
  std::vector<DenseParameters> dense_grads;  // per chunk
  std::vector<double> losses;                // per chunk
  std::vector<std::vector<RowUse>> uses;     // [producer x threads + owner]
  std::vector<uint16_t> group_owner;         // per (plane, square) group and castling row
  std::vector<float> row_grads;              // MODEL_ROWS x L1_SIZE, zero between steps
  std::vector<uint8_t> row_touched;          // MODEL_ROWS, zero between steps
  std::vector<std::vector<uint32_t>> touched_rows;  // per thread
  ForwardNetwork network;                           // the model of the current step
  bool factoriser = true;  // false: factor rows stay zero (see fold_factors)

  StepBuffers(int batch, int threads);
};

// One step on records[batch[0..count)] with the given learning rate; returns the summed loss
// of those positions (before the step).
double train_batch(FloatModel& model, AdamState& adam, StepBuffers& buffers, const TrainingRecord* records,
                   const uint32_t* batch, int count, float learning_rate, const LossSettings& loss);

// The mean loss over records[indices]; NaN when there are none.
double mean_loss(const FloatModel& model, const TrainingRecord* records, const std::vector<uint32_t>& indices,
                 const LossSettings& loss, int threads);
