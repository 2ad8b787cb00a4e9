#pragma once
// The three- and four-man table files that travel inside the executable. The build
// generates EMBEDDED_TABLES from a folder of files; a name the folder lacked has no data.
#include <cstdint>

struct EmbeddedTable {
  char name[32];  // base name and suffix, such as "KBBvK.rtbw"
  uint64_t size;
  const uint8_t* data;  // on a 64-byte boundary; null when the build had no such file
};

// 35 signatures with a WDL and a DTZ file each, sorted by name.
constexpr int EMBEDDED_TABLE_COUNT = 70;
extern const EmbeddedTable EMBEDDED_TABLES[EMBEDDED_TABLE_COUNT];

// The record of a file name such as "KQvK.rtbz"; null when the build carries no such file.
const EmbeddedTable* find_embedded_table(const char* file_name);

// Whether an address lies within one of the embedded files (never unmapped nor freed).
bool is_embedded_data(const uint8_t* address);
