#pragma once
// The registry of table signatures: which tables exist, where their files are, and
// the setting up of a file at its first use.
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "board/position.h"
#include "platform/file_map.h"
#include "protocol/locks.h"
#include "tablebase/table_entry.h"

// Material keys by colour (0 White, 1 Black) and kind: the low byte counts the men, the
// bits from 8 up count each colour and kind, and the top 12 bits spread the signatures
// over the hash slots.
constexpr uint64_t MATERIAL_KEY[2][7] = {
    {0, 0x5CED000000000101, 0xE173000000001001, 0xD64D000000010001, 0xAB88000000100001, 0x680B000001000001, 1},
    {0, 0xF219000010000001, 0xBB14000100000001, 0x58DF001000000001, 0xA15F010000000001, 0x7C94100000000001, 1},
};
constexpr uint64_t BARE_KINGS_KEY = 2;

constexpr int TABLE_HASH_SIZE = 4096;
constexpr int PIECE_TABLE_LIMIT = 650;  // signatures of three to seven men without pawns
constexpr int PAWN_TABLE_LIMIT = 861;   // and with pawns: 1511 in all
constexpr int TABLE_NAME_LIMIT = 260;   // a file name with its terminator

struct TableSlot {
  uint64_t key;                      // 0 when empty
  std::atomic<TableEntry*> entry;    // cleared when the file of this colour order fails
};

struct TableRegistry {
  TableSlot table_hash[TABLE_HASH_SIZE];
  TableEntry piece_tables[PIECE_TABLE_LIMIT];
  TableEntry pawn_tables[PAWN_TABLE_LIMIT];
  int32_t piece_table_count;
  int32_t pawn_table_count;
  SpinLock table_lock;
  int32_t wdl_file_count;
  int32_t dtz_file_count;
  std::string directory_text;                  // the SyzygyPath text, cut at each ';'
  std::vector<const char*> table_directories;  // the non-empty pieces, in order
};

extern TableRegistry table_registry;

// Rebuilds the registry for a SyzygyPath text; returns the most men of any table.
int32_t tb_init(const char* path);

void register_table(const char* name, int32_t& largest);
bool table_file_exists(const char* name, const char* suffix);
// The file opened in the first directory that has it, or NO_FILE.
FileHandle open_table_file(const char* name, const char* suffix);
void release_table(TableEntry& entry);

// The hash slot of a material key: the one holding it, or the empty slot where the search stopped.
inline TableSlot& find_table_slot(uint64_t key) {
  int slot = int(key >> 52);
  while (table_registry.table_hash[slot].key != key && table_registry.table_hash[slot].key != 0)
    slot = (slot + 1) & (TABLE_HASH_SIZE - 1);
  return table_registry.table_hash[slot];
}

// The material key of a position, colours as on the real board.
uint64_t material_key(const Position& pos);

// Maps (or finds the embedded bytes of) one file of the table reached through the slot,
// for the material of pos, and parses it. Runs with table_lock held. False on failure,
// after which the slot leads nowhere.
bool first_use_table(TableEntry& entry, TableSlot& slot, const Position& pos, int kind);
