#include "trainer/checkpoint.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

namespace {

constexpr char CHECKPOINT_MAGIC[8] = {'T', 'E', 'S', 'M', 'A', 'R', 'C', 'K'};
constexpr uint32_t CHECKPOINT_VERSION = 1;

// The words that change when the layout of the file would: a file with other ones is refused.
struct CheckpointHeader {
  char magic[8];
  uint32_t version;
  uint32_t settings_bytes;
  uint32_t model_rows;
  uint32_t dense_count;
  int32_t epoch;
  uint32_t history_rows;
  int64_t adam_step;
};

static_assert(std::is_trivially_copyable_v<TrainSettings> && std::is_trivially_copyable_v<EpochRow>);

bool write_all(std::FILE* file, const void* data, size_t bytes) { return std::fwrite(data, 1, bytes, file) == bytes; }
bool read_all(std::FILE* file, void* data, size_t bytes) { return std::fread(data, 1, bytes, file) == bytes; }

}  // namespace

bool save_checkpoint(const Checkpoint& c, const std::string& path) {
  const std::string temporary = path + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) {
    std::perror(temporary.c_str());
    return false;
  }
  CheckpointHeader header{};
  std::memcpy(header.magic, CHECKPOINT_MAGIC, 8);
  header.version = CHECKPOINT_VERSION;
  header.settings_bytes = sizeof(TrainSettings);
  header.model_rows = MODEL_ROWS;
  header.dense_count = DENSE_COUNT;
  header.epoch = c.epoch;
  header.history_rows = uint32_t(c.history.size());
  header.adam_step = c.adam.step;
  const size_t row_bytes = c.model.rows.size() * sizeof(float);
  bool ok = write_all(file, &header, sizeof header) && write_all(file, &c.settings, sizeof c.settings) &&
            write_all(file, c.history.data(), c.history.size() * sizeof(EpochRow)) &&
            write_all(file, c.model.rows.data(), row_bytes) && write_all(file, &c.model.dense, sizeof c.model.dense) &&
            write_all(file, c.adam.row_m.data(), row_bytes) && write_all(file, c.adam.row_v.data(), row_bytes) &&
            write_all(file, &c.adam.dense_m, sizeof c.adam.dense_m) &&
            write_all(file, &c.adam.dense_v, sizeof c.adam.dense_v);
  ok = (std::fclose(file) == 0) && ok;
  if (!ok || std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::perror(path.c_str());
    return false;
  }
  return true;
}

bool load_checkpoint(const std::string& path, Checkpoint& c) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    std::perror(path.c_str());
    return false;
  }
  CheckpointHeader header;
  if (!read_all(file, &header, sizeof header) || std::memcmp(header.magic, CHECKPOINT_MAGIC, 8) != 0 ||
      header.version != CHECKPOINT_VERSION || header.settings_bytes != sizeof(TrainSettings) ||
      header.model_rows != MODEL_ROWS || header.dense_count != DENSE_COUNT) {
    std::fprintf(stderr, "%s: not a checkpoint of this trainer\n", path.c_str());
    std::fclose(file);
    return false;
  }
  c.epoch = header.epoch;
  c.adam.step = header.adam_step;
  c.history.resize(header.history_rows);
  const size_t row_bytes = c.model.rows.size() * sizeof(float);
  const bool ok = read_all(file, &c.settings, sizeof c.settings) &&
                  read_all(file, c.history.data(), c.history.size() * sizeof(EpochRow)) &&
                  read_all(file, c.model.rows.data(), row_bytes) && read_all(file, &c.model.dense, sizeof c.model.dense) &&
                  read_all(file, c.adam.row_m.data(), row_bytes) && read_all(file, c.adam.row_v.data(), row_bytes) &&
                  read_all(file, &c.adam.dense_m, sizeof c.adam.dense_m) &&
                  read_all(file, &c.adam.dense_v, sizeof c.adam.dense_v);
  std::fclose(file);
  if (!ok) std::fprintf(stderr, "%s: checkpoint cut short\n", path.c_str());
  return ok;
}
