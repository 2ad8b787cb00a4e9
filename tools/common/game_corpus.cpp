#include "common/game_corpus.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

#include "board/fen_write.h"
#include "board/movegen.h"
#include "protocol/engine_options.h"
#include "search/score.h"

namespace {


void put_u32(std::string& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(char(v >> (8 * i)));
}

uint32_t get_u32(const char* p) {
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v |= uint32_t(uint8_t(p[i])) << (8 * i);
  return v;
}

void put_varint(std::string& out, uint64_t v) {
  for (; v >= 0x80; v >>= 7) out.push_back(char(v | 0x80));
  out.push_back(char(v));
}

// Bounded by end: false when the number runs past it or over ten bytes.
bool get_varint(const char*& p, const char* end, uint64_t& v) {
  v = 0;
  for (int shift = 0; shift < 70 && p < end; shift += 7) {
    const uint8_t byte = uint8_t(*p++);
    v |= uint64_t(byte & 0x7F) << shift;
    if (!(byte & 0x80)) return true;
  }
  return false;
}

uint64_t zigzag(int64_t v) { return (uint64_t(v) << 1) ^ uint64_t(v >> 63); }
int64_t unzigzag(uint64_t v) { return int64_t(v >> 1) ^ -int64_t(v & 1); }

uint32_t fnv1a(const char* p, size_t n) {
  uint32_t h = 0x811C9DC5u;
  for (size_t i = 0; i < n; ++i) h = (h ^ uint8_t(p[i])) * 0x01000193u;
  return h;
}

// The order that ranks are counted in. The castling bit keeps a Chess960 king's castling apart
// from its plain step to the same square.
uint32_t move_order_key(Move m) {
  return (uint32_t(move_from(m)) << 10) | (uint32_t(move_to(m)) << 4) | (uint32_t(move_promotion(m)) << 1) |
         ((m & MOVE_CASTLING) ? 1u : 0u);
}

// The legal moves of pos in rank order; returns their count.
int ranked_moves(const Position& pos, Move* out) {
  ScoredMove list[MAX_MOVES];
  const int n = int(generate_legal(pos, list) - list);
  for (int i = 0; i < n; ++i) out[i] = list[i].move;
  std::sort(out, out + n, [](Move a, Move b) { return move_order_key(a) < move_order_key(b); });
  return n;
}

void start_game(const CorpusGame& game, GameBoard& board) {
  engine_options.UCI_Chess960 = game.chess960;
  start_board(board, game.start_fen.c_str());
  board.ply = game.start_ply;
}

}  // namespace

std::string corpus_header() {
  std::string out(CORPUS_MAGIC, sizeof CORPUS_MAGIC);
  put_u32(out, CORPUS_VERSION);
  put_u32(out, 0);
  return out;
}

bool is_corpus_header(const char* bytes, size_t size) {
  return size >= CORPUS_HEADER_BYTES && std::memcmp(bytes, CORPUS_MAGIC, sizeof CORPUS_MAGIC) == 0 &&
         get_u32(bytes + 8) == CORPUS_VERSION;
}

std::string encode_game(const CorpusGame& game, GameBoard& board) {
  if (game.moves.size() != game.scores.size() || game.start_fen.size() > 255) return {};
  std::string body;
  put_varint(body, game.seed);
  put_varint(body, game.stream);
  put_varint(body, game.number);
  body.push_back(char(game.chess960 ? 1 : 0));
  body.push_back(char(std::clamp(game.result, -1, 1) + 1));
  put_varint(body, uint64_t(game.start_ply));
  body.push_back(char(game.start_fen.size()));
  body += game.start_fen;
  put_varint(body, game.moves.size());
  start_game(game, board);
  int previous = 0;
  Move ranked[MAX_MOVES];
  for (size_t i = 0; i < game.moves.size(); ++i) {
    const int n = ranked_moves(board_position(board), ranked);
    const Move* found = std::find_if(ranked, ranked + n, [&](Move m) { return same_move(m, game.moves[i]); });
    if (found == ranked + n) return {};
    body.push_back(char(found - ranked));
    put_varint(body, zigzag(int64_t(game.scores[i]) + previous));
    previous = game.scores[i];
    play_board_move(board, *found);
  }
  std::string framed;
  put_u32(framed, uint32_t(body.size()));
  put_u32(framed, fnv1a(body.data(), body.size()));
  return framed + body;
}

namespace {

// The body of the sound frame at bytes[at], or null.
const char* frame_body(const char* bytes, size_t size, size_t at, uint32_t& length) {
  if (at > size || size - at < CORPUS_FRAME_BYTES) return nullptr;
  length = get_u32(bytes + at);
  if (length > size - at - CORPUS_FRAME_BYTES) return nullptr;
  const char* body = bytes + at + CORPUS_FRAME_BYTES;
  return fnv1a(body, length) == get_u32(bytes + at + 4) ? body : nullptr;
}

bool read_game_id(const char*& p, const char* end, uint64_t& seed, uint64_t& stream, uint64_t& number) {
  return get_varint(p, end, seed) && get_varint(p, end, stream) && get_varint(p, end, number) && stream <= UINT32_MAX;
}

}  // namespace

