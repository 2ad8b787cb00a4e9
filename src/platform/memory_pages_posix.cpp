// Memory on Linux and other POSIX systems: aligned_alloc with a hint for transparent huge
// pages, and explicit huge pages from the kernel's reserved pool.
#include <sys/mman.h>

#include <cstdlib>

#include "platform/memory_pages.h"

void* allocate_aligned(uint64_t size) {
  const uint64_t alignment = block_alignment(size);
  const uint64_t rounded = round_up(size, alignment);
  void* block = std::aligned_alloc(alignment, rounded);
#ifdef MADV_HUGEPAGE
  if (block && alignment == HUGE_PAGE_SIZE) madvise(block, rounded, MADV_HUGEPAGE);
#endif
  return block;
}

void release_aligned(void* block) { std::free(block); }

// The kernel refuses the mapping when its pool of huge pages is too small.
void* allocate_large_pages(uint64_t size) {
#ifdef MAP_HUGETLB
  void* block = mmap(nullptr, round_up(size, HUGE_PAGE_SIZE), PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_HUGETLB, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
#else
  (void)size;
  return nullptr;
#endif
}

void release_large_pages(void* block, uint64_t size) { munmap(block, round_up(size, HUGE_PAGE_SIZE)); }
