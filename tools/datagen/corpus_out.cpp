#include "datagen/corpus_out.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/game_corpus.h"
#include "datagen/write_all.h"

namespace {

// A game that the journal holds: its stream had played beyond it when the line was written.
bool journaled(const JournalState& journal, uint64_t seed, uint32_t stream, uint64_t number) {
  const auto seed_at = journal.seeds.find(seed);
  if (seed_at == journal.seeds.end()) return false;
  const auto stream_at = seed_at->second.next_game.find(int(stream));
  return stream_at != seed_at->second.next_game.end() && int64_t(number) < stream_at->second;
}

}  // namespace

CorpusOut::~CorpusOut() {
  if (fd >= 0) close(fd);
}

bool open_corpus_out(const std::string& path, const JournalState& journal, CorpusOut& out, std::string& error) {
  out.path = path;
  std::string bytes;
  if (access(path.c_str(), F_OK) == 0 && !read_whole_file(path, bytes, error)) return false;
  out.fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (out.fd < 0) {
    error = "can't open " + path + ": " + std::strerror(errno);
    return false;
  }
  int64_t keep = 0;
  if (bytes.size() < CORPUS_HEADER_BYTES) {
    bytes = corpus_header();
    if (ftruncate(out.fd, 0) != 0 || !write_all(out.fd, bytes.data(), bytes.size())) {
      error = "can't write " + path;
      return false;
    }
    keep = int64_t(bytes.size());
  } else {
    if (!is_corpus_header(bytes.data(), bytes.size())) {
      error = path + " is not a game corpus file";
      return false;
    }
    size_t at = CORPUS_HEADER_BYTES;
    uint64_t seed, number;
    uint32_t stream;
    for (size_t n; (n = corpus_game_id(bytes.data(), bytes.size(), at, seed, stream, number)) > 0 &&
                   journaled(journal, seed, stream, number);)
      at += n;
    keep = int64_t(at);
  }
  if (int64_t(bytes.size()) > keep)
    std::fprintf(stderr, "datagen: %lld bytes after the last journalled game of %s dropped\n",
                 (long long)(int64_t(bytes.size()) - keep), path.c_str());
  if (ftruncate(out.fd, keep) != 0 || lseek(out.fd, 0, SEEK_END) < 0) {
    error = "can't cut " + path + " back to its last whole game";
    return false;
  }
  out.bytes = keep;
  return true;
}

bool append_corpus_game(CorpusOut& out, const char* framed, size_t bytes, std::string& error) {
  if (bytes == 0) return true;
  if (out.bytes + int64_t(bytes) > CORPUS_FILE_LIMIT) {
    error = out.path + " is full (" + std::to_string(CORPUS_FILE_LIMIT >> 20) +
            " MB): go on with a new corpus file and another seed";
    return false;
  }
  if (!write_all(out.fd, framed, bytes)) {
    error = "write error on " + out.path;
    return false;
  }
  out.bytes += int64_t(bytes);
  return true;
}
