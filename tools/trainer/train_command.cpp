#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include "eval/network.h"
#include "trainer/checkpoint.h"
#include "trainer/commands.h"
#include "trainer/loss_log.h"
#include "trainer/network_export.h"
#include "trainer/network_import.h"
#include "trainer/options.h"
#include "trainer/train_step.h"
#include "trainer/training_set.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Saves the checkpoint, the loss table and picture, and the network of the epoch just ended.
bool write_epoch_outputs(const Checkpoint& checkpoint, const std::filesystem::path& out) {
  return save_checkpoint(checkpoint, (out / "checkpoint.bin").string()) &&
         write_loss_csv(checkpoint.history, (out / "losses.csv").string()) &&
         write_loss_svg(checkpoint.history, (out / "losses.svg").string()) &&
         write_network_file(export_network(checkpoint.model), (out / "network.net").string().c_str());
}

// The weights a run starts from: a checkpoint's (with its settings, over which the command line
// may name new ones), a network blob's, or random ones. Returns the exit status on failure, -1
// when the run goes on.
int starting_weights(int argc, char** argv, int cores, TrainOptions& options, Checkpoint& checkpoint) {
  if (!options.resume.empty()) {
    if (!load_checkpoint(options.resume, checkpoint)) return 1;
    TrainOptions resumed;
    resumed.settings = checkpoint.settings;
    resumed.threads = cores;
    if (!parse_train_options(argc, argv, resumed)) return 2;
    options = resumed;
  } else if (!options.init.empty()) {
    const std::vector<uint8_t> blob = read_network_file(options.init.c_str());
    if (blob.empty()) return 1;
    const int fault = network_header_fault(blob.data());
    if (fault >= 0) {
      std::fprintf(stderr, "%s: layer %d has the wrong fractional bits for this engine\n", options.init.c_str(), fault + 1);
      return 1;
    }
    const int64_t clipped = import_network(blob.data(), checkpoint.model);
    std::printf("starting from the network %s", options.init.c_str());
    if (clipped) std::printf(" (%lld row values beyond the trainer's limits clipped)", (long long)clipped);
    std::printf("\n");
  } else {
    init_model(checkpoint.model, options.settings.seed);
  }
  if (!options.factoriser) {
    const int64_t clipped = fold_factors(checkpoint.model);
    if (clipped) std::printf("factor rows folded into the king rows: %lld values clipped\n", (long long)clipped);
  }
  return -1;
}

// One epoch over the set: the steps, a progress line each second, the losses. False when a chunk
// can't be read.
bool train_epoch(Checkpoint& checkpoint, const TrainingSet& set, const TrainOptions& options, StepBuffers& buffers,
                 int epoch, EpochRow& row) {
  const TrainSettings& settings = checkpoint.settings;
  const LossSettings loss{float(settings.lambda), float(settings.scale), settings.fixed_point != 0};
  const double rate = learning_rate(settings, epoch);
  // The order of an epoch depends on the seed and the epoch alone, so a resumed run takes the
  // same steps as one that never stopped, on any thread count.
  const std::vector<int64_t> blocks = epoch_blocks(set, epoch);
  const int chunks = epoch_chunks(set, blocks);
  const Clock::time_point start = Clock::now();
  Clock::time_point last_print = start;
  bool progress_shown = false;
  double loss_sum = 0;
  size_t done = 0;
  // The next chunk is read while the steps run on this one.
  auto read_chunk = [&set, &blocks, epoch](int index) {
    auto chunk = std::make_unique<Chunk>();
    if (!load_chunk(set, blocks, epoch, index, *chunk)) chunk.reset();
    return chunk;
  };
  auto next = std::async(std::launch::async, read_chunk, 0);
  for (int index = 0; index < chunks; ++index) {
    const std::unique_ptr<Chunk> chunk = next.get();
    if (!chunk) return false;
    if (index + 1 < chunks) next = std::async(std::launch::async, read_chunk, index + 1);
    for (size_t at = 0; at < chunk->order.size();) {
      const int count = int(std::min<size_t>(size_t(settings.batch), chunk->order.size() - at));
      loss_sum += train_batch(checkpoint.model, checkpoint.adam, buffers, chunk->records.data(),
                              chunk->order.data() + at, count, float(rate), loss);
      at += size_t(count), done += size_t(count);
      if (std::chrono::duration<double>(Clock::now() - last_print).count() >= 1.0) {
        last_print = Clock::now();
        progress_shown = true;
        std::printf("\repoch %d  %zu/%lld  loss %.6f  %.0f pos/s ", epoch, done, (long long)set.training_positions,
                    loss_sum / double(done), double(done) / seconds_since(start));
        std::fflush(stdout);
      }
    }
  }
  if (progress_shown) std::printf("\n");
  std::vector<uint32_t> validation(set.validation.size());
  for (size_t i = 0; i < validation.size(); ++i) validation[i] = uint32_t(i);
  row.epoch = epoch;
  row.seconds = seconds_since(start);
  row.train_loss = loss_sum / double(done);
  row.validation_loss = mean_loss(checkpoint.model, set.validation.data(), validation, loss, options.threads);
  row.learning_rate = rate;
  row.positions_per_second = double(done) / row.seconds;
  return true;
}

}  // namespace

