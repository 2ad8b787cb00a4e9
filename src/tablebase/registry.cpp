#include "tablebase/registry.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/file_map.h"
#include "protocol/search_limits.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/table_format.h"

TableRegistry table_registry;

namespace {

constexpr char PIECE_LETTERS[] = "QRBNP";  // strongest first, as names are written
constexpr const char* SUFFIXES[2] = {".rtbw", ".rtbz"};

// Kind of a letter of a table name: 1 pawn .. 6 king.
int kind_of_letter(char c) {
  switch (c) {
    case 'P': return PAWN;
    case 'N': return KNIGHT;
    case 'B': return BISHOP;
    case 'R': return ROOK;
    case 'Q': return QUEEN;
    default: return KING;
  }
}

// Every signature name of up to seven men in the order they are tried: each pattern's
// letters run Q, R, B, N, P with the left side slowest, and a side never has more men
// than the left, nor, with as many, letters that come before the left's.
template <typename Visit>
void for_each_signature(int first_pattern, int last_pattern, Visit visit) {
  // Men besides the king, left side then right side, for the patterns in order.
  constexpr int PATTERNS[11][2] = {{1, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 0}, {2, 2},
                                   {3, 1}, {4, 0}, {5, 0}, {4, 1}, {3, 2}};
  for (int pattern = first_pattern; pattern <= last_pattern; ++pattern) {
    const int left = PATTERNS[pattern][0], right = PATTERNS[pattern][1];
    int letters[5] = {};  // indexes into PIECE_LETTERS, non-decreasing within a side
    const int total = left + right;
    // Odometer over all letter choices, the last place fastest.
    for (;;) {
      bool ordered = true;
      for (int i = 1; i < total; ++i)
        if (i != left && letters[i] < letters[i - 1]) ordered = false;
      // With as many men on each side, the left letters come first (or are the same).
      if (ordered && left == right && std::lexicographical_compare(letters + left, letters + total, letters, letters + left))
        ordered = false;
      if (ordered) {
        char name[16];
        int n = 0;
        name[n++] = 'K';
        for (int i = 0; i < left; ++i) name[n++] = PIECE_LETTERS[letters[i]];
        name[n++] = 'v';
        name[n++] = 'K';
        for (int i = left; i < total; ++i) name[n++] = PIECE_LETTERS[letters[i]];
        name[n] = 0;
        visit(name);
      }
      int place = total - 1;
      while (place >= 0 && letters[place] == 4) letters[place--] = 0;
      if (place < 0) break;
      ++letters[place];
    }
  }
}

}  // namespace

uint64_t material_key(const Position& pos) {
  const Bitboard own = pos.bb[OWN], enemy = pos.bb[OCCUPIED] ^ pos.bb[OWN];
  const Bitboard white = side_bit(pos) ? enemy : own, black = side_bit(pos) ? own : enemy;
  uint64_t key = 0;
  for (int kind = PAWN; kind <= KING; ++kind)
    key += uint64_t(popcount(white & pos.bb[kind])) * MATERIAL_KEY[0][kind] +
           uint64_t(popcount(black & pos.bb[kind])) * MATERIAL_KEY[1][kind];
  return key;
}

bool table_file_exists(const char* name, const char* suffix) {
  // Tables of up to four men are part of the program.
  if (std::strlen(name) < 6) return true;
  return find_table_file(name, suffix, nullptr) != nullptr;
}

const char* find_table_file(const char* name, const char* suffix, char* path) {
  for (const char* directory : table_registry.table_directories) {
    char full[TABLE_NAME_LIMIT];
    const int length = std::snprintf(full, sizeof full, "%s/%s%s", directory, name, suffix);
    if (length < 0 || length >= TABLE_NAME_LIMIT) continue;
    // Anything under the name counts, also what can't be read: its first use then says
    // what is wrong with it, where a file passed over in silence would leave the user guessing.
    if (path_kind(full) == PathKind::MISSING) continue;
    if (path) std::memcpy(path, full, size_t(length) + 1);
    return directory;
  }
  return nullptr;
}

