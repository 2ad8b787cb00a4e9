#include "datagen/game_commands.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "board/board_tables.h"
#include "common/game_corpus.h"
#include "common/training_record.h"
#include "common/training_file.h"
#include "datagen/pgn_games.h"
#include "datagen/record_games.h"

namespace {

struct ImportCounts {
  int64_t games = 0, skipped = 0, positions = 0;
};

// Appends the games of one PGN file to bytes (corpus) or records; false when it can't be read.
bool import_file(const std::string& path, int stream, bool corpus, GameBoard& board, std::string& bytes,
                 std::vector<TrainingRecord>& records, ImportCounts& counts) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "datagen: can't read %s\n", path.c_str());
    return false;
  }
  PgnGame pgn;
  CorpusGame game;
  std::string error;
  for (int64_t number = 0; read_pgn_game(in, pgn); ++number) {
    if (pgn.moves.empty() && pgn.tags.empty()) continue;
    if (!corpus_game_of_pgn(pgn, board, game, error)) {
      std::fprintf(stderr, "datagen: %s, game %lld: %s; skipped\n", path.c_str(), (long long)number + 1, error.c_str());
      ++counts.skipped;
      continue;
    }
    game.stream = uint32_t(stream), game.number = uint64_t(number);
    const size_t before = records.size();
    game_records(game, board, CorpusFilter{}, records);
    counts.positions += int64_t(records.size() - before);
    if (corpus) {
      records.clear();
      bytes += encode_game(game, board);
    }
    ++counts.games;
  }
  return true;
}

// The commands that import write a new file, never over one: false, after a message, when
// the file is there.
bool is_new_output(const std::string& out, const char* command) {
  if (access(out.c_str(), F_OK) != 0) return true;
  std::fprintf(stderr, "datagen: %s exists; %s writes a new file\n", out.c_str(), command);
  return false;
}

// Writes data, behind the training files' header when one is asked for, to a new file.
bool write_new_file(const std::string& path, bool training_header, const void* data, size_t bytes) {
  const std::string temporary = path + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  bool ok = file && (!training_header || write_training_header(file)) && std::fwrite(data, 1, bytes, file) == bytes;
  ok = file && std::fclose(file) == 0 && ok;
  if (!ok || std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::fprintf(stderr, "datagen: failed to write %s\n", path.c_str());
    std::remove(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace

int import_pgn_command(int argc, char** argv) {
  if (argc < 3 || std::strcmp(argv[0], "--out") != 0) {
    std::fprintf(stderr, "usage: datagen import-pgn --out FILE PGN [PGN...]\n");
    return 2;
  }
  init_board_tables();
  const std::string out = argv[1];
  if (!is_new_output(out, "import-pgn")) return 1;
  const bool corpus = is_corpus_path(out);
  std::string bytes = corpus ? corpus_header() : std::string();
  std::vector<TrainingRecord> records;
  GameBoard board;
  ImportCounts counts;
  for (int i = 2; i < argc; ++i)
    if (!import_file(argv[i], i - 2, corpus, board, bytes, records, counts)) return 1;
  const bool written = corpus ? write_new_file(out, false, bytes.data(), bytes.size())
                              : write_new_file(out, true, records.data(), records.size() * sizeof(TrainingRecord));
  if (!written) return 1;
  std::printf("%s: %lld games (%lld skipped), %lld training positions\n", out.c_str(), (long long)counts.games,
              (long long)counts.skipped, (long long)counts.positions);
  return 0;
}

int pgn_command(int argc, char** argv) {
  if (argc < 1) {
    std::fprintf(stderr, "usage: datagen pgn GAMES.tgc [GAMES.tgc...]\n");
    return 2;
  }
  init_board_tables();
  GameBoard board, replay;
  for (int i = 0; i < argc; ++i) {
    std::string bytes, error;
    CorpusFileInfo info;
    if (!read_whole_file(argv[i], bytes, error) ||
        !read_corpus(bytes, board, [&](const CorpusGame& game) { std::fputs(pgn_of_corpus_game(game, replay).c_str(), stdout); },
                     info, error)) {
      std::fprintf(stderr, "datagen: %s: %s\n", argv[i], error.c_str());
      return 1;
    }
  }
  return 0;
}

int import_records_command(int argc, char** argv) {
  if (argc < 3 || std::strcmp(argv[0], "--out") != 0 || !is_corpus_path(argv[1])) {
    std::fprintf(stderr, "usage: datagen import-records --out GAMES.tgc FILE [FILE...]\n");
    return 2;
  }
  init_board_tables();
  const std::string out = argv[1];
  if (!is_new_output(out, "import-records")) return 1;
  std::string bytes = corpus_header();
  GameBoard board;
  RebuildCounts counts;
  for (int i = 2; i < argc; ++i) {
    TrainingFiles files;
    if (!open_training_files({argv[i]}, files)) return 1;
    std::vector<TrainingRecord> records(size_t(files.total));
    if (!read_training_records(files, 0, files.total, records.data())) return 1;
    std::vector<CorpusGame> games;
    games_of_records(records, games, counts);
    for (size_t g = 0; g < games.size(); ++g) {
      games[g].stream = uint32_t(i - 2), games[g].number = g;
      bytes += encode_game(games[g], board);
    }
  }
  if (int64_t(bytes.size()) > CORPUS_FILE_LIMIT) {
    std::fprintf(stderr, "datagen: %s would pass the %lld MB of a corpus file: import fewer files at a time\n",
                 out.c_str(), (long long)(CORPUS_FILE_LIMIT >> 20));
    return 1;
  }
  if (!write_new_file(out, false, bytes.data(), bytes.size())) return 1;
  std::printf("%s: %lld games from %lld records, of which %lld come back as training positions\n", out.c_str(),
              (long long)counts.games, (long long)counts.records, (long long)counts.kept);
  return 0;
}
