#include "datagen/workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "datagen/corpus_out.h"
#include "datagen/write_all.h"
#include "datagen/run_journal.h"
#include "common/training_file.h"

namespace {

constexpr auto PROGRESS_INTERVAL = std::chrono::seconds(2);
constexpr int POLL_MILLISECONDS = 200;

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Ctrl-C or a kill ends a long run by hand: the parent then finishes as it would at the
// target, so that the run's speed reaches the screen and the journal.
volatile sig_atomic_t stop_requested = 0;

void request_stop(int) { stop_requested = 1; }

void catch_stop_signals() {
  struct sigaction action {};
  action.sa_handler = request_stop;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: poll returns at once with EINTR.
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// Waits for a worker to end and adds its processor time. Returns its wait status.
int reap(pid_t& pid, double& cpu_seconds) {
  int status = 0;
  rusage usage{};
  if (wait4(pid, &status, 0, &usage) == pid)
    cpu_seconds += double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                   1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  pid = 0;
  return status;
}

bool stopped_by_hand(int status) {
  return WIFSIGNALED(status) && (WTERMSIG(status) == SIGINT || WTERMSIG(status) == SIGTERM);
}

// What a worker sends ahead of a game's records.
struct GameMessage {
  int64_t game;
  int32_t result;
  uint32_t count;         // training records that follow
  uint32_t corpus_bytes;  // then the game framed for the corpus
  uint32_t unused;
};

struct Worker {
  int stream;
  pid_t pid = -1;
  int fd = -1;  // read end of its pipe; -1 once closed
  std::vector<char> pending;
};

// In the child: never returns. keep_fd is its pipe's write end; every other descriptor of the
// parent's files is closed, so that the lock on the journal ends with the parent.
[[noreturn]] void run_child(int stream, int64_t first_game, uint64_t seed, bool to_corpus, int keep_fd,
                            const std::vector<int>& close_fds, const std::function<void()>& prepare,
                            const PlayGame& play) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (int fd : close_fds) close(fd);
  // think prints info and bestmove lines that nobody reads.
  if (!std::freopen("/dev/null", "w", stdout)) _exit(1);
  prepare();
  GameBoard game;
  std::vector<TrainingRecord> records;
  CorpusGame played;
  for (int64_t g = first_game;; ++g) {
    SplitMixRng rng = game_rng(seed, stream, g);
    played.moves.clear();
    const int result = play(game, rng, records, played);
    std::string framed;
    if (to_corpus && !played.moves.empty()) {
      played.seed = seed, played.stream = uint32_t(stream), played.number = uint64_t(g);
      framed = encode_game(played, game);
    }
    const GameMessage message{g, result, uint32_t(records.size()), uint32_t(framed.size()), 0};
    if (!write_all(keep_fd, &message, sizeof message) ||
        !write_all(keep_fd, records.data(), records.size() * sizeof(TrainingRecord)) ||
        !write_all(keep_fd, framed.data(), framed.size()))
      _exit(1);
  }
}

// The training file and its journal, locked, with anything after the journal's last sound
// game cut off. False with a message when the run can't go on with them.
struct RunFiles {
  int data = -1;
  int journal = -1;
  JournalState state;
  ~RunFiles() {
    if (data >= 0) close(data);
    if (journal >= 0) close(journal);
  }
};

bool fail(const std::string& message) {
  std::fprintf(stderr, "datagen: %s\n", message.c_str());
  return false;
}

bool new_header(int fd) {
  std::FILE* file = fdopen(dup(fd), "r+b");
  if (!file) return false;
  const bool ok = ftruncate(fd, 0) == 0 && write_training_header(file);
  return (std::fclose(file) == 0) && ok;
}

bool header_ok(int fd, const std::string& path) {
  std::FILE* file = fdopen(dup(fd), "rb");
  if (!file) return false;
  const bool ok = read_training_header(file, path.c_str());
  std::fclose(file);
  return ok;
}

bool open_run_files(const std::string& out, RunFiles& files) {
  const std::string journal_path = out + ".journal";
  struct stat info;
  const bool data_exists = stat(out.c_str(), &info) == 0;
  const bool journal_exists = access(journal_path.c_str(), F_OK) == 0;
  if (data_exists && !journal_exists && whole_records(info.st_size) > 0)
    return fail(out + " holds records but has no journal " + journal_path +
                ", so no run of datagen can go on with it; name a new file (datagen merge joins files)");
  files.journal = open(journal_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (files.journal < 0) return fail("can't open " + journal_path + ": " + std::strerror(errno));
  if (flock(files.journal, LOCK_EX | LOCK_NB) != 0) return fail("another datagen run is writing " + out);
  files.data = open(out.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (files.data < 0) return fail("can't open " + out + ": " + std::strerror(errno));
  if (fstat(files.data, &info) != 0) return fail(out + ": " + std::strerror(errno));
  if (info.st_size < int64_t(TRAINING_HEADER_BYTES)) {
    if (!new_header(files.data)) return fail("can't write " + out);
    info.st_size = TRAINING_HEADER_BYTES;
  } else if (!header_ok(files.data, out)) {
    return false;
  }

  std::string text;
  char buffer[1 << 16];
  for (ssize_t n; (n = read(files.journal, buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(n));
  std::string error;
  if (!read_journal(text, whole_records(info.st_size), files.state, error)) return fail(journal_path + ": " + error);
  const int64_t keep = record_offset(files.state.records);
  if (info.st_size > keep)
    std::fprintf(stderr, "datagen: %lld bytes after the last whole game of %s dropped\n",
                 (long long)(info.st_size - keep), out.c_str());
  if (int64_t(text.size()) > files.state.bytes)
    std::fprintf(stderr, "datagen: %lld bytes after the last sound line of %s dropped\n",
                 (long long)(int64_t(text.size()) - files.state.bytes), journal_path.c_str());
  if (ftruncate(files.data, keep) != 0 || ftruncate(files.journal, files.state.bytes) != 0 ||
      lseek(files.data, 0, SEEK_END) < 0 || lseek(files.journal, 0, SEEK_END) < 0)
    return fail("can't cut " + out + " back to its last whole game");
  return true;
}

struct RunCounts {
  int64_t positions = 0;  // of this run
  int64_t games = 0;
  int64_t white_wins = 0, draws = 0, black_wins = 0;
};

void print_progress(const char* prefix, int64_t have, const RunPlan& plan, const RunCounts& c, double seconds) {
  const double rate = seconds > 0 ? double(c.positions) / seconds : 0.0;
  const double share = c.games ? 100.0 / double(c.games) : 0.0;
  std::fprintf(stderr,
               "%s%lld/%lld positions, %.0f positions/s, %.1f per worker, %lld games, W/D/L %.1f%%/%.1f%%/%.1f%%\n",
               prefix, (long long)have, (long long)plan.positions, rate, rate / plan.workers, (long long)c.games,
               double(c.white_wins) * share, double(c.draws) * share, double(c.black_wins) * share);
}

}  // namespace

int available_cores() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
  return std::max(1, int(std::thread::hardware_concurrency()));
}

namespace {

// One run as it goes: its files, its workers, and what it has written.
struct Run {
  const RunPlan& plan;
  RunFiles files;
  CorpusOut corpus;
  std::vector<Worker> workers;
  int64_t have = 0;     // positions of the seed in the file
  int64_t records = 0;  // records in the file
  RunCounts counts;
  double cpu_seconds = 0;
  bool done = false, failed = false;
  explicit Run(const RunPlan& p) : plan(p) {}
};

// The seed's line in the journal: written for a new seed, compared for one played before.
bool claim_seed(Run& run) {
  SeedProgress& progress = run.files.state.seeds[run.plan.seed];
  if (progress.settings.empty()) {
    progress.settings = run.plan.settings;
    const std::string line = run_line(run.plan.seed, run.plan.settings);
    return write_all(run.files.journal, line.data(), line.size()) || fail("can't write " + run.plan.out + ".journal");
  }
  if (progress.settings == run.plan.settings) return true;
  return fail("seed " + std::to_string(run.plan.seed) + " was played into " + run.plan.out + " with other settings:\n  " +
              progress.settings + "\nthis run has:\n  " + run.plan.settings + "\nrun it with those settings or another seed");
}

// Forks one worker per stream, each going on after the last game its stream has in the journal.
void start_workers(Run& run, const std::function<void()>& prepare, const PlayGame& play) {
  const SeedProgress& progress = run.files.state.seeds[run.plan.seed];
  run.workers.resize(size_t(run.plan.workers));
  std::vector<int> parent_fds{run.files.data, run.files.journal};
  if (run.corpus.fd >= 0) parent_fds.push_back(run.corpus.fd);
  std::fflush(nullptr);
  for (int i = 0; i < run.plan.workers; ++i) {
    Worker& w = run.workers[size_t(i)];
    w.stream = i;
    int ends[2];
    if (pipe(ends) != 0) {
      run.failed = true;
      return;
    }
    const auto next = progress.next_game.find(i);
    const int64_t first_game = next == progress.next_game.end() ? 0 : next->second;
    w.pid = fork();
    if (w.pid == 0) {
      std::vector<int> close_fds = parent_fds;
      close_fds.push_back(ends[0]);
      run_child(i, first_game, run.plan.seed, run.corpus.fd >= 0, ends[1], close_fds, prepare, play);
    }
    close(ends[1]);
    w.fd = ends[0];
    parent_fds.push_back(ends[0]);
    if (w.pid < 0) {
      run.failed = true;
      return;
    }
  }
}

// Writes the whole games waiting in a worker's buffer: the corpus first (a game that the journal
// names is always in the corpus too), then the records, then the journal's line.
void write_games(Run& run, Worker& w) {
  size_t used = 0;
  std::string error;
  while (!run.done && w.pending.size() - used >= sizeof(GameMessage)) {
    GameMessage message;
    std::memcpy(&message, w.pending.data() + used, sizeof message);
    const char* records = w.pending.data() + used + sizeof message;
    const size_t record_bytes = size_t(message.count) * sizeof(TrainingRecord);
    const size_t bytes = sizeof message + record_bytes + message.corpus_bytes;
    if (w.pending.size() - used < bytes) break;
    if (run.corpus.fd >= 0 && !append_corpus_game(run.corpus, records + record_bytes, message.corpus_bytes, error)) {
      run.failed = !fail(error);
      break;
    }
    // The records that the seed still takes: the game that reaches the target is cut.
    const int64_t take = std::min(int64_t(message.count), run.plan.positions - run.have);
    const std::string line =
        game_line(run.plan.seed, w.stream, message.game, take, message.result, run.records + take);
    if (!write_all(run.files.data, records, size_t(take) * sizeof(TrainingRecord)) ||
        !write_all(run.files.journal, line.data(), line.size())) {
      run.failed = !fail("write error on " + run.plan.out);
      break;
    }
    used += bytes;
    run.records += take, run.have += take;
    run.counts.positions += take;
    ++run.counts.games;
    ++(message.result > 0 ? run.counts.white_wins : message.result < 0 ? run.counts.black_wins : run.counts.draws);
    run.done = run.have >= run.plan.positions;
  }
  w.pending.erase(w.pending.begin(), w.pending.begin() + long(used));
}

// Reads what a worker sent. A worker that ended ends the run: by hand (a signal sent to the whole
// run may reach a worker before the parent) or as a failure.
void read_worker(Run& run, Worker& w, std::vector<char>& buffer) {
  const ssize_t got = read(w.fd, buffer.data(), buffer.size());
  if (got < 0 && errno == EINTR) return;
  if (got <= 0) {
    close(w.fd);
    w.fd = -1;
    if (w.pid > 0 && stopped_by_hand(reap(w.pid, run.cpu_seconds))) {
      stop_requested = 1;
      return;
    }
    std::fprintf(stderr, "datagen: worker %d stopped\n", w.stream);
    run.failed = true;
    return;
  }
  w.pending.insert(w.pending.end(), buffer.begin(), buffer.begin() + got);
  write_games(run, w);
}

// Takes the workers' games until the target, a failure or a stop by hand.
void collect_games(Run& run, Clock::time_point start) {
  auto next_report = start + PROGRESS_INTERVAL;
  std::vector<char> buffer(1 << 16);
  while (!run.done && !run.failed && !stop_requested) {
    std::vector<pollfd> polled;
    std::vector<Worker*> owners;
    for (Worker& w : run.workers)
      if (w.fd >= 0) polled.push_back({w.fd, POLLIN, 0}), owners.push_back(&w);
    if (polled.empty()) break;
    if (poll(polled.data(), polled.size(), POLL_MILLISECONDS) < 0 && errno != EINTR) break;
    for (size_t k = 0; k < polled.size() && !run.done && !run.failed && !stop_requested; ++k)
      if (polled[k].revents) read_worker(run, *owners[k], buffer);
    if (Clock::now() >= next_report) {
      print_progress("datagen: ", run.have, run.plan, run.counts, seconds_since(start));
      next_report = Clock::now() + PROGRESS_INTERVAL;
    }
  }
}

// Ends the workers, writes the run's speed to the journal and the screen; the exit status.
int finish_run(Run& run, double seconds) {
  // Games still being played are not wanted any more. The workers' processor time gives a
  // speed that other work on a shared machine doesn't lower.
  for (Worker& w : run.workers) {
    if (w.pid > 0) {
      kill(w.pid, SIGKILL);
      reap(w.pid, run.cpu_seconds);
    }
    if (w.fd >= 0) close(w.fd);
  }
  const RunPlan& plan = run.plan;
  const std::string line = speed_line(plan.seed, plan.workers, run.counts.positions, seconds, run.cpu_seconds);
  if (!write_all(run.files.journal, line.data(), line.size()) || fdatasync(run.files.data) != 0) run.failed = true;
  const bool stopped = run.failed || !run.done;
  if (stopped)
    std::fprintf(stderr, "datagen: stopped with %lld of %lld positions of seed %llu in %s; run the same command to go on\n",
                 (long long)run.have, (long long)plan.positions, (unsigned long long)plan.seed, plan.out.c_str());
  else
    print_progress("datagen: done: ", run.have, plan, run.counts, seconds);
  const double positions = double(run.counts.positions);
  std::fprintf(stderr,
               "datagen: wrote %lld positions in %.1f s: %.1f positions/s per worker, %d workers; %.1f positions per "
               "second of processor time\n",
               (long long)run.counts.positions, seconds, seconds > 0 ? positions / seconds / plan.workers : 0.0,
               plan.workers, run.cpu_seconds > 0 ? positions / run.cpu_seconds : 0.0);
  return stopped ? 1 : 0;
}

}  // namespace

int run_workers(const RunPlan& plan, const std::function<void()>& prepare, const PlayGame& play) {
  Run run(plan);
  std::string error;
  if (!open_run_files(plan.out, run.files) || !claim_seed(run)) return 1;
  if (!plan.corpus.empty() && !open_corpus_out(plan.corpus, run.files.state, run.corpus, error)) return fail(error), 1;
  const SeedProgress& progress = run.files.state.seeds[plan.seed];
  run.have = progress.positions, run.records = run.files.state.records;
  if (run.have > 0)
    std::fprintf(stderr, "datagen: %s holds %lld positions of seed %llu in %lld games; going on\n", plan.out.c_str(),
                 (long long)run.have, (unsigned long long)plan.seed, (long long)progress.games);
  if (run.have >= plan.positions) {
    std::fprintf(stderr, "datagen: done: %lld/%lld positions already\n", (long long)run.have, (long long)plan.positions);
    return 0;
  }
  start_workers(run, prepare, play);
  // After the forks: the workers keep the default, and die of the signal.
  catch_stop_signals();
  const auto start = Clock::now();
  collect_games(run, start);
  return finish_run(run, seconds_since(start));
}