void register_table(const char* name, int32_t& largest) {
  TableRegistry& r = table_registry;
  if (!table_file_exists(name, SUFFIXES[WDL])) return;
  int counts[2][7] = {};
  int colour = 0;
  for (const char* c = name; *c; ++c) {
    if (*c == 'v')
      colour = 1;
    else
      ++counts[colour][kind_of_letter(*c)];
  }
  uint64_t key = 0, mirror_key = 0;
  int men = 0;
  for (int kind = PAWN; kind <= KING; ++kind) {
    key += counts[0][kind] * MATERIAL_KEY[0][kind] + counts[1][kind] * MATERIAL_KEY[1][kind];
    mirror_key += counts[1][kind] * MATERIAL_KEY[0][kind] + counts[0][kind] * MATERIAL_KEY[1][kind];
    men += counts[0][kind] + counts[1][kind];
  }
  const bool pawns = counts[0][PAWN] || counts[1][PAWN];
  TableEntry& e = pawns ? r.pawn_tables[r.pawn_table_count++] : r.piece_tables[r.piece_table_count++];
  e.key = key;
  e.men = uint8_t(men);
  e.has_pawns = pawns;
  e.symmetric = key == mirror_key;
  e.view[WDL] = e.view[DTZ] = nullptr;
  e.mapping[WDL] = e.mapping[DTZ] = 0;
  e.ready[WDL].store(FILE_UNUSED, std::memory_order_relaxed);
  e.ready[DTZ].store(FILE_UNUSED, std::memory_order_relaxed);
  ++r.wdl_file_count;
  e.has_dtz = table_file_exists(name, SUFFIXES[DTZ]);
  r.dtz_file_count += e.has_dtz;
  if (men > largest) largest = men;

  e.pawn_count[0] = e.pawn_count[1] = 0;
  e.pair_index = 0;
  if (pawns) {
    // Of two sides with pawns the one with fewer leads, the left one on a tie.
    const int left = counts[0][PAWN], right = counts[1][PAWN];
    const bool right_leads = right && (!left || left > right);
    e.pawn_count[0] = uint8_t(right_leads ? right : left);
    e.pawn_count[1] = uint8_t(right_leads ? left : right);
  } else {
    int singles = 0;
    for (int c = 0; c < 2; ++c)
      for (int kind = PAWN; kind <= KING; ++kind) singles += counts[c][kind] == 1;
    e.pair_index = singles == 2;
  }

  for (const uint64_t k : {key, mirror_key}) {
    int slot = int(k >> 52);
    while (r.table_hash[slot].entry.load(std::memory_order_relaxed)) slot = (slot + 1) & (TABLE_HASH_SIZE - 1);
    r.table_hash[slot].key = k;
    r.table_hash[slot].entry.store(&e, std::memory_order_relaxed);
    if (e.symmetric) break;
  }
}

void release_table(TableEntry& entry) {
  for (int kind : {WDL, DTZ}) {
    if (entry.ready[kind].load(std::memory_order_relaxed) != FILE_READY) {
      entry.ready[kind].store(FILE_UNUSED, std::memory_order_relaxed);
      continue;
    }
    if (entry.view[kind] && !is_embedded_data(entry.view[kind]))
      unmap_file(entry.view[kind], entry.mapping[kind]);
    free_decoders(entry, kind);
    entry.view[kind] = nullptr;
    entry.ready[kind].store(FILE_UNUSED, std::memory_order_relaxed);
  }
}

int32_t tb_init(const char* path) {
  TableRegistry& r = table_registry;
  for (int i = 0; i < r.piece_table_count; ++i) release_table(r.piece_tables[i]);
  for (int i = 0; i < r.pawn_table_count; ++i) release_table(r.pawn_tables[i]);
  r.directory_text.clear();
  r.table_directories.clear();

  r.table_lock.unlock();
  r.wdl_file_count = r.dtz_file_count = 0;
  r.piece_table_count = r.pawn_table_count = 0;
  for (TableSlot& slot : r.table_hash) {
    slot.key = 0;
    slot.entry.store(nullptr, std::memory_order_relaxed);
  }
  int32_t largest = 0;
  for_each_signature(0, 2, [&](const char* name) { register_table(name, largest); });
  if (!path || !*path || std::strcmp(path, "<empty>") == 0) return largest;

  // The pieces keep their order, so that an earlier directory shadows a later one.
  r.directory_text = path;
  r.directory_text.push_back(';');
  char* text = r.directory_text.data();
  for (char* start = text; *start;) {
    char* end = std::strchr(start, ';');
    *end = 0;
    if (end != start) r.table_directories.push_back(start);
    start = end + 1;
  }
  for_each_signature(3, 10, [&](const char* name) { register_table(name, largest); });
  std::printf("info string Found %d WDL and %d DTZ tablebase files.\n", r.wdl_file_count, r.dtz_file_count);
  std::fflush(stdout);
  return largest;
}

