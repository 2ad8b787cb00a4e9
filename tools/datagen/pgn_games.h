#pragma once
// Games in PGN, both ways: the PGN files that tournament managers write (fastchess's, with each
// move's score in its comment, "{+0.31/14 0.512s, n=8000}", and "{book}" for the opening's moves)
// read as corpus games, and corpus games written out as PGN that reads back the same.
#include <istream>
#include <map>
#include <string>
#include <vector>

#include "games/game_board.h"
#include "common/game_corpus.h"

struct PgnGame {
  std::map<std::string, std::string> tags;
  std::vector<std::string> moves;     // movetext tokens of the main line
  std::vector<std::string> comments;  // the comment after each move, empty where none
  std::string result;                 // "1-0", "0-1", "1/2-1/2" or "*"
};

// Reads the next game of a PGN stream; false at its end.
bool read_pgn_game(std::istream& in, PgnGame& game);

// The score of a move's comment in score units, side to move's view: "+0.31/14 ..." is 31,
// "-M4" a mate in 4 plies. Returns false for "book" and for comments without a score.
bool comment_score(const std::string& comment, int& score);

// The game as a corpus game: its book moves played into the start position, every later move
// with its score (a move without one gets a score that no filter keeps). False with a reason
// for a game without a result, with a move that is not legal, or that starts from a FEN the
// board code can't take.
bool corpus_game_of_pgn(const PgnGame& pgn, GameBoard& board, CorpusGame& game, std::string& error);

// The game as PGN text, moves in SAN, each with its score as a comment.
std::string pgn_of_corpus_game(const CorpusGame& game, GameBoard& board);
