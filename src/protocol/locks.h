#pragma once
// The engine's two kinds of lock: a spin lock for short critical sections, and a
// lock that one thread takes and another may release (a go command takes it in
// the read loop, the search thread gives it back when it has printed bestmove).
#include <atomic>
#include <semaphore>

struct SpinLock {
  std::atomic<bool> locked{false};
  void lock() {
    while (locked.exchange(true, std::memory_order_acquire))
      while (locked.load(std::memory_order_relaxed)) {
      }
  }
  void unlock() { locked.store(false, std::memory_order_release); }
};

struct HandOverLock {
  std::binary_semaphore semaphore{1};
  void lock() { semaphore.acquire(); }
  void unlock() { semaphore.release(); }
};
