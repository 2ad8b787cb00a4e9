#pragma once
// datagen import-pgn and datagen pgn: games from other machines' tournament managers into our
// data, and our corpus games out to any chess program.

// datagen import-pgn --out FILE PGN [PGN...]: the games of the PGN files as training records
// (FILE.bin) or as corpus games (FILE.tgc), in a new file. Returns the exit status.
int import_pgn_command(int argc, char** argv);

// datagen pgn GAMES.tgc [...]: the corpus games as PGN on standard output.
int pgn_command(int argc, char** argv);
