// tbgen: makes endgame tables of up to five men in the Syzygy format the engine reads.
//
//   tbgen [--threads N] [--out FOLDER] --small     the 35 three- and four-man tables
//   tbgen [--threads N] [--out FOLDER] KRPvKR ...  the tables named
//
// Each table is solved by retrograde analysis, after the smaller tables its captures and
// promotions lead into; for each table named it prints the time, the memory and the sizes
// of the two files it writes.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "board/board_tables.h"
#include "tbgen/retrograde.h"
#include "tbgen/table_index.h"
#include "tbgen/table_writer.h"

namespace {

double peak_memory_mb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;
}

bool write_file(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  return bool(out);
}

int usage() {
  std::fprintf(stderr, "usage: tbgen [--threads N] [--out FOLDER] (--small | NAME...)\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  TableStore store;
  std::string folder = ".";
  std::vector<std::string> names;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--threads") && i + 1 < argc) {
      store.options.threads = std::max(1, std::atoi(argv[++i]));
    } else if (!std::strcmp(argv[i], "--out") && i + 1 < argc) {
      folder = argv[++i];
    } else if (!std::strcmp(argv[i], "--small")) {
      for (const std::string& n : small_signatures()) names.push_back(n);
    } else if (argv[i][0] == '-') {
      return usage();
    } else {
      names.push_back(argv[i]);
    }
  }
  if (names.empty()) return usage();
  // Only the tables written need their states; the others give their values to larger ones.
  store.options.keep_states.insert(names.begin(), names.end());
  init_board_tables();
  init_table_index();
  const auto start = std::chrono::steady_clock::now();
  size_t total_bytes = 0;
  std::printf("%-8s %9s %9s %10s %10s %10s\n", "table", "solve s", "write s", "memory MB", "rtbw bytes", "rtbz bytes");
  for (const std::string& name : names) {
    TableResult* t;
    try {
      t = &solve_table(store, name);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "tbgen: %s\n", e.what());
      return 1;
    }
    const auto written = std::chrono::steady_clock::now();
    const TableFiles files = build_table_files(*t, store.options.threads);
    const std::string base = folder + "/" + t->layout.name;
    if (!write_file(base + ".rtbw", files.wdl) || !write_file(base + ".rtbz", files.dtz)) {
      std::fprintf(stderr, "tbgen: can't write %s.rtbw/.rtbz\n", base.c_str());
      return 1;
    }
    const double write_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - written).count();
    total_bytes += files.wdl.size() + files.dtz.size();
    std::printf("%-8s %9.2f %9.2f %10.0f %10zu %10zu\n", t->layout.name.c_str(), t->seconds, write_seconds,
                peak_memory_mb(), files.wdl.size(), files.dtz.size());
    std::fflush(stdout);
  }
  std::printf("total: %zu files, %zu bytes, %.1f s\n", 2 * names.size(), total_bytes,
              std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}
