#pragma once
// The game corpus: every self-play game we play, kept whole and compact, so that each new
// network can learn from all the games of every generation before it. A game is its start
// position, then per ply the move played (its rank among the legal moves) and the search's
// score; training positions are decoded from it, and filtered, when a trainer reads it.
//
// File layout: a 16-byte header ("TESMARGC", version word, zero word, little-endian), then games
// back to back. Each game is framed as
//   u32 body length, u32 FNV-1a of the body, body
// and its body is
//   varint seed, varint stream, varint game   which run of which worker played it
//   u8 flags (1: Chess960), u8 result + 1     result from White's view: 0 loss .. 2 win
//   varint start ply, u8 FEN length, FEN      the position the scored plies start from
//   varint plies, then per ply:
//     u8 rank of the move among the legal moves, ordered by (from, to, promotion, castling) in
//       the mover's frame: independent of the order in which any generator lists them
//     varint zigzag(score + previous ply's score): the two nearly cancel, as scores are from
//       the side to move's view, so most plies take one byte here
// A game cut short or damaged (length or checksum wrong) ends the readable part of a file: a
// writer stopped mid-game loses that game only.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "board/move.h"
#include "games/game_board.h"
#include "common/training_record.h"

constexpr char CORPUS_MAGIC[8] = {'T', 'E', 'S', 'M', 'A', 'R', 'G', 'C'};
constexpr uint32_t CORPUS_VERSION = 1;
constexpr size_t CORPUS_HEADER_BYTES = 16;
constexpr size_t CORPUS_FRAME_BYTES = 8;
// A batch file stops growing here: small enough for any git host, large enough for a session's
// games at 2500 nodes on a few cores.
constexpr int64_t CORPUS_FILE_LIMIT = int64_t(50) << 20;
constexpr const char* CORPUS_EXTENSION = ".tgc";

struct CorpusGame {
  uint64_t seed = 0;
  uint32_t stream = 0;
  uint64_t number = 0;
  bool chess960 = false;
  int result = 0;       // from White's view
  int start_ply = 0;    // half-moves of the game before start_fen
  std::string start_fen;
  std::vector<Move> moves;      // as generate_legal gives them
  std::vector<int16_t> scores;  // the search's score before each move, side to move's view
};

// The file header.
std::string corpus_header();
bool is_corpus_header(const char* bytes, size_t size);

// The framed bytes of a game, to append to a file; empty when a move is not legal where it
// stands (the game is then not one of ours to keep).
std::string encode_game(const CorpusGame& game, GameBoard& board);

// Reads the game framed at bytes[at]. Returns its framed length, or 0 when the bytes there are
// not a whole, sound game (cut short, damaged): the readable part of the file ends there.
size_t decode_game(const char* bytes, size_t size, size_t at, CorpusGame& game, GameBoard& board);

// Reads only which run made the game framed at bytes[at], without replaying its moves. Returns
// its framed length, or 0 when the frame is cut short or damaged.
size_t corpus_game_id(const char* bytes, size_t size, size_t at, uint64_t& seed, uint32_t& stream, uint64_t& number);

// Replays a decoded game: visit sees every position before its move, with the move's score
// and the game's ply there. Sets UCI_Chess960 as the game was played.
void replay_game(const CorpusGame& game, GameBoard& board,
                 const std::function<void(const Position&, Move, int score, int ply)>& visit);

// A position self-play learns from: not in check, its move quiet (a capture's or promotion's
// score belongs to the exchange, not to the position), its score not a decided one.
bool is_training_position(const Position& pos, Move move, int score);

// Which positions of a game the trainer learns from: the training positions from skip_plies on.
struct CorpusFilter {
  int skip_plies = 0;  // plies of the game (its ply count) before which nothing is kept
};

// The training records of a game, filtered, results settled.
void game_records(const CorpusGame& game, GameBoard& board, const CorpusFilter& filter,
                  std::vector<TrainingRecord>& out);

struct CorpusFileInfo {
  int64_t games = 0;
  int64_t plies = 0;
  int64_t readable_bytes = 0;  // header and whole games
  int64_t file_bytes = 0;
};

// Walks every whole game of a file's bytes; false (with error set) when they are not a corpus.
bool read_corpus(const std::string& bytes, GameBoard& board, const std::function<void(const CorpusGame&)>& visit,
                 CorpusFileInfo& info, std::string& error);

// Reads a whole file into bytes; false with a reason.
bool read_whole_file(const std::string& path, std::string& bytes, std::string& error);

// A path names a corpus file by its extension.
bool is_corpus_path(const std::string& path);
