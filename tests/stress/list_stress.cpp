// List files under fire: processes that append lines of their own to one list while they are
// killed at random.  A line whose save was true is acknowledged through a pipe; at the end every
// acknowledged line must be there once, and every line there must be whole and have one writer.
//
// Exit status: 0 when that is so, 1 when not, 2 for a bad option or too little work done.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "miscdisc/platform/text_file.h"
#include "tests/stress/options.h"
#include "tests/stress/scratch.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  uint64_t processes = 6;
  uint64_t seconds = 4;
  bool remote = false;
  uint64_t seed = 1;
};

// A line says who wrote it, which of his lines it is, and ends so that a torn one shows.
constexpr size_t kLineLength = 60;

std::string lineOf(uint64_t run, uint64_t number) {
  char head[kLineLength + 1];
  std::snprintf(head, sizeof(head), "run %08llu line %08llu ", static_cast<unsigned long long>(run),
                static_cast<unsigned long long>(number));
  std::string line = head;
  line.resize(kLineLength - 1, '.');
  return line + "#";
}

bool whole(const std::string& line) {
  unsigned long long run = 0, number = 0;
  return std::sscanf(line.c_str(), "run %llu line %llu", &run, &number) == 2 &&
         line == lineOf(run, number);
}

[[noreturn]] void append(const WString& path, uint64_t run, int acknowledge) {
  for (uint64_t number = 0;; ++number) {
    const std::string line = lineOf(run, number);
    TextFile list(path, true);
    list.appendLine(line);
    // One write of a pipe this short is whole or not there at all.
    if (list.save(L"", TextFile::eLF)) (void)!write(acknowledge, line.data(), line.size());
  }
}

class Range {
 public:
  Range(const Options& options, WString path)
      : options_(options), path_(std::move(path)), random_(options.seed) {
    if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) std::abort();
  }

  void run() {
    std::vector<pid_t> children;
    for (uint64_t i = 0; i < options_.processes; ++i) children.push_back(start());
    const auto end = Clock::now() + std::chrono::seconds(options_.seconds);
    while (Clock::now() < end) {
      pollfd readable{pipe_[0], POLLIN, 0};
      poll(&readable, 1, static_cast<int>(random_() % 20));
      collect();
      if (random_() % 4 != 0) continue;
      pid_t& child = children[random_() % children.size()];
      stop(child);
      ++kills;
      child = start();
    }
    for (const pid_t child : children) stop(child);
    collect();
  }

  std::map<std::string, int> acknowledged;
  int kills = 0;

 private:
  pid_t start() {
    const uint64_t run = ++runs_;
    const pid_t child = fork();
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // it would append without end
      append(path_, run, pipe_[1]);
    }
    return child;
  }

  static void stop(pid_t child) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }

  void collect() {
    char line[kLineLength];
    while (read(pipe_[0], line, sizeof(line)) == ssize_t(sizeof(line))) {
      ++acknowledged[std::string(line, sizeof(line))];
    }
  }

  const Options& options_;
  WString path_;
  std::mt19937_64 random_;
  int pipe_[2];
  uint64_t runs_ = 0;
};

bool parse(int count, char** arguments, Options& options) {
  return readOptions(count, arguments, {{"--remote", &options.remote}},
                     {{"--processes", &options.processes},
                      {"--seconds", &options.seconds},
                      {"--seed", &options.seed}}) &&
         options.processes >= 1 && options.seconds >= 1;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fprintf(stderr,
                 "usage: list_stress [--processes N] [--seconds N] [--remote] [--seed N]\n");
    return 2;
  }
  const Scratch scratch(options.remote);
  const std::string folder = scratch.folder();
  const WString path = Qx::WStringFromUTF8(folder + "/list.txt");
  Range range(options, path);
  range.run();

  std::map<std::string, int> found;
  size_t torn = 0, repeated = 0, lost = 0;
  const TextFile list(path, true);
  for (size_t i = 0; i < list.getNumLines(); ++i) {
    if (!whole(list[i])) ++torn;
    if (++found[list[i]] > 1) ++repeated;
  }
  for (const auto& [line, times] : range.acknowledged) lost += found.count(line) == 0;
  scratch.remove();

  std::printf("seed, processes        %" PRIu64 ", %" PRIu64 "%s\n", options.seed,
              options.processes, options.remote ? ", remote" : "");
  std::printf("kills                  %d\n", range.kills);
  std::printf("acknowledged lines     %zu\n", range.acknowledged.size());
  std::printf("lines in the file      %zu\n", list.getNumLines());
  std::printf("lost                   %zu\n", lost);
  std::printf("repeated               %zu\n", repeated);
  std::printf("torn                   %zu\n", torn);
  if (lost || repeated || torn) return 1;
  return range.acknowledged.size() >= 20 && range.kills >= 5 ? 0 : 2;
}