int train_command(int argc, char** argv) {
  const int cores = std::max(1, int(std::thread::hardware_concurrency()));
  TrainOptions options;
  options.threads = cores;
  if (!parse_train_options(argc, argv, options)) return 2;
  if (options.data.empty() || options.out.empty()) {
    std::fprintf(stderr, "train needs --data and --out\n");
    return 2;
  }
  if (!options.resume.empty() && !options.init.empty()) {
    std::fprintf(stderr, "--resume goes on with a checkpoint's weights, --init starts from a network: give one of them\n");
    return 2;
  }
  auto checkpoint = std::make_unique<Checkpoint>();
  const int status = starting_weights(argc, argv, cores, options, *checkpoint);
  if (status >= 0) return status;
  const TrainSettings& settings = checkpoint->settings = options.settings;
  const std::filesystem::path out(options.out);
  std::error_code error;
  std::filesystem::create_directories(out, error);
  if (error) {
    std::fprintf(stderr, "%s: %s\n", options.out.c_str(), error.message().c_str());
    return 1;
  }
  TrainingSet set;
  if (!open_training_set(options.data, settings.validation_share, settings.seed, options.chunk, set, -1,
                         options.corpus_filter))
    return 1;
  set.mirror = options.mirror;
  if (set.training_positions == 0) {
    std::fprintf(stderr, "no positions to train on\n");
    return 1;
  }
  std::printf("%lld training positions, %zu validation positions, %d threads, batch %d, chunks of %lld records%s\n",
              (long long)set.training_positions, set.validation.size(), options.threads, settings.batch,
              (long long)set.chunk_records, set.mirror ? ", mirrored at random" : "");
  if (checkpoint->epoch >= settings.epochs) std::printf("the checkpoint has %d epochs already\n", checkpoint->epoch);

  StepBuffers buffers(settings.batch, options.threads);
  buffers.factoriser = options.factoriser;
  for (int epoch = checkpoint->epoch + 1; epoch <= settings.epochs; ++epoch) {
    EpochRow row;
    if (!train_epoch(*checkpoint, set, options, buffers, epoch, row)) return 1;
    checkpoint->history.push_back(row);
    checkpoint->epoch = epoch;
    std::printf("epoch %d  train loss %.6f  validation loss %.6f  lr %.3g  %.0f pos/s (%.0f per thread)  %.1f s\n",
                epoch, row.train_loss, row.validation_loss, row.learning_rate, row.positions_per_second,
                row.positions_per_second / options.threads, row.seconds);
    std::fflush(stdout);
    if (!write_epoch_outputs(*checkpoint, out)) return 1;
  }
  return 0;
}
