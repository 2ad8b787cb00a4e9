#include "trainer/export_check.h"

#include <cmath>
#include <memory>

#include "common/training_record.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

ExportCheck compare_with_engine(const FloatModel& model, bool fixed_point, const std::vector<uint8_t>& blob,
                                const TrainingRecord* records, size_t count) {
  const uint8_t* previous = network_blob;
  const bool chess960 = engine_options.UCI_Chess960;
  load_network(blob.data());
  engine_options.UCI_Chess960 = false;  // the corner-bishop terms are not part of the network
  auto thread = std::make_unique<ThreadData>();
  auto network = std::make_unique<ForwardNetwork>();
  prepare_forward(model, fixed_point, *network);
  ExportCheck check;
  double total = 0;
  RecordFeatures features;
  ForwardState state;
  for (size_t i = 0; i < count; ++i) {
    if (!record_is_valid(records[i])) continue;
    unpack_record(records[i], thread->position_stack[0]);
    thread->current_position = &thread->position_stack[0];
    thread->ply_records[0].acc_valid = 0;
    const int32_t engine_score = evaluate(*thread, 0);
    record_features(records[i], features);
    const double difference = std::fabs(double(engine_score) - model_forward(*network, features, state));
    total += difference;
    if (difference > check.max_difference) check.max_difference = difference;
    ++check.positions;
  }
  if (check.positions) check.mean_difference = total / double(check.positions);
  load_network(previous);
  engine_options.UCI_Chess960 = chess960;
  return check;
}
