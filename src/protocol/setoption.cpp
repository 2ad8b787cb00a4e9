// setoption name NAME value TEXT: one option per line, values stored as they come.
#include <cstdint>
#include <cstring>

#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "tablebase/registry.h"

char syzygy_path[COMMAND_BUFFER_SIZE] = "<empty>";

namespace {

struct IntegerOption {
  const char* name;
  int32_t EngineOptions::*field;
};

struct BooleanOption {
  const char* name;
  bool EngineOptions::*field;
};

constexpr IntegerOption INTEGER_OPTIONS[] = {
    {"Hash", &EngineOptions::Hash},
    {"Threads", &EngineOptions::Threads},
    {"DrawScore", &EngineOptions::DrawScore},
    {"MoveOverhead", &EngineOptions::MoveOverhead},
    {"Strength", &EngineOptions::Strength},
    {"MultiPV", &EngineOptions::MultiPV},
    {"SyzygyProbeLimit", &EngineOptions::SyzygyProbeLimit},
};

constexpr BooleanOption BOOLEAN_OPTIONS[] = {
    {"Ponder", &EngineOptions::Ponder},
    {"OwnBook", &EngineOptions::OwnBook},
    {"BookRandom", &EngineOptions::BookRandom},
    {"LargePages", &EngineOptions::LargePages},
    {"UCI_Chess960", &EngineOptions::UCI_Chess960},
    {"Syzygy50MoveRule", &EngineOptions::Syzygy50MoveRule},
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

void store_option(const char* name, const char* value) {
  for (const IntegerOption& option : INTEGER_OPTIONS) {
    if (std::strcmp(name, option.name) == 0) {
      engine_options.*option.field = parse_option_integer(value);
      return;
    }
  }
  for (const BooleanOption& option : BOOLEAN_OPTIONS) {
    if (std::strcmp(name, option.name) == 0) {
      engine_options.*option.field = std::strcmp(value, "true") == 0;
      return;
    }
  }
  if (std::strcmp(name, "BookFile") == 0) {
    std::strncpy(engine_options.BookFile, value, sizeof engine_options.BookFile - 1);
    engine_options.BookFile[sizeof engine_options.BookFile - 1] = 0;
  } else if (std::strcmp(name, "SyzygyPath") == 0) {
    std::strncpy(syzygy_path, value, sizeof syzygy_path - 1);
    syzygy_path[sizeof syzygy_path - 1] = 0;
    search_limits.tb_largest = tb_init(syzygy_path);
  }
}

}  // namespace

int32_t parse_option_integer(const char* text) {
  while (is_blank(*text)) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + (*text - '0');
    if (value > INT64_C(0x80000000)) value = INT64_C(0x80000000);  // stays clamped, no overflow
  }
  if (negative) value = -value;
  if (value > INT32_MAX) value = INT32_MAX;
  return int32_t(value);
}

void command_setoption(char* buffer) {
  search_limits.EngineLock.lock();
  // A line ends at its first newline; a carriage return before it is no part of a value.
  if (char* newline = std::strchr(buffer, '\n')) {
    *newline = 0;
    if (newline > buffer && newline[-1] == '\r') newline[-1] = 0;
  }
  const size_t line_length = std::strlen(buffer);
  char* save = nullptr;
  const char* name = strtok_r(buffer + 15, " ", &save);
  char* next = name ? strtok_r(nullptr, " ", &save) : nullptr;
  if (next) {
    // The value starts six characters behind the token, right behind the word "value",
    // and runs to the end of the line; a line that ends sooner has an empty value.
    const size_t value_start = size_t(next - buffer) + 6;
    store_option(name, value_start <= line_length ? buffer + value_start : buffer + line_length);
  }
  search_limits.EngineLock.unlock();
}
