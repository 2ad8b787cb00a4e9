#include "common/training_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

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

}  // namespace

TrainingFiles::~TrainingFiles() {
  for (const TrainingFile& file : files)
    if (file.fd >= 0) close(file.fd);
}

bool open_training_files(const std::vector<std::string>& paths, TrainingFiles& files) {
  for (const std::string& path : paths) {
    TrainingFile file;
    file.path = path;
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
    if (take > 0 && !read_at(file.fd, out, size_t(take) * sizeof(TrainingRecord), record_offset(local))) {
      std::fprintf(stderr, "%s: read error\n", file.path.c_str());
      return false;
    }
    out += take, begin += take, count -= take, ++f;
  }
  return true;
}
