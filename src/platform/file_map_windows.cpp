// Table files on Windows: CreateFileA, GetFileSize, CreateFileMappingA, MapViewOfFile.
// A view keeps its file open by itself, so both handles are closed once it exists.
#include <windows.h>

#include "platform/file_map.h"

namespace {

HANDLE as_handle(FileHandle file) { return reinterpret_cast<HANDLE>(file); }

}  // namespace

// Other readers may have the file open, and may open it while we do.
FileHandle open_file_to_read(const char* path) {
  const HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  return file == INVALID_HANDLE_VALUE ? NO_FILE : reinterpret_cast<FileHandle>(file);
}

uint64_t file_size(FileHandle file) {
  DWORD high = 0;
  const DWORD low = GetFileSize(as_handle(file), &high);
  if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return 0;
  return uint64_t(high) << 32 | low;
}

const uint8_t* map_file(FileHandle file, uint64_t size) {
  if (size == 0) return nullptr;
  const HANDLE mapping = CreateFileMappingA(as_handle(file), nullptr, PAGE_READONLY, DWORD(size >> 32),
                                            DWORD(size), nullptr);
  if (!mapping) return nullptr;
  const void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, SIZE_T(size));
  CloseHandle(mapping);
  return static_cast<const uint8_t*>(view);
}

void close_file(FileHandle file) { CloseHandle(as_handle(file)); }

void unmap_file(const uint8_t* view, uint64_t) { UnmapViewOfFile(view); }
