#include "common/perft_suite.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

bool read_perft_suite(const char* path, std::vector<PerftSuiteLine>& lines) {
  std::ifstream file(path);
  if (!file) return false;
  std::string text;
  for (int number = 1; std::getline(file, text); ++number) {
    std::istringstream fields(text);
    std::string field;
    PerftSuiteLine line{number, "", {}};
    for (bool first = true; std::getline(fields, field, ';'); first = false) {
      const size_t begin = field.find_first_not_of(" \t\r"), end = field.find_last_not_of(" \t\r");
      if (begin == std::string::npos) continue;
      field = field.substr(begin, end - begin + 1);
      if (first) {
        line.fen = field;
      } else if (field[0] == 'D') {
        char* rest = nullptr;
        const int depth = int(std::strtol(field.c_str() + 1, &rest, 10));
        line.expected.push_back({depth, std::strtoull(rest, nullptr, 10)});
      }
    }
    if (!line.fen.empty()) lines.push_back(line);
  }
  return true;
}

std::vector<PerftExpectation> perft_checks(const PerftSuiteLine& line, uint64_t max_nodes) {
  if (max_nodes == 0) return line.expected;
  const PerftExpectation* best = nullptr;
  for (const PerftExpectation& e : line.expected)
    if (e.nodes <= max_nodes && (!best || e.depth > best->depth)) best = &e;
  if (!best) return {};
  return {*best};
}
