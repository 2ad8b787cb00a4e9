#include "datagen/workers.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

constexpr auto PROGRESS_INTERVAL = std::chrono::seconds(2);
constexpr auto POLL_INTERVAL = std::chrono::milliseconds(50);

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string part_path(const std::string& out, int index) { return out + ".part" + std::to_string(index); }

void print_progress(const char* prefix, const SharedProgress& p, int64_t target, double seconds) {
  const int64_t positions = p.positions.load(), games = p.games.load();
  const double share = games ? 100.0 / double(games) : 0.0;
  std::fprintf(stderr, "%s%lld/%lld positions, %.0f positions/s, %lld games, W/D/L %.1f%%/%.1f%%/%.1f%%\n", prefix,
               (long long)positions, (long long)target, seconds > 0 ? double(positions) / seconds : 0.0,
               (long long)games, double(p.white_wins.load()) * share, double(p.draws.load()) * share,
               double(p.black_wins.load()) * share);
}

// In the child: never returns.
[[noreturn]] void run_child(WorkerTask task, const std::string& path, const WorkerBody& body) {
  // think prints info and bestmove lines that nobody reads.
  if (!std::freopen("/dev/null", "w", stdout)) _exit(1);
  task.out = std::fopen(path.c_str(), "wb");
  if (!task.out) {
    std::fprintf(stderr, "datagen: can't write %s\n", path.c_str());
    _exit(1);
  }
  bool ok = body(task);
  ok = std::fclose(task.out) == 0 && ok;
  _exit(ok ? 0 : 1);
}

// Header and the parts in order into a temporary file that becomes out when complete.
bool join_parts(const std::string& out, int threads, int64_t expected) {
  const std::string temporary = out + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) {
    std::fprintf(stderr, "datagen: can't write %s\n", temporary.c_str());
    return false;
  }
  bool ok = write_training_header(file);
  int64_t records = 0;
  std::vector<char> buffer(1 << 20);
  for (int i = 0; i < threads && ok; ++i) {
    std::FILE* part = std::fopen(part_path(out, i).c_str(), "rb");
    if (!part) {
      ok = false;
      break;
    }
    for (size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), part)) > 0;) {
      ok = ok && std::fwrite(buffer.data(), 1, n, file) == n;
      records += int64_t(n);
    }
    std::fclose(part);
  }
  ok = std::fclose(file) == 0 && ok;
  records /= int64_t(sizeof(TrainingRecord));
  if (ok && records != expected) {
    std::fprintf(stderr, "datagen: the parts hold %lld records, %lld were asked for\n", (long long)records,
                 (long long)expected);
    ok = false;
  }
  if (ok && std::rename(temporary.c_str(), out.c_str()) != 0) ok = false;
  if (!ok) {
    std::fprintf(stderr, "datagen: failed to write %s\n", out.c_str());
    std::remove(temporary.c_str());
  }
  return ok;
}

}  // namespace

bool write_game(WorkerTask& task, const std::vector<TrainingRecord>& records, int white_result) {
  const int64_t n = std::min(int64_t(records.size()), task.target - task.written);
  if (n > 0 && std::fwrite(records.data(), sizeof(TrainingRecord), size_t(n), task.out) != size_t(n)) {
    std::fprintf(stderr, "datagen: write error in worker %d\n", task.index);
    return false;
  }
  task.written += n;
  SharedProgress& p = *task.progress;
  p.positions += n;
  ++p.games;
  ++(white_result > 0 ? p.white_wins : white_result < 0 ? p.black_wins : p.draws);
  return true;
}

int run_workers(const std::string& out, int64_t positions, int threads, uint64_t seed, const WorkerBody& body) {
  void* shared = mmap(nullptr, sizeof(SharedProgress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) {
    std::fprintf(stderr, "datagen: no shared memory for the progress counters\n");
    return 1;
  }
  SharedProgress* progress = ::new (shared) SharedProgress{};

  const auto start = Clock::now();
  std::vector<pid_t> children(size_t(threads), -1);
  std::fflush(nullptr);
  for (int i = 0; i < threads; ++i) {
    WorkerTask task{i, positions / threads + (i < positions % threads ? 1 : 0), 0, worker_rng(seed, i), nullptr,
                    progress};
    const pid_t pid = fork();
    if (pid == 0) run_child(task, part_path(out, i), body);
    children[size_t(i)] = pid;
    if (pid < 0) std::fprintf(stderr, "datagen: can't start worker %d\n", i);
  }

  bool failed = std::count(children.begin(), children.end(), -1) > 0;
  int running = threads - int(std::count(children.begin(), children.end(), -1));
  auto next_report = start + PROGRESS_INTERVAL;
  while (running > 0) {
    std::this_thread::sleep_for(POLL_INTERVAL);
    for (pid_t& child : children) {
      int status = 0;
      if (child <= 0 || waitpid(child, &status, WNOHANG) != child) continue;
      if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) failed = true;
      child = 0;
      --running;
    }
    if (Clock::now() >= next_report) {
      print_progress("datagen: ", *progress, positions, seconds_since(start));
      next_report = Clock::now() + PROGRESS_INTERVAL;
    }
  }

  const bool joined = !failed && join_parts(out, threads, positions);
  for (int i = 0; i < threads; ++i) std::remove(part_path(out, i).c_str());
  if (failed) std::fprintf(stderr, "datagen: a worker failed; no file written\n");
  if (!joined) return 1;
  print_progress("datagen: done: ", *progress, positions, seconds_since(start));
  std::fprintf(stderr, "datagen: wrote %s in %.1f s\n", out.c_str(), seconds_since(start));
  return 0;
}
