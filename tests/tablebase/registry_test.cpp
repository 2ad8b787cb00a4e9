// The registry over SyzygyPath folders made from the shared four-man files: counts,
// names, shadowing by the embedded tables, broken files, and first use.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace fs = std::filesystem;

namespace {

// A fresh folder under the system's temporary directory, removed at the end of the test.
struct TempFolder {
  fs::path path;
  TempFolder() {
    char name[] = "/tmp/tesmar_tb_XXXXXX";
    path = mkdtemp(name);
  }
  ~TempFolder() { fs::remove_all(path); }
  // A copy of a shared file under a new name; with broken_magic its first byte is changed.
  void copy(const char* shared_name, const char* name, bool broken_magic = false) const {
    fs::copy_file(fs::path(TESMAR_SHARED_SYZYGY) / shared_name, path / name);
    fs::permissions(path / name, fs::perms::owner_read | fs::perms::owner_write);
    if (broken_magic) {
      std::fstream f(path / name, std::ios::in | std::ios::out | std::ios::binary);
      f.seekp(0);
      f.put('X');
    }
  }
  std::string text() const { return path.string(); }
};

int open_descriptors() {
  int n = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

class Registry : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    if (!fs::exists(TESMAR_SHARED_SYZYGY)) GTEST_SKIP() << TESMAR_SHARED_SYZYGY << " is absent";
    reset_tables();
  }
  void TearDown() override { reset_tables(); }
  // tb_init with the text; the line it prints, if any.
  static std::string init(const std::string& path, int32_t& largest) {
    testing::internal::CaptureStdout();
    largest = tb_init(path.c_str());
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(Registry, CountsNamesAndFolders) {
  TempFolder a, b, all;
  a.copy("KQvK.rtbw", "KQRvKP.rtbw", true);
  b.copy("KQvK.rtbz", "KQRvKP.rtbz");
  // Names of the wrong order are never looked for: KQBvKQR is written KQRvKQB.
  b.copy("KQvK.rtbw", "KQBvKQR.rtbw");
  int32_t largest;
  EXPECT_EQ(init("<empty>", largest), "");
  EXPECT_EQ(largest, 4);
  EXPECT_EQ(init("", largest), "");
  EXPECT_EQ(table_registry.wdl_file_count, 35);
  EXPECT_EQ(init(all.text(), largest), "info string Found 35 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 4);
  EXPECT_EQ(init(a.text(), largest), "info string Found 36 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 5);
  // Empty pieces and a trailing separator are dropped; a DTZ file counts from any folder.
  const std::string two = a.text() + ";;" + b.text() + ";";
  EXPECT_EQ(init(two, largest), "info string Found 36 WDL and 36 DTZ tablebase files.\n");
  EXPECT_EQ(table_registry.table_directories.size(), 2u);
  EXPECT_EQ(init(two, largest), "info string Found 36 WDL and 36 DTZ tablebase files.\n");

  // One file of each of the 1476 larger names, empty: all are registered, 650 without pawns.
  int made = 0;
  auto touch = [&](const std::string& name) {
    std::ofstream(all.path / (name + ".rtbw"));
    ++made;
  };
  const std::string letters = "QRBNP";
  // Letters as digits of their place in QRBNP, so that names compare by strength.
  auto strength_order = [&](const std::string& side) {
    std::string digits;
    for (char c : side) digits += char('0' + letters.find(c));
    return digits;
  };
  // Left side at least as long as the right, letters strongest first on each side.
  std::function<void(std::string, int, int, int)> side;
  std::vector<std::string> lefts[6];
  side = [&](std::string s, int from, int left, int count) {
    if (left == 0) {
      lefts[count].push_back(s);
      return;
    }
    for (int i = from; i < 5; ++i) side(s + letters[size_t(i)], i, left - 1, count);
  };
  for (int n = 0; n <= 5; ++n) side("", 0, n, n);
  for (int l = 1; l <= 5; ++l)
    for (int r = 0; r <= l && l + r <= 5; ++r)
      for (const std::string& x : lefts[l])
        for (const std::string& y : lefts[r])
          if (l + r >= 3 && (l != r || strength_order(x) <= strength_order(y))) touch("K" + x + "vK" + y);
  EXPECT_EQ(made, 1476);
  EXPECT_EQ(init(all.text(), largest), "info string Found 1511 WDL and 35 DTZ tablebase files.\n");
  EXPECT_EQ(largest, 7);
  EXPECT_EQ(table_registry.piece_table_count, 650);
  EXPECT_EQ(table_registry.pawn_table_count, 861);
}

TEST_F(Registry, BrokenFilesFailOncePerColourOrderAndPlayGoesOn) {
  TempFolder folder;
  folder.copy("KQvK.rtbw", "KQRvKP.rtbw", true);
  // A folder's own four-man file is never opened: the embedded one is used.
  folder.copy("KRvK.rtbw", "KQvK.rtbw", true);
  int32_t largest;
  init(folder.text(), largest);

  const char* const white_left[] = {"4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1", "4k3/4p3/8/8/8/8/8/RQ2K3 b - - 0 1"};
  const char* const black_left[] = {"rq2k3/8/8/8/8/8/4P3/4K3 w - - 0 1"};
  testing::internal::CaptureStderr();
  int success;
  for (int round = 0; round < 2; ++round) {
    for (const char* fen : white_left) {
      auto thread = thread_at(fen);
      probe_wdl(*thread, success);
      EXPECT_EQ(success, 0) << fen;
      probe_dtz(*thread, success);
      EXPECT_EQ(success, 0) << fen;
    }
    for (const char* fen : black_left) {
      auto thread = thread_at(fen);
      probe_wdl(*thread, success);
      EXPECT_EQ(success, 0) << fen;
    }
  }
  auto kqk = thread_at("8/8/8/4k3/8/8/8/3QK3 w - - 0 1");
  EXPECT_EQ(probe_wdl(*kqk, success), 2);
  EXPECT_EQ(success, 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Corrupted table.\nCorrupted table.\n");
}

TEST_F(Registry, FilesAreSetUpAtFirstUseAndLeaveNoDescriptorOpen) {
  TempFolder folder;
  folder.copy("KQvK.rtbw", "KQRvKP.rtbw", true);
  int32_t largest;
  init(folder.text(), largest);
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
  testing::internal::CaptureStderr();
  auto six = thread_at("4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1");
  probe_wdl(*six, success);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(open_descriptors(), before);
  // Setting the path again rebuilds the registry: nothing is set up until the next use.
  init(folder.text(), largest);
  entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  EXPECT_FALSE(entry->ready[WDL].load());
  EXPECT_EQ(probe_wdl(*thread, success), 2);
}

TEST_F(Registry, AFileThatCannotBeMappedEndsTheProcess) {
  TempFolder folder;
  fs::create_directory(folder.path / "KQRvKP.rtbw");  // opens for reading, but has no bytes to map
  EXPECT_EXIT(
      {
        int32_t largest = tb_init(folder.text().c_str());
        (void)largest;
        auto thread = thread_at("4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1");
        int success;
        probe_wdl(*thread, success);
      },
      testing::ExitedWithCode(1), "Could not map KQRvKP.rtbw into memory.");
}

}  // namespace
