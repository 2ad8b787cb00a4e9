// The registry over SyzygyPath folders of files named like tables: counts, names,
// shadowing by the embedded tables, broken files, and first use.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include <unistd.h>

#include "helpers/board_fixtures.h"
#include "helpers/scratch_files.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace fs = std::filesystem;

namespace {

int open_descriptors() {
  int n = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

class Registry : public EmbeddedTablesTest {
 protected:
  void TearDown() override { reset_tables(); }
  // tb_init with the text; the line it prints, if any.
  static std::string init(const std::string& path, int32_t& largest) {
    testing::internal::CaptureStdout();
    largest = tb_init(path.c_str());
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(Registry, CountsNamesAndFolders) {
  TempDir a, b, all;
  write_broken_table(a.path, "KQRvKP.rtbw");
  write_broken_table(b.path, "KQRvKP.rtbz");
  // Names of the wrong order are never looked for: KQBvKQR is written KQRvKQB.
  write_broken_table(b.path, "KQBvKQR.rtbw");
  int32_t largest;
  EXPECT_EQ(init("<empty>", largest), "");
  EXPECT_EQ(largest, 4);
  EXPECT_EQ(init("", largest), "");
  EXPECT_EQ(table_registry.wdl_file_count, 35);
  EXPECT_EQ(init(all.path, largest), "info string Found 35 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 4);
  EXPECT_EQ(init(a.path, largest), "info string Found 36 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 5);
  // Empty pieces and a trailing separator are dropped; a DTZ file counts from any folder.
  const std::string two = a.path.string() + ";;" + b.path.string() + ";";
  EXPECT_EQ(init(two, largest), "info string Found 36 WDL and 36 DTZ tablebase files.\n");
  EXPECT_EQ(table_registry.table_directories.size(), 2u);
  EXPECT_EQ(init(two, largest), "info string Found 36 WDL and 36 DTZ tablebase files.\n");

  // One empty file of each of the 1476 larger names: all are registered, 650 without pawns.
  // A side is written strongest man first (in QRBNP order), and of two sides with as many
  // men the left is the stronger; the sides are made strongest first, so y starts at x.
  const std::string letters = "QRBNP";
  std::vector<std::string> sides[6];
  std::function<void(const std::string&, size_t, int)> extend = [&](const std::string& side, size_t from, int left) {
    if (left == 0) {
      sides[side.size()].push_back(side);
      return;
    }
    for (size_t i = from; i < letters.size(); ++i) extend(side + letters[i], i, left - 1);
  };
  for (int n = 0; n <= 5; ++n) extend("", 0, n);
  int made = 0;
  for (int l = 1; l <= 5; ++l)
    for (int r = 0; r <= l && l + r <= 5; ++r)
      for (size_t x = 0; x < sides[l].size(); ++x)
        for (size_t y = l == r ? x : 0; y < sides[r].size(); ++y)
          if (l + r >= 3) {
            std::ofstream(all.path / ("K" + sides[l][x] + "vK" + sides[r][y] + ".rtbw"));
            ++made;
          }
  EXPECT_EQ(made, 1476);
  EXPECT_EQ(init(all.path, largest), "info string Found 1511 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 7);
  EXPECT_EQ(table_registry.piece_table_count, 650);
  EXPECT_EQ(table_registry.pawn_table_count, 861);
}

TEST_F(Registry, BrokenFilesFailOnceForBothColourOrdersAndPlayGoesOn) {
  TempDir folder;
  write_broken_table(folder.path, "KQRvKP.rtbw");
  // A folder's own four-man file is never opened: the embedded one is used.
  write_broken_table(folder.path, "KQvK.rtbw");
  int32_t largest;
  init(folder.path, largest);

  // The broken material fails from either colour order, and says so once however often probed.
  testing::internal::CaptureStdout();
  int success;
  for (int round = 0; round < 2; ++round)
    for (const char* fen : {"4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1", "4k3/4p3/8/8/8/8/8/RQ2K3 b - - 0 1",
                            "rq2k3/8/8/8/8/8/4P3/4K3 w - - 0 1"}) {
      auto thread = thread_at(fen);
      probe_wdl(*thread, success);
      EXPECT_EQ(success, 0) << fen;
      probe_dtz(*thread, success);
      EXPECT_EQ(success, 0) << fen;
    }
  auto kqk = thread_at("8/8/8/4k3/8/8/8/3QK3 w - - 0 1");
  EXPECT_EQ(probe_wdl(*kqk, success), 2);
  EXPECT_EQ(success, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "info string Table KQRvKP.rtbw in " + folder.path.string() +
                " not used: not a WDL table (wrong magic number)\n");
  // Setting the path again tries the file afresh: it may have been mended.
  init(folder.path, largest);
  testing::internal::CaptureStdout();
  probe_wdl(*thread_at("4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1"), success);
  EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST_F(Registry, FilesAreSetUpAtFirstUseAndLeaveNoDescriptorOpen) {
  TempDir folder;
  write_broken_table(folder.path, "KQRvKP.rtbw");
  int32_t largest;
  init(folder.path, largest);
  auto thread = thread_at("8/8/8/4k3/8/8/8/3RK3 w - - 0 1");
  TableEntry* entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->view[WDL], nullptr);
  int success;
  probe_wdl(*thread, success);
  EXPECT_EQ(success, 1);
  EXPECT_NE(entry->view[WDL], nullptr);
  EXPECT_EQ(entry->view[DTZ], nullptr);
  // A file from disk is opened, mapped and closed at once, also when it turns out broken.
  const int before = open_descriptors();
  testing::internal::CaptureStdout();
  auto six = thread_at("4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1");
  probe_wdl(*six, success);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(open_descriptors(), before);
  // Setting the path again rebuilds the registry: nothing is set up until the next use.
  init(folder.path, largest);
  entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  EXPECT_FALSE(entry->ready[WDL].load());
  EXPECT_EQ(probe_wdl(*thread, success), 2);
}

// What can't be mapped is a missing table with a message, never the end of the process:
// a folder under a table's name, an empty file, one cut inside its magic number, one
// without read permission (where the tests don't run as root), one removed after the
// registry saw it.
TEST_F(Registry, FilesThatCannotBeMappedAreAbsentWithTheirReason) {
  TempDir folder;
  fs::create_directory(folder.path / "KQRvKP.rtbw");
  std::ofstream(folder.path / "KQQvKP.rtbw");
  std::ofstream(folder.path / "KRRvKP.rtbw") << "q\xE8";
  std::ofstream(folder.path / "KRBvKP.rtbw") << "no reading";
  fs::permissions(folder.path / "KRBvKP.rtbw", fs::perms::none);
  const bool root = geteuid() == 0;
  std::ofstream(folder.path / "KRNvKP.rtbw") << "gone soon";
  int32_t largest;
  init(folder.path, largest);
  fs::remove(folder.path / "KRNvKP.rtbw");
  const std::string in = " in " + folder.path.string() + " not used: ";

  struct Case {
    const char* fen;
    std::string line;  // empty: not checked (file readable by root)
  };
  const Case CASES[] = {
      {"4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1", "KQRvKP.rtbw" + in + "not a file but a folder"},
      {"4k3/4p3/8/8/8/8/8/QQ2K3 w - - 0 1", "KQQvKP.rtbw" + in + "an empty file"},
      {"4k3/4p3/8/8/8/8/8/RR2K3 w - - 0 1", "KRRvKP.rtbw" + in + "not a WDL table (wrong magic number)"},
      {"4k3/4p3/8/8/8/8/8/RB2K3 w - - 0 1",
       root ? "" : "KRBvKP.rtbw" + in + "cannot be opened: Permission denied"},
      {"4k3/4p3/8/8/8/8/8/RN2K3 w - - 0 1", "KRNvKP.rtbw in the SyzygyPath folders not used: no longer there"},
  };
  for (const Case& c : CASES) {
    auto thread = thread_at(c.fen);
    testing::internal::CaptureStdout();
    int success;
    probe_wdl(*thread, success);
    const std::string out = testing::internal::GetCapturedStdout();
    if (c.line.empty()) continue;
    EXPECT_EQ(success, 0) << c.fen;
    EXPECT_EQ(out, "info string Table " + c.line + "\n");
  }
  TableEntry* entry = find_table_slot(material_key(*thread_at(CASES[0].fen)->current_position)).entry.load();
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->ready[WDL].load(), FILE_FAILED);
  fs::permissions(folder.path / "KRBvKP.rtbw", fs::perms::owner_all);
}

}  // namespace
