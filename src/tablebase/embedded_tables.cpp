#include "tablebase/embedded_tables.h"

#include <cstring>

const EmbeddedTable* find_embedded_table(const char* file_name) {
  for (const EmbeddedTable& table : EMBEDDED_TABLES)
    if (table.data && std::strcmp(table.name, file_name) == 0) return &table;
  return nullptr;
}

bool is_embedded_data(const uint8_t* address) {
  for (const EmbeddedTable& table : EMBEDDED_TABLES)
    if (table.data && address >= table.data && address < table.data + table.size) return true;
  return false;
}
