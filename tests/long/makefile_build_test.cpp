// The makefile build as OpenBench's client makes it: a copy of the sources without CMake,
// `make -j EXE=NAME CXX=...` in that copy, the binary under exactly that name beside the
// makefile. It must search what the CMake build searches, at the native level and at the
// oldest vector level the engine supports (MakefileEmbedding holds what it embeds).
//
//   ctest --test-dir build -L long -R MakefileBuild --output-on-failure
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "helpers/engine_process.h"
#include "helpers/scratch_files.h"

namespace fs = std::filesystem;

namespace {

// The node count that a binary's bench ends with, from the line OpenBench's client reads.
std::string bench_nodes(const std::string& binary) {
  EngineProcess bench({"bench"}, 0, binary.c_str());
  const Lines out = bench.read_all(600000);
  EXPECT_EQ(bench.wait_exit(), 0) << binary;
  if (out.size() < 2) return "";
  EXPECT_EQ(out.back().rfind("Nodes/second: ", 0), 0u) << out.back();
  return out[out.size() - 2];
}

}  // namespace

TEST(MakefileBuild, BuildsTheCMakeEngineUnderTheAskedName) {
  // Inside the build tree, whose folders the sources' .gitignore already leaves out.
  const fs::path tree = fs::path(TESMAR_TOOLS_DIR) / "makefile-check";
  fs::remove_all(tree);
  fs::create_directories(tree / "scripts");
  const fs::path source = TESMAR_SOURCE_DIR;
  for (const char* part : {"makefile", "src", "cmake", "scripts/embed_syzygy.sh"})
    fs::copy(source / part, tree / part, fs::copy_options::recursive);
  const std::string cmake_bench = bench_nodes(TESMAR_BINARY);
  ASSERT_EQ(cmake_bench.rfind("Nodes searched: ", 0), 0u) << cmake_bench;

  for (const std::string arch : {"native", "x86-64-v2"}) {
    const std::string exe = "Engine-" + arch;
    // The CMake build's own compiler and inputs.
    const CommandRun make = run_command("cd '" + tree.string() + "' && make -j2 EXE=" + exe + " CXX=" TESMAR_CXX
                                        " ARCH=" + arch + " EVALFILE=" TESMAR_NETWORK_FILE
                                        " SYZYGY=" TESMAR_SYZYGY_DIR " 2>&1");
    ASSERT_EQ(make.status, 0) << make.output;
    ASSERT_TRUE(fs::is_regular_file(tree / exe)) << make.output;
    EXPECT_EQ(bench_nodes((tree / exe).string()), cmake_bench) << arch;
  }
  fs::remove_all(tree);
}