size_t corpus_game_id(const char* bytes, size_t size, size_t at, uint64_t& seed, uint32_t& stream, uint64_t& number) {
  uint32_t length;
  const char* p = frame_body(bytes, size, at, length);
  uint64_t stream_number;
  if (!p || !read_game_id(p, p + length, seed, stream_number, number)) return 0;
  stream = uint32_t(stream_number);
  return CORPUS_FRAME_BYTES + length;
}

size_t decode_game(const char* bytes, size_t size, size_t at, CorpusGame& game, GameBoard& board) {
  uint32_t length;
  const char* p = frame_body(bytes, size, at, length);
  if (!p) return 0;
  const char* end = p + length;
  uint64_t seed, stream, number, start_ply, plies;
  if (!read_game_id(p, end, seed, stream, number) || end - p < 2) return 0;
  game.seed = seed, game.stream = uint32_t(stream), game.number = number;
  game.chess960 = (*p++ & 1) != 0;
  game.result = int(uint8_t(*p++)) - 1;
  if (game.result < -1 || game.result > 1 || !get_varint(p, end, start_ply) || p >= end) return 0;
  game.start_ply = int(start_ply);
  const size_t fen_length = uint8_t(*p++);
  if (size_t(end - p) < fen_length) return 0;
  game.start_fen.assign(p, fen_length);
  p += fen_length;
  if (!get_varint(p, end, plies) || plies > uint64_t(end - p)) return 0;
  game.moves.clear();
  game.scores.clear();
  start_game(game, board);
  int previous = 0;
  Move ranked[MAX_MOVES];
  for (uint64_t i = 0; i < plies; ++i) {
    uint64_t delta;
    if (p >= end) return 0;
    const int rank = uint8_t(*p++);
    if (!get_varint(p, end, delta)) return 0;
    const int n = ranked_moves(board_position(board), ranked);
    if (rank >= n) return 0;
    const int score = int(unzigzag(delta) - previous);
    if (score < INT16_MIN || score > INT16_MAX) return 0;
    game.moves.push_back(ranked[rank]);
    game.scores.push_back(int16_t(score));
    previous = score;
    play_board_move(board, ranked[rank]);
  }
  return p == end ? CORPUS_FRAME_BYTES + length : 0;
}

void replay_game(const CorpusGame& game, GameBoard& board,
                 const std::function<void(const Position&, Move, int score, int ply)>& visit) {
  start_game(game, board);
  for (size_t i = 0; i < game.moves.size(); ++i) {
    visit(board_position(board), game.moves[i], game.scores[i], board.ply);
    play_board_move(board, game.moves[i]);
  }
}

bool is_training_position(const Position& pos, Move move, int score) {
  return !in_check(pos) && !(move & MOVE_TACTICAL) && std::abs(score) < SCORE_DECIDED;
}

void game_records(const CorpusGame& game, GameBoard& board, const CorpusFilter& filter,
                  std::vector<TrainingRecord>& out) {
  const size_t first = out.size();
  replay_game(game, board, [&](const Position& pos, Move move, int score, int ply) {
    if (ply >= filter.skip_plies && is_training_position(pos, move, score))
      out.push_back(pack_record(pos, score, side_bit(pos) ? -1 : 1, ply, game.chess960));
  });
  // Records first hold the side to move (1 White, -1 Black); the game's result settles them.
  for (size_t i = first; i < out.size(); ++i) out[i].result = int8_t(out[i].result * game.result);
}

bool read_corpus(const std::string& bytes, GameBoard& board, const std::function<void(const CorpusGame&)>& visit,
                 CorpusFileInfo& info, std::string& error) {
  info = CorpusFileInfo{};
  info.file_bytes = int64_t(bytes.size());
  if (!is_corpus_header(bytes.data(), bytes.size())) {
    error = "not a game corpus file (no TESMARGC header of version " + std::to_string(CORPUS_VERSION) + ")";
    return false;
  }
  size_t at = CORPUS_HEADER_BYTES;
  CorpusGame game;
  for (size_t n; (n = decode_game(bytes.data(), bytes.size(), at, game, board)) > 0; at += n) {
    ++info.games;
    info.plies += int64_t(game.moves.size());
    visit(game);
  }
  info.readable_bytes = int64_t(at);
  return true;
}

bool read_whole_file(const std::string& path, std::string& bytes, std::string& error) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    error = "can't read " + path + ": " + std::strerror(errno);
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    error = "can't read " + path + ": not a file";
    return false;
  }
  std::ifstream in(path, std::ios::binary);
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (!in && !in.eof()) {
    error = "read error on " + path;
    return false;
  }
  return true;
}

bool is_corpus_path(const std::string& path) {
  const std::string ext = CORPUS_EXTENSION;
  return path.size() > ext.size() && path.compare(path.size() - ext.size(), ext.size(), ext) == 0;
}
