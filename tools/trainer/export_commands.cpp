#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/record_features.h"
#include "trainer/checkpoint.h"
#include "trainer/commands.h"
#include "trainer/export_check.h"
#include "trainer/network_export.h"
#include "trainer/training_set.h"

namespace {

// Reads "--name value" pairs, with --data taking every value up to the next option.
struct NamedArguments {
  std::string checkpoint, out, net;
  std::vector<std::string> data;
  long positions = 10000;

  bool parse(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
      const char* name = argv[i];
      if (!std::strcmp(name, "--data")) {
        while (i + 1 < argc && std::strncmp(argv[i + 1], "--", 2) != 0) data.push_back(argv[++i]);
        continue;
      }
      if (i + 1 >= argc) {
        std::fprintf(stderr, "%s needs a value\n", name);
        return false;
      }
      const char* value = argv[++i];
      if (!std::strcmp(name, "--checkpoint")) checkpoint = value;
      else if (!std::strcmp(name, "--out")) out = value;
      else if (!std::strcmp(name, "--net")) net = value;
      else if (!std::strcmp(name, "--positions")) positions = std::atol(value);
      else {
        std::fprintf(stderr, "unknown option %s\n", name);
        return false;
      }
    }
    return true;
  }
};

}  // namespace

int export_command(int argc, char** argv) {
  NamedArguments args;
  if (!args.parse(argc, argv) || args.checkpoint.empty() || args.out.empty()) {
    std::fprintf(stderr, "usage: trainer export --checkpoint CKPT --out FILE.net\n");
    return 2;
  }
  auto checkpoint = std::make_unique<Checkpoint>();
  if (!load_checkpoint(args.checkpoint, *checkpoint)) return 1;
  return write_network_file(export_network(checkpoint->model), args.out.c_str()) ? 0 : 1;
}

int check_command(int argc, char** argv) {
  NamedArguments args;
  if (!args.parse(argc, argv) || args.checkpoint.empty() || args.net.empty() || args.data.empty()) {
    std::fprintf(stderr, "usage: trainer check --checkpoint CKPT --net FILE.net --data FILE [FILE...] [--positions N]\n");
    return 2;
  }
  auto checkpoint = std::make_unique<Checkpoint>();
  if (!load_checkpoint(args.checkpoint, *checkpoint)) return 1;
  const std::vector<uint8_t> blob = read_network_file(args.net.c_str());
  if (blob.empty()) return 1;
  const int fault = network_header_fault(blob.data());
  if (fault >= 0) {
    uint32_t word;
    std::memcpy(&word, blob.data() + BLOB_FRACTION_BITS + 4 * fault, 4);
    std::fprintf(stderr, "%s: fractional bits of layer %d are %u, the engine needs %u\n", args.net.c_str(), fault + 1,
                 word, EXPECTED_FRACTION_BITS[fault]);
    return 1;
  }
  TrainingSet set;
  const TrainSettings& settings = checkpoint->settings;
  if (!open_training_set(args.data, settings.validation_share, settings.seed, DEFAULT_CHUNK_RECORDS, set, args.positions))
    return 1;
  // The held-out positions, or the first ones when none are held out.
  std::vector<TrainingRecord> chosen = set.validation;
  if (chosen.empty()) {
    chosen.resize(size_t(std::min<int64_t>(args.positions, set.files.total)));
    if (!read_training_records(set.files, 0, int64_t(chosen.size()), chosen.data())) return 1;
    chosen.erase(std::remove_if(chosen.begin(), chosen.end(), [](const TrainingRecord& r) { return !record_is_valid(r); }),
                 chosen.end());
  }
  // The arithmetic the model was trained in first; the other one shows what rounding costs.
  const bool trained_fixed = checkpoint->settings.fixed_point != 0;
  for (const bool fixed_point : {trained_fixed, !trained_fixed}) {
    const ExportCheck check = compare_with_engine(checkpoint->model, fixed_point, blob, chosen.data(), chosen.size());
    std::printf("%s positions %zu  mean difference %.3f  largest difference %.3f\n",
                fixed_point ? "fixed-point model:" : "real-valued model:", check.positions, check.mean_difference,
                check.max_difference);
  }
  return 0;
}
