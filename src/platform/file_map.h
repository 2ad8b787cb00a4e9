#pragma once
// Table files as the registry reads them: opened for reading beside other readers, sized,
// mapped whole and read-only, closed at once while the mapping stays, unmapped when the
// registry is rebuilt. The build compiles the file of its platform (file_map_posix.cpp
// or file_map_windows.cpp); nothing else opens or maps a table file.
#include <cstdint>

// A descriptor on POSIX systems, a handle on Windows.
using FileHandle = intptr_t;
constexpr FileHandle NO_FILE = -1;

// An existing file opened for reading, or NO_FILE.
FileHandle open_file_to_read(const char* path);
// Its length in bytes; 0 when it can't be told.
uint64_t file_size(FileHandle file);
// The first size bytes of the file, read-only, or nullptr (an empty file can't be mapped).
// The view outlives the handle.
const uint8_t* map_file(FileHandle file, uint64_t size);
void close_file(FileHandle file);
// size is what was given to map_file.
void unmap_file(const uint8_t* view, uint64_t size);

// What stands under a path, so that an unusable table can be named for what it is.
enum class PathKind { MISSING, FILE, FOLDER, OTHER };
PathKind path_kind(const char* path);
// Why this thread's last failed open or map call failed, in the system's words.
const char* last_file_error();
