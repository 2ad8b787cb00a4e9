#include "common/training_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

bool read_at(int fd, void* data, size_t bytes, int64_t offset) {
  char* p = static_cast<char*>(data);
  while (bytes > 0) {
    const ssize_t got = pread(fd, p, bytes, off_t(offset));
    if (got <= 0) return false;
    p += got, bytes -= size_t(got), offset += got;
  }
  return true;
}

// Decodes a corpus file into file.decoded; false with a message.
bool open_corpus_file(TrainingFile& file, const CorpusFilter& filter) {
  std::string bytes, error;
  GameBoard board;
  file.corpus = true;
  if (!read_whole_file(file.path, bytes, error) ||
      !read_corpus(bytes, board, [&](const CorpusGame& game) { game_records(game, board, filter, file.decoded); },
                   file.corpus_info, error)) {
    std::fprintf(stderr, "%s: %s\n", file.path.c_str(), error.c_str());
    return false;
  }
  file.records = int64_t(file.decoded.size());
  file.tail_bytes = file.corpus_info.file_bytes - file.corpus_info.readable_bytes;
  return true;
}

// The paths with every folder replaced by the corpus files in it, in name order.
std::vector<std::string> expand_folders(const std::vector<std::string>& paths) {
  std::vector<std::string> out;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      out.push_back(path);
      continue;
    }
    std::vector<std::string> inside;
    for (const auto& entry : std::filesystem::directory_iterator(path, error))
      if (entry.is_regular_file() && is_corpus_path(entry.path().string())) inside.push_back(entry.path().string());
    std::sort(inside.begin(), inside.end());
    if (inside.empty()) std::fprintf(stderr, "%s: no game corpus files (%s) in this folder\n", path.c_str(), CORPUS_EXTENSION);
    out.insert(out.end(), inside.begin(), inside.end());
  }
  return out;
}

}  // namespace

TrainingFiles::~TrainingFiles() {
  for (const TrainingFile& file : files)
    if (file.fd >= 0) close(file.fd);
}

bool open_training_files(const std::vector<std::string>& paths, TrainingFiles& files, const CorpusFilter& filter) {
  for (const std::string& path : expand_folders(paths)) {
    TrainingFile file;
    file.path = path;
    if (is_corpus_path(path)) {
      if (!open_corpus_file(file, filter)) return false;
      files.first.push_back(files.total);
      files.total += file.records;
      files.files.push_back(std::move(file));
      continue;
    }
    file.fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file.fd < 0) {
      std::perror(path.c_str());
      return false;
    }
    files.files.push_back(file);
    struct stat info;
    if (fstat(file.fd, &info) != 0) {
      std::perror(path.c_str());
      return false;
    }
    std::FILE* stream = fdopen(dup(file.fd), "rb");
    const bool header_ok = stream && read_training_header(stream, path.c_str());
    if (stream) std::fclose(stream);
    if (!header_ok) return false;
    TrainingFile& added = files.files.back();
    added.records = whole_records(info.st_size);
    added.tail_bytes = info.st_size - record_offset(added.records);
    files.first.push_back(files.total);
    files.total += added.records;
  }
  return true;
}

bool read_training_records(const TrainingFiles& files, int64_t begin, int64_t count, TrainingRecord* out) {
  if (begin < 0 || count < 0 || begin + count > files.total) return false;
  // The file that holds record `begin`: the last one whose first record is not after it.
  size_t f = size_t(std::upper_bound(files.first.begin(), files.first.end(), begin) - files.first.begin()) - 1;
  while (count > 0) {
    const TrainingFile& file = files.files[f];
    const int64_t local = begin - files.first[f];
    const int64_t take = std::min(count, file.records - local);
    if (file.corpus)
      std::copy_n(file.decoded.begin() + local, take, out);
    else if (take > 0 && !read_at(file.fd, out, size_t(take) * sizeof(TrainingRecord), record_offset(local))) {
      std::fprintf(stderr, "%s: read error\n", file.path.c_str());
      return false;
    }
    out += take, begin += take, count -= take, ++f;
  }
  return true;
}
