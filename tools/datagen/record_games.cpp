#include "datagen/record_games.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "board/fen_check.h"
#include "board/fen_write.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "protocol/engine_options.h"

namespace {

// Plies between two records that the search tries to join: self-play seldom skips more.
constexpr int MAX_GAP = 6;
// The score of a ply whose position no record kept: decided, so no filter keeps it.
constexpr int16_t NO_SCORE = INT16_MAX;

bool same_board(const TrainingRecord& a, const TrainingRecord& b) {
  return a.occupied == b.occupied && std::memcmp(a.pieces, b.pieces, sizeof a.pieces) == 0 && a.rights == b.rights;
}

// Moves from the thread's current position to one that packs as target in `plies` plies: the
// first quiet (the record before was kept, so its move was), each later one a capture, a promotion
// or an answer to check (else its position would have been kept).
bool join(ThreadData& thread, const TrainingRecord& target, int plies, bool first, std::vector<Move>& line) {
  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_legal(pos, list);
  for (const ScoredMove* s = list; s != end; ++s) {
    const Move m = s->move;
    if (first ? (m & MOVE_TACTICAL) != 0 : !in_check(pos) && !(m & MOVE_TACTICAL)) continue;
    make_move(thread, m, nullptr);
    const bool found = plies == 1 ? same_board(pack_record(*thread.current_position, 0, 0, 0, false), target)
                                  : join(thread, target, plies - 1, false, line);
    --thread.current_position;
    if (found) {
      line.push_back(m);
      return true;
    }
  }
  return false;
}

// The outermost own rook beyond the king on the back rank (rank 0 in the mover's frame, 7 for
// the enemy), as X-FEN reads a castling letter; NO_RIGHT when there is none.
int castling_rook_file(const Position& pos, bool own, bool king_side) {
  const Bitboard side = own ? pos.bb[OWN] : enemy_pieces(pos);
  const int rank = own ? 0 : 7;
  const Bitboard kings = pos.bb[KING] & side & (0xFFull << (8 * rank));
  if (!kings) return NO_RIGHT;
  const int king_file = file_of(lsb(kings));
  for (int i = 0; i < 8; ++i) {
    const int file = king_side ? 7 - i : i;
    if ((king_side ? file <= king_file : file >= king_file)) break;
    if (pos.bb[ROOK] & side & bit(Square(rank * 8 + file))) return file;
  }
  return NO_RIGHT;
}

// The start of a game at a record: the side to move by the parity of its ply (every game of
// ours starts with White to move at an even ply), no en-passant square, no fifty-move count.
std::string fen_of_record(const TrainingRecord& r) {
  Position pos;
  unpack_record(r, pos);
  uint16_t castling = 0;
  for (int i = 0; i < 4; ++i) {
    const int file = (r.rights >> i) & 1 ? castling_rook_file(pos, i < 2, i % 2 == 0) : NO_RIGHT;
    castling |= uint16_t(file << (4 * i));
  }
  pos.castling = castling;
  if (r.ply % 2) pos.flags |= FLAG_BLACK;
  char fen[FEN_BUFFER_SIZE];
  position_to_fen(pos, fen, (r.flags & RECORD_CHESS960) != 0);
  return fen;
}

}  // namespace

void games_of_records(const std::vector<TrainingRecord>& records, std::vector<CorpusGame>& games,
                      RebuildCounts& counts) {
  auto thread = std::make_unique<ThreadData>();
  GameBoard board;
  CorpusGame game;
  const TrainingRecord* last = nullptr;  // the record the current game stands at
  const auto finish = [&] {
    if (last && !game.moves.empty()) {
      games.push_back(game);
      ++counts.games;
    }
    last = nullptr;
  };
  for (const TrainingRecord& r : records) {
    ++counts.records;
    std::vector<Move> line;
    const int gap = last ? int(r.ply) - int(last->ply) : 0;
    bool joined = false;
    if (last && gap >= 1 && gap <= MAX_GAP && r.flags == last->flags) {
      thread->position_stack[0] = board_position(board);
      thread->current_position = thread->position_stack;
      joined = join(*thread, r, gap, true, line);
    }
    if (joined) {
      std::reverse(line.begin(), line.end());
      for (size_t i = 0; i < line.size(); ++i) {
        game.moves.push_back(line[i]);
        game.scores.push_back(i == 0 ? last->score : NO_SCORE);
        play_board_move(board, line[i]);
      }
      ++counts.kept;  // the record before, now that a move follows it
      last = &r;
      continue;
    }
    finish();
    const std::string fen = fen_of_record(r);
    if (fen_check(fen.c_str())) continue;  // not a board the generators can take
    game = CorpusGame{};
    game.chess960 = (r.flags & RECORD_CHESS960) != 0;
    engine_options.UCI_Chess960 = game.chess960;
    game.start_fen = fen;
    game.start_ply = r.ply;
    const int white_to_move = r.ply % 2 == 0 ? 1 : -1;
    game.result = r.result * white_to_move;
    start_board(board, fen.c_str());
    board.ply = r.ply;
    last = &r;
  }
  finish();
}
