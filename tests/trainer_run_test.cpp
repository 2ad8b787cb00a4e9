// The trainer program end to end on a small synthetic set: a short run lowers the validation
// loss and leaves its outputs, the network passes the engine's start-up check and scores what the
// model scores, a resumed run takes the steps of one that never stopped, export rewrites the same
// blob, the thread count changes nothing, and a run can start from the engine's own network.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "eval/network.h"
#include "helpers/training_fixtures.h"

namespace {

namespace fs = std::filesystem;

struct ToolRun {
  int status;
  std::string output;
};

ToolRun trainer(const std::string& arguments) {
  ToolRun run{-1, ""};
  FILE* pipe = popen((std::string(TESMAR_TOOLS_DIR) + "/trainer " + arguments + " 2>&1").c_str(), "r");
  if (!pipe) return run;
  char buffer[4096];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.output.append(buffer, got);
  run.status = pclose(pipe);
  return run;
}

std::string file_text(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct LossRow {
  int epoch;
  double train, validation;
};

std::vector<LossRow> loss_rows(const fs::path& csv) {
  std::istringstream in(file_text(csv));
  std::string line;
  std::getline(in, line);  // the column names
  std::vector<LossRow> rows;
  while (std::getline(in, line)) {
    LossRow r;
    if (std::sscanf(line.c_str(), "%d,%lf,%lf", &r.epoch, &r.train, &r.validation) == 3) rows.push_back(r);
  }
  return rows;
}

struct TempDir {
  fs::path path = fs::temp_directory_path() / ("tesmar_trainer_test_" + std::to_string(getpid()));
  TempDir() { fs::create_directories(path); }
  ~TempDir() { fs::remove_all(path); }
};

TEST(TrainerRun, LearnsExportsChecksAndResumes) {
  if (!fs::exists(fs::path(TESMAR_TOOLS_DIR) / "trainer")) GTEST_SKIP() << "the trainer program is not built";
  TempDir dir;
  const fs::path data = dir.path / "random_play.bin", out = dir.path / "run", straight = dir.path / "straight";
  ASSERT_TRUE(write_training_file(data.string(), random_play_records(4000, 21)));
  const std::string common =
      " --data " + data.string() + " --batch 256 --threads 2 --validation-share 0.1 --lr 0.002 --lr-drop 2";

  const ToolRun first = trainer("train --epochs 2 --out " + out.string() + common);
  ASSERT_EQ(first.status, 0) << first.output;
  const std::vector<LossRow> rows = loss_rows(out / "losses.csv");
  ASSERT_EQ(rows.size(), 2u) << file_text(out / "losses.csv");
  EXPECT_LT(rows[1].validation, 0.8 * rows[0].validation);
  EXPECT_LT(rows[1].train, rows[0].train);
  EXPECT_EQ(file_text(out / "losses.svg").rfind("<svg", 0), 0u);

  const std::string blob_text = file_text(out / "network.net");
  ASSERT_EQ(blob_text.size(), NETWORK_BLOB_SIZE);
  EXPECT_EQ(network_header_fault(reinterpret_cast<const uint8_t*>(blob_text.data())), -1);

  const ToolRun check = trainer("check --checkpoint " + (out / "checkpoint.bin").string() + " --net " +
                                (out / "network.net").string() + " --data " + data.string());
  ASSERT_EQ(check.status, 0) << check.output;
  size_t positions = 0;
  double mean = 1e9, largest = 1e9;
  const size_t at = check.output.find("fixed-point model:");
  ASSERT_NE(at, std::string::npos) << check.output;
  ASSERT_EQ(std::sscanf(check.output.c_str() + at,
                        "fixed-point model: positions %zu mean difference %lf largest difference %lf", &positions,
                        &mean, &largest),
            3)
      << check.output;
  // A tenth of 4000 records held out, drawn one by one.
  EXPECT_GT(positions, 330u);
  EXPECT_LT(positions, 470u);
  EXPECT_LT(mean, 1.0);
  EXPECT_LT(largest, 1.0);

  // Resumed for a third epoch (whose rate has dropped), the run ends where one that never
  // stopped ends: same losses, same network.
  const ToolRun resumed =
      trainer("train --epochs 3 --resume " + (out / "checkpoint.bin").string() + " --out " + out.string() + common);
  ASSERT_EQ(resumed.status, 0) << resumed.output;
  const ToolRun whole = trainer("train --epochs 3 --out " + straight.string() + common);
  ASSERT_EQ(whole.status, 0) << whole.output;
  const std::vector<LossRow> more = loss_rows(out / "losses.csv"), once = loss_rows(straight / "losses.csv");
  ASSERT_EQ(more.size(), 3u);
  ASSERT_EQ(once.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(more[i].train, once[i].train) << "epoch " << i + 1;
    EXPECT_EQ(more[i].validation, once[i].validation) << "epoch " << i + 1;
  }
  EXPECT_TRUE(file_text(out / "network.net") == file_text(straight / "network.net"));

  const ToolRun exported =
      trainer("export --checkpoint " + (out / "checkpoint.bin").string() + " --out " + (dir.path / "again.net").string());
  ASSERT_EQ(exported.status, 0) << exported.output;
  EXPECT_TRUE(file_text(dir.path / "again.net") == file_text(out / "network.net"));
}

// Each thread steps only the rows it owns, and every sum runs in batch order: one, three or four
// threads give the very same network. A row stepped twice or left out would show at once.
TEST(TrainerRun, ThreadCountDoesNotChangeTheSteps) {
  if (!fs::exists(fs::path(TESMAR_TOOLS_DIR) / "trainer")) GTEST_SKIP() << "the trainer program is not built";
  TempDir dir;
  const fs::path data = dir.path / "random_play.bin";
  ASSERT_TRUE(write_training_file(data.string(), random_play_records(1500, 33)));
  std::vector<std::string> networks;
  std::vector<LossRow> results;
  for (int threads : {1, 3, 4}) {
    const fs::path out = dir.path / ("run" + std::to_string(threads));
    const ToolRun run = trainer("train --epochs 1 --batch 100 --validation-share 0.2 --threads " +
                                std::to_string(threads) + " --data " + data.string() + " --out " + out.string());
    ASSERT_EQ(run.status, 0) << run.output;
    const std::vector<LossRow> rows = loss_rows(out / "losses.csv");
    ASSERT_EQ(rows.size(), 1u);
    results.push_back(rows[0]);
    networks.push_back(file_text(out / "network.net"));
  }
  for (int i = 1; i < 3; ++i) {
    EXPECT_EQ(results[i].train, results[0].train) << i;
    EXPECT_EQ(results[i].validation, results[0].validation) << i;
    EXPECT_TRUE(networks[i] == networks[0]) << i;
  }
}

// A run from the network the engine carries, with a learning rate of 0, leaves it as it was: the
// import puts every weight where the export takes it from. With a rate, the steps go on from it:
// the first epoch's validation loss is that of a network that has learnt already.
TEST(TrainerRun, StartsFromTheEnginesNetwork) {
  if (!fs::exists(fs::path(TESMAR_TOOLS_DIR) / "trainer")) GTEST_SKIP() << "the trainer program is not built";
  TempDir dir;
  const fs::path data = dir.path / "random_play.bin", shipped = dir.path / "shipped.net";
  ASSERT_TRUE(write_training_file(data.string(), random_play_records(1200, 5)));
  std::ofstream(shipped, std::ios::binary)
      .write(reinterpret_cast<const char*>(tesmar_embedded_network), NETWORK_BLOB_SIZE);
  const std::string common = " --epochs 1 --batch 200 --threads 2 --chunk 500 --data " + data.string();
  const ToolRun still = trainer("train --lr 0 --init " + shipped.string() + " --out " + (dir.path / "still").string() + common);
  ASSERT_EQ(still.status, 0) << still.output;
  EXPECT_NE(still.output.find("starting from the network"), std::string::npos) << still.output;
  EXPECT_TRUE(file_text(dir.path / "still" / "network.net") == file_text(shipped));

  const ToolRun fresh = trainer("train --out " + (dir.path / "fresh").string() + common);
  const ToolRun tuned = trainer("train --init " + shipped.string() + " --out " + (dir.path / "tuned").string() + common);
  ASSERT_EQ(fresh.status, 0) << fresh.output;
  ASSERT_EQ(tuned.status, 0) << tuned.output;
  const std::vector<LossRow> from_random = loss_rows(dir.path / "fresh" / "losses.csv");
  const std::vector<LossRow> from_shipped = loss_rows(dir.path / "tuned" / "losses.csv");
  ASSERT_EQ(from_random.size(), 1u);
  ASSERT_EQ(from_shipped.size(), 1u);
  EXPECT_LT(from_shipped[0].validation, from_random[0].validation);

  EXPECT_EQ(trainer("train --init " + shipped.string() + " --resume " + (dir.path / "tuned" / "checkpoint.bin").string() +
                    " --out " + (dir.path / "both").string() + common)
                .status >> 8,
            2);
}

TEST(TrainerRun, RefusesWhatItCannotUse) {
  if (!fs::exists(fs::path(TESMAR_TOOLS_DIR) / "trainer")) GTEST_SKIP() << "the trainer program is not built";
  TempDir dir;
  const fs::path junk = dir.path / "junk.bin";
  std::ofstream(junk) << "not a training file at all";
  EXPECT_NE(trainer("train --data " + junk.string() + " --out " + (dir.path / "o").string()).status, 0);
  EXPECT_NE(trainer("export --checkpoint " + junk.string() + " --out " + (dir.path / "x.net").string()).status, 0);
  EXPECT_NE(trainer("train --data " + junk.string() + " --bogus 3").status, 0);
}

}  // namespace
