#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "common/network_export.h"
#include "trainer/checkpoint.h"
#include "trainer/commands.h"
#include "trainer/dataset.h"
#include "trainer/loss_log.h"
#include "trainer/options.h"
#include "trainer/train_step.h"

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
  auto checkpoint = std::make_unique<Checkpoint>();
  if (!options.resume.empty()) {
    if (!load_checkpoint(options.resume, *checkpoint)) return 1;
    // The checkpoint's settings, then whatever the command line names again.
    TrainOptions resumed;
    resumed.settings = checkpoint->settings;
    resumed.threads = cores;
    if (!parse_train_options(argc, argv, resumed)) return 2;
    options = resumed;
  } else {
    init_model(checkpoint->model, options.settings.seed);
  }
  const TrainSettings& settings = checkpoint->settings = options.settings;
  const std::filesystem::path out(options.out);
  std::error_code error;
  std::filesystem::create_directories(out, error);
  if (error) {
    std::fprintf(stderr, "%s: %s\n", options.out.c_str(), error.message().c_str());
    return 1;
  }
  std::vector<TrainingRecord> records;
  if (!load_records(options.data, records)) return 1;
  std::vector<uint32_t> training, validation;
  split_records(records.size(), settings.validation_share, settings.seed, training, validation);
  if (training.empty()) {
    std::fprintf(stderr, "no positions to train on\n");
    return 1;
  }
  std::printf("%zu training positions, %zu validation positions, %d threads, batch %d\n", training.size(),
              validation.size(), options.threads, settings.batch);
  if (checkpoint->epoch >= settings.epochs) std::printf("the checkpoint has %d epochs already\n", checkpoint->epoch);

  const LossSettings loss{float(settings.lambda), float(settings.scale), settings.fixed_point != 0};
  StepBuffers buffers(settings.batch, options.threads);
  for (int epoch = checkpoint->epoch + 1; epoch <= settings.epochs; ++epoch) {
    const double rate = learning_rate(settings, epoch);
    // The order of an epoch depends on the seed and the epoch alone, so a resumed run takes the
    // same steps as one that never stopped.
    std::vector<uint32_t> order = training;
    std::mt19937_64 rng(settings.seed ^ (0x9E3779B97F4A7C15ull * uint64_t(epoch)));
    std::shuffle(order.begin(), order.end(), rng);
    const Clock::time_point start = Clock::now();
    Clock::time_point last_print = start;
    bool progress_shown = false;
    double loss_sum = 0;
    size_t done = 0;
    while (done < order.size()) {
      const int count = int(std::min<size_t>(size_t(settings.batch), order.size() - done));
      loss_sum += train_batch(checkpoint->model, checkpoint->adam, buffers, records.data(), order.data() + done,
                              count, float(rate), loss);
      done += size_t(count);
      if (std::chrono::duration<double>(Clock::now() - last_print).count() >= 1.0) {
        last_print = Clock::now();
        progress_shown = true;
        std::printf("\repoch %d  %zu/%zu  loss %.6f  %.0f pos/s ", epoch, done, order.size(),
                    loss_sum / double(done), double(done) / seconds_since(start));
        std::fflush(stdout);
      }
    }
    const double seconds = seconds_since(start);
    EpochRow row;
    row.epoch = epoch;
    row.train_loss = loss_sum / double(done);
    row.validation_loss = mean_loss(checkpoint->model, records.data(), validation, loss, options.threads);
    row.learning_rate = rate;
    row.positions_per_second = double(done) / seconds;
    row.seconds = seconds;
    checkpoint->history.push_back(row);
    checkpoint->epoch = epoch;
    if (progress_shown) std::printf("\n");
    std::printf("epoch %d  train loss %.6f  validation loss %.6f  lr %.3g  %.0f pos/s  %.1f s\n", epoch,
                row.train_loss, row.validation_loss, rate, row.positions_per_second, seconds);
    std::fflush(stdout);
    if (!write_epoch_outputs(*checkpoint, out)) return 1;
  }
  return 0;
}
