#pragma once
// Runs work(0) .. work(threads - 1) at once, work(0) on the calling thread, and returns when
// all have finished.
#include <thread>
#include <vector>

template <typename Work>
void run_threads(int threads, Work&& work) {
  std::vector<std::thread> helpers;
  helpers.reserve(threads > 1 ? threads - 1 : 0);
  for (int t = 1; t < threads; ++t) helpers.emplace_back([&work, t] { work(t); });
  work(0);
  for (std::thread& helper : helpers) helper.join();
}
