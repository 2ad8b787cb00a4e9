#include "common/training_record.h"

#include <cstring>

#include "board/position.h"

TrainingRecord pack_record(const Position& pos, int score, int result, int ply, bool chess960) {
  TrainingRecord r{};
  r.occupied = pos.bb[OCCUPIED];
  int index = 0;
  for (Bitboard b = pos.bb[OCCUPIED]; b; b &= b - 1, ++index) {
    const Square s = lsb(b);
    const int code = piece_on(pos, s) | ((pos.bb[OWN] & bit(s)) ? 0 : 8);
    r.pieces[index / 2] |= uint8_t(code << (4 * (index & 1)));
  }
  r.score = int16_t(score < -32767 ? -32767 : score > 32767 ? 32767 : score);
  r.result = int8_t(result);
  r.rights = uint8_t((own_king_side_rook(pos) != NO_RIGHT ? 1 : 0) | (own_queen_side_rook(pos) != NO_RIGHT ? 2 : 0) |
                     (((pos.castling >> 8) & 15) != NO_RIGHT ? 4 : 0) | (((pos.castling >> 12) & 15) != NO_RIGHT ? 8 : 0));
  r.ply = uint16_t(ply);
  r.flags = chess960 ? RECORD_CHESS960 : 0;
  return r;
}

void unpack_record(const TrainingRecord& record, Position& pos) {
  std::memset(&pos, 0, sizeof pos);
  pos.bb[OCCUPIED] = record.occupied;
  int index = 0;
  for (Bitboard b = record.occupied; b; b &= b - 1, ++index) {
    const int code = (record.pieces[index / 2] >> (4 * (index & 1))) & 15;
    pos.bb[code & 7] |= bit(lsb(b));
    if (!(code & 8)) pos.bb[OWN] |= bit(lsb(b));
  }
  // Rook files: h for king side, a for queen side; NO_RIGHT where the right is gone.
  const int files[4] = {7, 0, 7, 0};
  uint16_t castling = 0;
  for (int i = 0; i < 4; ++i) castling |= uint16_t(((record.rights >> i) & 1 ? files[i] : NO_RIGHT) << (4 * i));
  pos.castling = castling;
  pos.flags = FLAG_NO_EP;
  if (checkers(pos)) pos.flags |= FLAG_IN_CHECK;
}

bool mirror_record(TrainingRecord& record) {
  if (record.rights) return false;
  uint8_t code[64] = {};
  int index = 0;
  for (Bitboard b = record.occupied; b; b &= b - 1, ++index)
    code[lsb(b) ^ 7] = uint8_t((record.pieces[index / 2] >> (4 * (index & 1))) & 15);
  record.occupied = 0;
  std::memset(record.pieces, 0, sizeof record.pieces);
  index = 0;
  for (int s = 0; s < 64; ++s) {
    if (!code[s]) continue;
    record.occupied |= bit(s);
    record.pieces[index / 2] |= uint8_t(code[s] << (4 * (index & 1)));
    ++index;
  }
  return true;
}

bool write_training_header(std::FILE* file) {
  unsigned char header[TRAINING_HEADER_BYTES] = {};
  std::memcpy(header, TRAINING_MAGIC, 8);
  const uint32_t words[2] = {TRAINING_VERSION, uint32_t(sizeof(TrainingRecord))};
  std::memcpy(header + 8, words, 8);
  return std::fwrite(header, 1, sizeof header, file) == sizeof header;
}

bool read_training_header(std::FILE* file, const char* path) {
  unsigned char header[TRAINING_HEADER_BYTES];
  uint32_t words[2];
  if (std::fread(header, 1, sizeof header, file) != sizeof header || std::memcmp(header, TRAINING_MAGIC, 8) != 0) {
    std::fprintf(stderr, "%s: not a Tesmar training file\n", path);
    return false;
  }
  std::memcpy(words, header + 8, 8);
  if (words[0] != TRAINING_VERSION || words[1] != sizeof(TrainingRecord)) {
    std::fprintf(stderr, "%s: training file version %u with %u-byte records; this tool reads version %u\n", path,
                 words[0], words[1], TRAINING_VERSION);
    return false;
  }
  return true;
}