namespace {

// Maps a whole file read-only; null, with the reason noted, when that can't be done.
const uint8_t* map_table_file(const char* path, uint64_t& size, FileCheck& check) {
  const PathKind kind = path_kind(path);
  if (kind == PathKind::FOLDER || kind == PathKind::OTHER) {
    std::snprintf(check.fault, sizeof check.fault, "not a file but %s", kind == PathKind::FOLDER ? "a folder" : "a device");
    return nullptr;
  }
  const FileHandle file = open_file_to_read(path);
  if (file == NO_FILE) {
    std::snprintf(check.fault, sizeof check.fault, "cannot be opened: %s", last_file_error());
    return nullptr;
  }
  size = file_size(file);
  const uint8_t* view = nullptr;
  if (size == 0)
    std::snprintf(check.fault, sizeof check.fault, "an empty file");
  else if (!(view = map_file(file, size)))
    std::snprintf(check.fault, sizeof check.fault, "cannot be mapped into memory: %s", last_file_error());
  close_file(file);
  return view;
}

// The one line that says a file is not used, and why; a search may be printing beside it.
void report_unusable(const char* file_name, const char* directory, const char* why) {
  search_limits.OutputLock.lock();
  if (directory)
    std::printf("info string Table %s in %s not used: %s\n", file_name, directory, why);
  else
    std::printf("info string Table %s built into the program not used: %s\n", file_name, why);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
}

}  // namespace

bool first_use_table(TableEntry& entry, const Position& pos, int kind) {
  // The file name from the board: the left side of the name is White when the
  // position's material reads as the entry's key.
  const bool white_left = material_key(pos) == entry.key;
  const Bitboard own = pos.bb[OWN], enemy = pos.bb[OCCUPIED] ^ pos.bb[OWN];
  const Bitboard white = side_bit(pos) ? enemy : own, black = side_bit(pos) ? own : enemy;
  char name[16];
  int n = 0;
  for (const Bitboard men : {white_left ? white : black, white_left ? black : white}) {
    if (n) name[n++] = 'v';
    name[n++] = 'K';
    for (const char* letter = PIECE_LETTERS; *letter; ++letter)
      for (int i = popcount(men & pos.bb[kind_of_letter(*letter)]); i > 0; --i) name[n++] = *letter;
  }
  name[n] = 0;
  char file_name[32];
  std::snprintf(file_name, sizeof file_name, "%s%s", name, SUFFIXES[kind]);

  // A file that fails stays failed for both colour orders until the registry is rebuilt.
  FileCheck check;
  const char* directory = nullptr;
  const uint8_t* view = nullptr;
  uint64_t size = 0;
  if (n >= 6) {
    char path[TABLE_NAME_LIMIT];
    directory = find_table_file(name, SUFFIXES[kind], path);
    if (!directory) {
      std::snprintf(check.fault, sizeof check.fault, "no longer there");
      directory = "the SyzygyPath folders";
    } else {
      view = map_table_file(path, size, check);
    }
  } else if (const EmbeddedTable* table = find_embedded_table(file_name)) {
    view = table->data;
    size = table->size;
  }
  // A build without some embedded file simply has no such table: nothing to report.
  if (!view && n < 6) {
    entry.ready[kind].store(FILE_FAILED, std::memory_order_release);
    return false;
  }
  if (view) {
    entry.view[kind] = view;
    entry.mapping[kind] = size;
    if (size < 4 || std::memcmp(view, kind == WDL ? WDL_MAGIC : DTZ_MAGIC, 4) != 0)
      std::snprintf(check.fault, sizeof check.fault, "not a %s table (wrong magic number)", kind == WDL ? "WDL" : "DTZ");
    else if (parse_table_file(entry, kind, check)) {
      entry.ready[kind].store(FILE_READY, std::memory_order_release);
      return true;
    }
    if (n >= 6) unmap_file(view, size);
    entry.view[kind] = nullptr;
  }
  report_unusable(file_name, directory, check.fault);
  entry.ready[kind].store(FILE_FAILED, std::memory_order_release);
  return false;
}
