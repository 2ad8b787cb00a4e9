#pragma once
// Commands that move whole games: datagen import-pgn and datagen pgn (games from other machines'
// tournament managers into our data, and our corpus games out to any chess program), and datagen
// import-records (games rebuilt from training files made before the corpus existed).

// datagen import-pgn --out FILE PGN [PGN...]: the games of the PGN files as training records
// (FILE.bin) or as corpus games (FILE.tgc), in a new file. Returns the exit status.
int import_pgn_command(int argc, char** argv);

// datagen pgn GAMES.tgc [...]: the corpus games as PGN on standard output.
int pgn_command(int argc, char** argv);

// datagen import-records --out GAMES.tgc FILE [FILE...]: the games that self-play training files
// come from, rebuilt, into a new corpus file.
int import_records_command(int argc, char** argv);
