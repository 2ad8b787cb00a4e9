// Table files on Windows: GetFileAttributesA, CreateFileA, GetFileSize, CreateFileMappingA,
// MapViewOfFile.
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

PathKind path_kind(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return PathKind::MISSING;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) return PathKind::FOLDER;
  return attributes & FILE_ATTRIBUTE_DEVICE ? PathKind::OTHER : PathKind::FILE;
}

const char* last_file_error() {
  static thread_local char text[256];
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      GetLastError(), 0, text, sizeof text, nullptr);
  DWORD end = length;
  while (end > 0 && (text[end - 1] == '\r' || text[end - 1] == '\n' || text[end - 1] == '.')) --end;
  text[end] = 0;
  return length ? text : "unknown error";
}
