#pragma once
// The tools' threads: a fixed team of workers, or a loop whose steps the workers share.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

// Runs work(0) .. work(threads - 1) at once, work(0) on the calling thread, and returns when
// all have finished.
template <typename Work>
void run_threads(int threads, Work&& work) {
  std::vector<std::thread> helpers;
  helpers.reserve(threads > 1 ? threads - 1 : 0);
  for (int t = 1; t < threads; ++t) helpers.emplace_back([&work, t] { work(t); });
  work(0);
  for (std::thread& helper : helpers) helper.join();
}

// Runs work(i) for every i below count on `threads` threads, which take the next `grain`
// consecutive steps whenever they are free: the order of the steps is not fixed, so each
// must write what no other step writes (or write it atomically).
template <typename Work>
void parallel_for(int threads, uint64_t count, Work&& work, uint64_t grain = 1) {
  const uint64_t runs = (count + grain - 1) / grain;
  std::atomic<uint64_t> next{0};
  run_threads(threads, [&](int) {
    for (uint64_t r; (r = next.fetch_add(1)) < runs;)
      for (uint64_t i = r * grain; i < std::min(count, (r + 1) * grain); ++i) work(i);
  });
}
