#pragma once
// One training position in 32 bytes, the unit of the data files that datagen writes and the
// trainer reads. The board is stored in the side to move's frame (own pieces at the bottom),
// which is all the network sees: its two views never read whose turn it is.
//
// File layout: a 16-byte header ("TESMARTD", version word, record-size word, all little-endian),
// then records back to back until the end of the file.
#include <cstddef>
#include <cstdint>
#include <cstdio>

struct Position;

struct TrainingRecord {
  uint64_t occupied;   // every piece, mover's frame
  uint8_t pieces[16];  // a nibble per set bit of occupied, lowest square first, low nibble first:
                       // piece type 1..6, plus 8 for a piece of the side not to move
  int16_t score;       // search or teacher score, side to move's view, in the engine's score units
  int8_t result;       // final result of the game for the side to move: 1 win, 0 draw, -1 loss
  uint8_t rights;      // castling rights still held: 1 own king side, 2 own queen side, 4 and 8 the enemy's
  uint16_t ply;        // half-moves played in the game before this position
  uint8_t flags;       // RECORD_CHESS960 when the game was Chess960
  uint8_t reserved;    // zero
};
static_assert(sizeof(TrainingRecord) == 32, "training records are 32 bytes on disk");

constexpr char TRAINING_MAGIC[8] = {'T', 'E', 'S', 'M', 'A', 'R', 'T', 'D'};
constexpr uint32_t TRAINING_VERSION = 1;
constexpr size_t TRAINING_HEADER_BYTES = 16;
constexpr uint8_t RECORD_CHESS960 = 1;

// The record of a position (at most 32 pieces) with its labels.
TrainingRecord pack_record(const Position& pos, int score, int result, int ply, bool chess960);

// A position that evaluates like the stored one: White to move in the stored frame, no en-passant
// square, rights on the a- and h-file rooks. Not meant for play: king squares and rights may not
// agree with a real game.
void unpack_record(const TrainingRecord& record, Position& pos);

// Turns the board over left to right (file a becomes file h). Without castling rights the rules
// don't tell the two apart, so the labels hold for the mirrored position and it is a new one
// for the network, whose rows are by king square. A record with rights is left as it is: false.
bool mirror_record(TrainingRecord& record);

// Writes the header; false on a write error.
bool write_training_header(std::FILE* file);

// Checks the header; false (with a message on stderr naming path) when the file is not ours.
bool read_training_header(std::FILE* file, const char* path);
