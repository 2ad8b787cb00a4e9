#pragma once
// Guards for FEN text from outside: read_fen trusts its input, and boards it was never
// meant to hold (no king, a pawn on the last rank, a side in check that is not to move)
// break the move generators.

// Null when the board code and the generators can take the FEN; else a short reason.
// Tested: at most 135 characters (trailing blanks aside), the four fields, the board's
// characters and its square count, one king per side and the kings apart, no pawn on the
// first or last rank, material that a game can reach (so move lists stay within
// MAX_MOVES), the en-passant field "-" or a file letter, the side not to move not in check.
const char* fen_check(const char* fen);

// Rewrites in place, for a FEN that passed fen_check, the rights that can't be used:
// castling letters whose king is not on its first rank on files b..g or whose rook is not
// on the named file of that rank (with chess960 false: a king off the e-file or a rook off
// the a- and h-files), a second letter for a right already named, and an en-passant file
// without a pawn that can just have made a double step. A FEN from a real game is left as it is.
// With chess960 true, K, Q, k and q mean the outermost rook on that side of the king (X-FEN)
// and become that rook's file letter where it stands off the a- and h-files.
void drop_unusable_rights(char* fen, bool chess960);
