// Memory on Windows: _aligned_malloc, and large pages from VirtualAlloc, which need the
// right to lock pages in memory ("Lock pages in memory" in the local security policy).
#include <windows.h>

#include <malloc.h>

#include "platform/memory_pages.h"

namespace {

// Turns the right on for this process. A user who was never granted it gets
// ERROR_NOT_ALL_ASSIGNED from a call that otherwise reports success.
bool enable_lock_memory_privilege() {
  HANDLE token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return false;
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  const bool enabled = LookupPrivilegeValueA(nullptr, "SeLockMemoryPrivilege", &privileges.Privileges[0].Luid) &&
                       AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr) &&
                       GetLastError() == ERROR_SUCCESS;
  CloseHandle(token);
  return enabled;
}

}  // namespace

void* allocate_aligned(uint64_t size) {
  const uint64_t alignment = block_alignment(size);
  return _aligned_malloc(size_t(size), size_t(alignment));
}

void release_aligned(void* block) { _aligned_free(block); }

// The size must be a whole number of large pages, which the engine's sizes are not.
void* allocate_large_pages(uint64_t size) {
  const SIZE_T page = GetLargePageMinimum();
  if (page == 0 || !enable_lock_memory_privilege()) return nullptr;
  return VirtualAlloc(nullptr, SIZE_T(round_up(size, page)), MEM_RESERVE | MEM_COMMIT | MEM_LARGE_PAGES,
                      PAGE_READWRITE);
}

void release_large_pages(void* block, uint64_t) { VirtualFree(block, 0, MEM_RELEASE); }
