#include "book/book_entries.h"

#include <cstdint>

namespace {

constexpr int BOOK_ENTRY_SIZE = 16;

struct BookEntry {
  uint64_t key;
  BookMove move;
  uint16_t weight;
};

uint64_t big_endian(const unsigned char* bytes, int size) {
  uint64_t value = 0;
  for (int i = 0; i < size; ++i) value = value << 8 | bytes[i];
  return value;
}

// Reads the entry at the file's current offset; the learn field is never used.
bool read_next_entry(std::FILE* file, BookEntry& entry) {
  unsigned char bytes[BOOK_ENTRY_SIZE];
  if (std::fread(bytes, 1, BOOK_ENTRY_SIZE, file) != BOOK_ENTRY_SIZE) return false;
  entry.key = big_endian(bytes, 8);
  entry.move = BookMove(big_endian(bytes + 8, 2));
  entry.weight = uint16_t(big_endian(bytes + 10, 2));
  return true;
}

bool read_entry(std::FILE* file, int32_t index, BookEntry& entry) {
  return std::fseek(file, long(index) * BOOK_ENTRY_SIZE, SEEK_SET) == 0 && read_next_entry(file, entry);
}

}  // namespace

bool read_book_candidates(std::FILE* file, uint64_t key, BookCandidates& found) {
  if (std::fseek(file, 0, SEEK_END) != 0) return false;
  const long size = std::ftell(file);
  // Offsets are 32-bit signed numbers.
  if (size < 0 || size > INT32_MAX) return false;
  // A truncated last entry is not counted, so it is never read.
  const int32_t count = int32_t(size) / BOOK_ENTRY_SIZE;

  // The first entry whose key is not below the key. With no entries the one read fails.
  int32_t low = 0, high = count - 1;
  BookEntry entry;
  do {
    const int32_t middle = (low + high) / 2;
    if (!read_entry(file, middle, entry)) return false;
    if (entry.key < key)
      low = middle + 1;
    else
      high = middle;
  } while (low < high);
  if (!read_entry(file, low, entry) || entry.key != key) return false;

  found.count = 0;
  found.weight_sum = 0;
  found.best_move = 0;
  uint16_t best_weight = 0;
  for (int32_t index = low;;) {
    found.list[found.count++] = {entry.move, entry.weight};
    found.weight_sum += entry.weight;
    // Strictly greater: among equal top weights the first in the file stays.
    if (entry.weight > best_weight) {
      best_weight = entry.weight;
      found.best_move = entry.move;
    }
    // The end of the file is known from the count, not from a failed read.
    if (++index >= count || found.count == MAX_BOOK_CANDIDATES) break;
    if (!read_next_entry(file, entry)) return false;
    if (entry.key != key) break;
  }
  return true;
}
