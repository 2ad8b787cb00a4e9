// Table files on Linux and other POSIX systems: stat, open, fstat, mmap.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/file_map.h"

FileHandle open_file_to_read(const char* path) { return open(path, O_RDONLY); }

uint64_t file_size(FileHandle file) {
  struct stat status;
  return fstat(int(file), &status) == 0 ? uint64_t(status.st_size) : 0;
}

const uint8_t* map_file(FileHandle file, uint64_t size) {
  if (size == 0) return nullptr;
  void* view = mmap(nullptr, size, PROT_READ, MAP_SHARED, int(file), 0);
  return view == MAP_FAILED ? nullptr : static_cast<const uint8_t*>(view);
}

void close_file(FileHandle file) { close(int(file)); }

void unmap_file(const uint8_t* view, uint64_t size) { munmap(const_cast<uint8_t*>(view), size); }

PathKind path_kind(const char* path) {
  struct stat status;
  if (stat(path, &status) != 0) return PathKind::MISSING;
  return S_ISREG(status.st_mode) ? PathKind::FILE : S_ISDIR(status.st_mode) ? PathKind::FOLDER : PathKind::OTHER;
}

const char* last_file_error() { return std::strerror(errno); }
