// The makefile writes the sources that embed the network and the tables itself, without
// CMake: they must be the CMake build's, byte for byte, for the same inputs. Only the two
// generating rules run here; the long check MakefileBuild builds and benches the engine.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "helpers/scratch_files.h"

namespace fs = std::filesystem;

TEST(MakefileEmbedding, GeneratedSourcesAreTheCMakeBuilds) {
  const fs::path objects = fs::path(TESMAR_TOOLS_DIR) / "makefile-embedding";
  fs::remove_all(objects);
  const std::string network = objects.string() + "/generated/tesmar_network.cpp";
  const std::string tables = objects.string() + "/generated/tesmar_tables.cpp";
  const CommandRun make = run_command("make -C '" TESMAR_SOURCE_DIR "' OBJDIR='" + objects.string() +
                                      "' EVALFILE=" TESMAR_NETWORK_FILE " SYZYGY=" TESMAR_SYZYGY_DIR " '" + network +
                                      "' '" + tables + "' 2>&1");
  ASSERT_EQ(make.status, 0) << make.output;
  const fs::path cmake_generated = fs::path(TESMAR_TOOLS_DIR) / "generated";
  EXPECT_EQ(file_text(network), file_text(cmake_generated / "tesmar_network.cpp"));
  EXPECT_EQ(file_text(tables), file_text(cmake_generated / "tesmar_tables.cpp"));
  fs::remove_all(objects);

  // A blob of another size is refused before anything is compiled.
  const CommandRun wrong = run_command("make -C '" TESMAR_SOURCE_DIR "' OBJDIR='" + objects.string() +
                                       "' EVALFILE='" TESMAR_SOURCE_DIR "/makefile' '" + network + "' 2>&1");
  EXPECT_NE(wrong.status, 0);
  EXPECT_NE(wrong.output.find("a network of this engine has exactly 20990976"), std::string::npos) << wrong.output;
  fs::remove_all(objects);
}
