#include "trainer/options.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>

const char* const TRAINER_USAGE =
    "usage:\n"
    "  trainer train --data FILE [FILE...] --out DIR [options]\n"
    "      FILE: training files, game corpus files (.tgc) and folders of them (data/corpus)\n"
    "      Trains the network on training files and writes, after every epoch, into DIR:\n"
    "      checkpoint.bin (weights, optimiser state, epoch, settings, loss history), network.net\n"
    "      (the network of that epoch, ready for the engine), losses.csv and losses.svg.\n"
    "      --epochs N             epochs in all, counting those of a resumed run (10)\n"
    "      --batch B              positions per step (16384)\n"
    "      --lr X                 Adam learning rate of the first epoch (0.001)\n"
    "      --lr-drop N            step schedule: multiply the rate by the gamma every N epochs (4;\n"
    "                             0 keeps it constant)\n"
    "      --lr-gamma G           factor of each drop, or the end ratio of the cosine schedule (0.3)\n"
    "      --cosine               cosine schedule from --lr down to --lr x --lr-gamma at the last epoch\n"
    "      --real-arithmetic      train the plain real-valued network; by default the forward pass\n"
    "                             works on the engine's fixed-point grid (weights rounded as the\n"
    "                             export rounds them, activations floored to eighths), with\n"
    "                             gradients passed straight through the rounding to the real weights\n"
    "      --lambda L             weight of the score in the target, 1 - L of the game result (0.7)\n"
    "      --scale K              sigmoid scale in score units (400 / ln 10 = 173.7)\n"
    "      --validation-share S   share of the positions held out for validation (0.01)\n"
    "      --seed N               seed of the starting weights, the split and the shuffles (1)\n"
    "      --threads T            threads (all cores)\n"
    "      --resume CKPT          continue from a checkpoint; its settings hold unless given again\n"
    "      --init NET             start from the weights of a network blob (data/tesmar.net, the\n"
    "                             network the engine carries) instead of random ones\n"
    "      --chunk N              records read and shuffled together (16777216): each epoch takes\n"
    "                             blocks of the files in a random order, N records at a time, and\n"
    "                             shuffles within them; two chunks are in memory at once\n"
    "      --skip-plies N         positions of corpus games from ply N of the game on (0)\n"
    "      --mirror               turns each position without castling rights left to right by\n"
    "                             a coin tossed afresh every epoch (not kept in the checkpoint:\n"
    "                             give it again when resuming)\n"
    "      --no-factoriser        trains the king rows alone, without the shared rows of each\n"
    "                             piece and square (not kept in the checkpoint: give it again\n"
    "                             when resuming)\n"
    "  trainer export --checkpoint CKPT --out FILE.net\n"
    "      Writes the network of a checkpoint.\n"
    "  trainer check --checkpoint CKPT --net FILE.net --data FILE [FILE...] [--positions N]\n"
    "      Scores N positions (10000) with the engine on FILE.net and with the float model of the\n"
    "      checkpoint, and prints the mean and largest difference. The positions are the validation\n"
    "      part of the files under the checkpoint's seed and share (all of them if that part is empty).\n";

namespace {

bool number(const char* text, double& value) {
  char* end;
  value = std::strtod(text, &end);
  return *text && !*end;
}

// The option of that name that takes a number; false when there is none.
bool set_number(const char* name, double v, TrainOptions& options) {
  TrainSettings& s = options.settings;
  if (!std::strcmp(name, "--epochs")) s.epochs = int32_t(v);
  else if (!std::strcmp(name, "--batch")) s.batch = int32_t(v);
  else if (!std::strcmp(name, "--lr")) s.learning_rate = v;
  else if (!std::strcmp(name, "--lr-drop")) s.lr_drop = int32_t(v);
  else if (!std::strcmp(name, "--lr-gamma")) s.lr_gamma = v;
  else if (!std::strcmp(name, "--lambda")) s.lambda = v;
  else if (!std::strcmp(name, "--scale")) s.scale = v;
  else if (!std::strcmp(name, "--validation-share")) s.validation_share = v;
  else if (!std::strcmp(name, "--threads")) options.threads = int(v);
  else if (!std::strcmp(name, "--chunk")) options.chunk = int64_t(v);
  else if (!std::strcmp(name, "--skip-plies")) options.corpus_filter.skip_plies = int(v);
  else return false;
  return true;
}

}  // namespace

bool parse_train_options(int argc, char** argv, TrainOptions& options) {
  TrainSettings& s = options.settings;
  for (int i = 0; i < argc; ++i) {
    const char* name = argv[i];
    if (!std::strcmp(name, "--cosine")) {
      s.cosine = 1;
      continue;
    }
    if (!std::strcmp(name, "--mirror")) {
      options.mirror = true;
      continue;
    }
    if (!std::strcmp(name, "--no-factoriser")) {
      options.factoriser = false;
      continue;
    }
    if (!std::strcmp(name, "--real-arithmetic")) {
      s.fixed_point = 0;
      continue;
    }
    if (!std::strcmp(name, "--data")) {
      while (i + 1 < argc && std::strncmp(argv[i + 1], "--", 2) != 0) options.data.push_back(argv[++i]);
      continue;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "%s needs a value\n", name);
      return false;
    }
    const char* text = argv[++i];
    if (!std::strcmp(name, "--out")) {
      options.out = text;
      continue;
    }
    if (!std::strcmp(name, "--resume")) {
      options.resume = text;
      continue;
    }
    if (!std::strcmp(name, "--init")) {
      options.init = text;
      continue;
    }
    if (!std::strcmp(name, "--seed")) {
      char* end;
      s.seed = std::strtoull(text, &end, 10);
      if (*text && !*end) continue;
    }
    double v;
    if (!number(text, v)) {
      std::fprintf(stderr, "%s: %s is not a number\n", name, text);
      return false;
    }
    if (!set_number(name, v, options)) {
      std::fprintf(stderr, "unknown option %s\n", name);
      return false;
    }
  }
  if (s.batch < 1 || s.epochs < 1 || options.threads < 1 || s.scale <= 0 || options.chunk < 1) {
    std::fprintf(stderr, "--batch, --epochs, --threads, --scale and --chunk must be positive\n");
    return false;
  }
  return true;
}

double learning_rate(const TrainSettings& settings, int epoch) {
  if (settings.cosine) {
    const double progress = settings.epochs > 1 ? double(epoch - 1) / (settings.epochs - 1) : 0.0;
    const double low = settings.learning_rate * settings.lr_gamma;
    return low + (settings.learning_rate - low) * 0.5 * (1 + std::cos(std::numbers::pi * progress));
  }
  if (settings.lr_drop <= 0) return settings.learning_rate;
  return settings.learning_rate * std::pow(settings.lr_gamma, (epoch - 1) / settings.lr_drop);
}
