#pragma once
// The memory the search lives in, from the operating system: an ordinary block and a block
// in large pages, each with its own release. The build compiles the file of its platform
// (memory_pages_posix.cpp or memory_pages_windows.cpp); nothing else asks the system for pages.
#include <cstdint>

// Large pages (and the alignment that lets transparent huge pages back a big block).
constexpr uint64_t HUGE_PAGE_SIZE = 2 * 1024 * 1024;

// A hash entry never straddles a cache line; a big block starts on a huge page.
constexpr uint64_t block_alignment(uint64_t size) { return size >= HUGE_PAGE_SIZE ? HUGE_PAGE_SIZE : 64; }
constexpr uint64_t round_up(uint64_t n, uint64_t step) { return (n + step - 1) / step * step; }

// At least size bytes aligned to block_alignment(size), or nullptr.
void* allocate_aligned(uint64_t size);
void release_aligned(void* block);

// At least size bytes in large pages, or nullptr when the system refuses them: too few
// reserved, or no right to lock pages in memory. Nothing is printed either way.
void* allocate_large_pages(uint64_t size);
// size is what was asked of allocate_large_pages.
void release_large_pages(void* block, uint64_t size);
