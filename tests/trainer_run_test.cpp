// The trainer program end to end on a small synthetic set: a short run lowers the validation
// loss and leaves its outputs, the network passes the engine's start-up check and scores what the
// model scores, a resumed run takes the steps of one that never stopped, export rewrites the same
// blob, the thread count changes nothing, and a run can start from the engine's own network, with
// or without the factoriser.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "eval/network.h"
#include "helpers/scratch_files.h"
#include "helpers/training_fixtures.h"
#include "trainer/checkpoint.h"

namespace {

namespace fs = std::filesystem;

CommandRun trainer(const std::string& arguments) {
  return run_command(std::string(TESMAR_TOOLS_DIR) + "/trainer " + arguments + " 2>&1");
}

// A run that must succeed; what it printed.
std::string trained(const std::string& arguments) {
  const CommandRun run = trainer(arguments);
  EXPECT_EQ(run.status, 0) << arguments << "\n" << run.output;
  return run.output;
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

TEST(TrainerRun, LearnsExportsChecksAndResumes) {
  TempDir dir;
  const fs::path data = dir.path / "random_play.bin", out = dir.path / "run", straight = dir.path / "straight";
  ASSERT_TRUE(write_training_file(data.string(), random_play_records(4000, 21)));
  const std::string common =
      " --data " + data.string() + " --batch 256 --validation-share 0.1 --lr 0.002 --lr-drop 2";

  trained("train --epochs 2 --threads 2 --out " + out.string() + common);
  const std::vector<LossRow> rows = loss_rows(out / "losses.csv");
  ASSERT_EQ(rows.size(), 2u) << file_text(out / "losses.csv");
  EXPECT_LT(rows[1].validation, 0.8 * rows[0].validation);
  EXPECT_LT(rows[1].train, rows[0].train);
  EXPECT_EQ(file_text(out / "losses.svg").rfind("<svg", 0), 0u);

  const std::string blob_text = file_text(out / "network.net");
  ASSERT_EQ(blob_text.size(), NETWORK_BLOB_SIZE);
  EXPECT_EQ(network_header_fault(reinterpret_cast<const uint8_t*>(blob_text.data())), -1);

  const std::string check = trained("check --checkpoint " + (out / "checkpoint.bin").string() + " --net " +
                                    (out / "network.net").string() + " --data " + data.string());
  size_t positions = 0;
  double mean = 1e9, largest = 1e9;
  const size_t at = check.find("fixed-point model:");
  ASSERT_NE(at, std::string::npos) << check;
  ASSERT_EQ(std::sscanf(check.c_str() + at,
                        "fixed-point model: positions %zu mean difference %lf largest difference %lf", &positions,
                        &mean, &largest),
            3)
      << check;
  // A tenth of 4000 records held out, drawn one by one.
  EXPECT_GT(positions, 330u);
  EXPECT_LT(positions, 470u);
  EXPECT_LT(mean, 1.0);
  EXPECT_LT(largest, 1.0);

  // Resumed for a third epoch (whose rate has dropped), the run ends where one that never
  // stopped ends: same losses, same network. That one runs on three threads: each thread steps
  // only the rows it owns and every sum runs in batch order, so the count changes nothing, and
  // a row stepped twice or left out would show here at once.
  trained("train --epochs 3 --threads 2 --resume " + (out / "checkpoint.bin").string() + " --out " + out.string() +
          common);
  trained("train --epochs 3 --threads 3 --out " + straight.string() + common);
  const std::vector<LossRow> more = loss_rows(out / "losses.csv"), once = loss_rows(straight / "losses.csv");
  ASSERT_EQ(more.size(), 3u);
  ASSERT_EQ(once.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(more[i].train, once[i].train) << "epoch " << i + 1;
    EXPECT_EQ(more[i].validation, once[i].validation) << "epoch " << i + 1;
  }
  EXPECT_TRUE(file_text(out / "network.net") == file_text(straight / "network.net"));

  trained("export --checkpoint " + (out / "checkpoint.bin").string() + " --out " + (dir.path / "again.net").string());
  EXPECT_TRUE(file_text(dir.path / "again.net") == file_text(out / "network.net"));
}

// A run from the network the engine carries, with a learning rate of 0, leaves it as it was: the
// import puts every weight where the export takes it from. With a rate, the steps go on from it:
// the first epoch's validation loss is that of a network that has learnt already.
TEST(TrainerRun, StartsFromTheEnginesNetwork) {
  TempDir dir;
  const fs::path data = dir.path / "random_play.bin", shipped = dir.path / "shipped.net";
  ASSERT_TRUE(write_training_file(data.string(), random_play_records(1200, 5)));
  std::ofstream(shipped, std::ios::binary)
      .write(reinterpret_cast<const char*>(tesmar_embedded_network), NETWORK_BLOB_SIZE);
  const std::string common = " --epochs 1 --batch 200 --threads 2 --chunk 500 --data " + data.string();
  const std::string still = trained("train --lr 0 --init " + shipped.string() + " --out " + (dir.path / "still").string() + common);
  EXPECT_NE(still.find("starting from the network"), std::string::npos) << still;
  EXPECT_TRUE(file_text(dir.path / "still" / "network.net") == file_text(shipped));

  // Without the factoriser its rows are folded into the king rows at the start (the network is
  // unchanged) and stay zero through the steps, which move the king rows alone.
  trained("train --lr 0 --no-factoriser --init " + shipped.string() + " --out " + (dir.path / "folded").string() + common);
  EXPECT_TRUE(file_text(dir.path / "folded" / "network.net") == file_text(shipped));
  trained("train --no-factoriser --init " + shipped.string() + " --out " + (dir.path / "alone").string() + common);
  auto checkpoint = std::make_unique<Checkpoint>();
  ASSERT_TRUE(load_checkpoint((dir.path / "alone" / "checkpoint.bin").string(), *checkpoint));
  const auto factors = checkpoint->model.rows.begin() + size_t(FACTOR_ROW_BASE) * L1_SIZE;
  EXPECT_TRUE(std::all_of(factors, checkpoint->model.rows.end(), [](float w) { return w == 0; }));
  EXPECT_FALSE(file_text(dir.path / "alone" / "network.net") == file_text(shipped));

  trained("train --out " + (dir.path / "fresh").string() + common);
  trained("train --init " + shipped.string() + " --out " + (dir.path / "tuned").string() + common);
  const std::vector<LossRow> from_random = loss_rows(dir.path / "fresh" / "losses.csv");
  const std::vector<LossRow> from_shipped = loss_rows(dir.path / "tuned" / "losses.csv");
  ASSERT_EQ(from_random.size(), 1u);
  ASSERT_EQ(from_shipped.size(), 1u);
  EXPECT_LT(from_shipped[0].validation, from_random[0].validation);

  EXPECT_EQ(trainer("train --init " + shipped.string() + " --resume " + (dir.path / "tuned" / "checkpoint.bin").string() +
                    " --out " + (dir.path / "both").string() + common)
                .status,
            2);
}

// A file that is no training file, beside a good one, stops the run before any step.
TEST(TrainerRun, RefusesWhatItCannotUse) {
  TempDir dir;
  const fs::path junk = dir.path / "junk.bin", good = dir.path / "good.bin";
  std::ofstream(junk) << "not a training file at all";
  ASSERT_TRUE(write_training_file(good.string(), random_play_records(10, 1)));
  for (const std::string& data : {good.string() + " " + junk.string(), (dir.path / "none.bin").string()}) {
    const CommandRun run = trainer("train --data " + data + " --out " + (dir.path / "o").string());
    EXPECT_EQ(run.status, 1) << data << ": " << run.output;
    EXPECT_FALSE(fs::exists(dir.path / "o" / "network.net")) << data;
  }
  EXPECT_NE(trainer("export --checkpoint " + junk.string() + " --out " + (dir.path / "x.net").string()).status, 0);
  EXPECT_NE(trainer("train --data " + good.string() + " --bogus 3").status, 0);
}

}  // namespace
