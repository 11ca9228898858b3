// Locks under fire: processes that take, name and give back two locks while they are killed and
// stopped at random, on a folder of local or of declared remote storage.
//
// Exclusion is checked by other means than locks: a word per lock in memory that the processes
// share.  A word holds the process and the round that entered; whoever enters must find it empty.
// Exit status: 0 when no lock had two holders and every information file named its holder, 1
// otherwise, 2 for a bad option, 3 when the processes did not get through in time.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "miscdisc/platform/os.h"
#include "tests/stress/scratch.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLocks = 2;
constexpr int kMostProcesses = 64;

struct Options {
  uint64_t acquisitions = 20000;
  uint64_t kills = 200;
  int processes = 8;
  int seconds = 60;
  bool naive = false;
  bool remote = false;
  uint64_t seed = 1;
};

// All that the processes share.  An owner word is the holder's slot (from 1) in the low byte and
// its run in the others, so that a word that a killed run left is never taken for the next run's.
struct Shared {
  std::atomic<uint64_t> owner[kLocks];
  std::atomic<uint64_t> doomed[kMostProcesses];  // by slot: the run that is about to be killed
  std::atomic<uint64_t> buried[kMostProcesses];  // by slot: the last run that is known to be dead
  std::atomic<int64_t> holderKilled[kLocks];     // nanoseconds; 0: no kill waits for a successor
  std::atomic<int64_t> longestRecovery;          // nanoseconds
  std::atomic<uint64_t> acquisitions;
  std::atomic<uint64_t> doubleHolders;
  std::atomic<uint64_t> wrongInformation;
  std::atomic<uint64_t> failures;
  std::atomic<bool> stop;
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
      .count();
}

// The processes' own lock, by one protocol or the other.
class Lock {
 public:
  Lock(WString path, bool naive) : path_(std::move(path)), naive_(naive) {}

  bool acquire() {
    if (!naive_) {
      handle_ = OS()->fileManager().open(path_, 2, 3, 0, 32);
      return handle_ && handle_->valid();
    }
    descriptor_ = ::open(native().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor_ < 0) return false;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    if (fcntl(descriptor_, F_OFD_SETLK, &lock) == 0) return true;
    ::close(descriptor_);
    return false;
  }

  bool writeInformation(const std::string& text) {
    if (!naive_) {
      const Qx::Ptr<iFile> file = OS()->fileManager().open(path_ + L".inf", 2, 3, 4, 0);
      return file && file->valid() && file->write(text.data(), text.size());
    }
    const int file =
        ::open((native() + ".inf").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) return false;
    const bool written = ::write(file, text.data(), text.size()) == ssize_t(text.size());
    ::close(file);
    return written;
  }

  std::string readInformation() const {
    char bytes[200];
    const int file = ::open((native() + ".inf").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return "missing";
    const ssize_t got = ::read(file, bytes, sizeof(bytes));
    ::close(file);
    return std::string(bytes, got > 0 ? size_t(got) : 0);
  }

  void release() {
    if (!naive_) {
      handle_ = nullptr;
      OS()->fileManager().remove(path_);
      OS()->fileManager().remove(path_ + L".inf");
      return;
    }
    ::close(descriptor_);
    unlink(native().c_str());
    unlink((native() + ".inf").c_str());
  }

 private:
  std::string native() const { return Qx::UTF8FromWString(path_); }

  WString path_;
  bool naive_;
  Qx::Ptr<iFile> handle_;
  int descriptor_ = -1;
};

void noteRecovery(Shared& shared, int lock) {
  const int64_t killed = shared.holderKilled[lock].exchange(0);
  if (killed == 0) return;
  const int64_t took = now() - killed;
  int64_t longest = shared.longestRecovery;
  while (took > longest && !shared.longestRecovery.compare_exchange_weak(longest, took)) {
  }
}

// True when nobody was there.  A killed holder cannot clear its word: the kernel gives its lock
// away first, and the parent clears the word after that.  So a word of a run that was doomed
// before we looked is waited for, until the parent has buried that run; every other word, and one
// that its own run clears while we wait, belongs to a second holder.
bool enter(Shared& shared, int lock, uint64_t identity) {
  while (true) {
    uint64_t found = 0;
    if (shared.owner[lock].compare_exchange_strong(found, identity)) return true;
    const size_t slot = (found & 0xFF) - 1;
    if (shared.doomed[slot] != found) return false;
    while (shared.owner[lock] == found) std::this_thread::sleep_for(std::chrono::microseconds(50));
    if (shared.buried[slot] != found) return false;
  }
}

[[noreturn]] void work(Shared& shared, const Options& options, const std::string& folder,
                       uint64_t identity) {
  std::mt19937_64 random(options.seed ^ (identity * 0x9E3779B97F4A7C15));
  const std::string name = "holder " + std::to_string(identity);
  while (!shared.stop) {
    const int which = int(random() % kLocks);
    const WString path = Qx::WStringFromUTF8(folder + "/room" + std::to_string(which) + ".lck");
    Lock lock(path, options.naive);
    if (!lock.acquire()) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 100));
      continue;
    }
    const bool alone = enter(shared, which, identity);
    if (!alone) ++shared.doubleHolders;
    noteRecovery(shared, which);

    const bool written = lock.writeInformation(name);
    if (!written) ++shared.failures;
    if (random() % 4 == 0) std::this_thread::yield();
    // Two holders are counted once, not again as a file that names the other of them.
    if (alone && written && lock.readInformation() != name) ++shared.wrongInformation;

    ++shared.acquisitions;
    uint64_t self = identity;
    shared.owner[which].compare_exchange_strong(self, 0);
    lock.release();
  }
  _exit(0);
}

struct Child {
  pid_t process = 0;
  uint64_t identity = 0;
  bool stopped = false;
};

class Range {
 public:
  Range(Shared& shared, const Options& options, std::string folder)
      : shared_(shared),
        options_(options),
        folder_(std::move(folder)),
        random_(options.seed),
        children_(size_t(options.processes)) {}

  bool run() {
    const auto end = Clock::now() + std::chrono::seconds(options_.seconds);
    for (size_t i = 0; i < children_.size(); ++i) start(i);
    while (!enough() && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::microseconds(500 + random_() % 3000));
      disturb();
    }
    const bool inTime = enough();
    shared_.stop = true;
    for (Child& child : children_) kill(child.process, SIGCONT);
    for (Child& child : children_) waitpid(child.process, nullptr, 0);
    return inTime;
  }

  uint64_t kills() const { return kills_; }
  uint64_t holdersKilled() const { return holdersKilled_; }
  uint64_t stops() const { return stops_; }

 private:
  // A race that is there needs no further proof.
  bool enough() const {
    if (options_.naive && shared_.doubleHolders > 0) return true;
    return shared_.acquisitions >= options_.acquisitions && kills_ >= options_.kills;
  }

  void start(size_t index) {
    Child& child = children_[index];
    child.identity = ++runs_ << 8 | (index + 1);
    child.stopped = false;
    child.process = fork();
    if (child.process == 0) work(shared_, options_, folder_, child.identity);
  }

  // Kills keep step with the acquisitions, so that neither is over long before the other.
  void disturb() {
    const size_t index = random_() % children_.size();
    Child& child = children_[index];
    if (kills_ * options_.acquisitions <= options_.kills * shared_.acquisitions) {
      replace(index);
    } else if (child.stopped) {
      kill(child.process, SIGCONT);
      child.stopped = false;
    } else if (random_() % 8 == 0) {
      kill(child.process, SIGSTOP);
      child.stopped = true;
      ++stops_;
    }
  }

  void replace(size_t index) {
    Child& child = children_[index];
    shared_.doomed[index] = child.identity;
    const int64_t killed = now();
    kill(child.process, SIGKILL);
    waitpid(child.process, nullptr, 0);
    shared_.buried[index] = child.identity;
    for (int lock = 0; lock < kLocks; ++lock) {
      if (shared_.owner[lock] != child.identity) continue;
      shared_.holderKilled[lock] = killed;
      ++holdersKilled_;
      uint64_t dead = child.identity;
      shared_.owner[lock].compare_exchange_strong(dead, 0);
    }
    ++kills_;
    start(index);
  }

  Shared& shared_;
  const Options& options_;
  std::string folder_;
  std::mt19937_64 random_;
  std::vector<Child> children_;
  uint64_t runs_ = 0, kills_ = 0, holdersKilled_ = 0, stops_ = 0;
};

bool parse(int count, char** arguments, Options& options) {
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--remote") {
      options.remote = true;
      continue;
    }
    if (++i == count) return false;
    const std::string value = arguments[i];
    const uint64_t number = std::strtoull(value.c_str(), nullptr, 10);
    if (name == "--acquisitions") {
      options.acquisitions = number;
    } else if (name == "--kills") {
      options.kills = number;
    } else if (name == "--processes") {
      options.processes = int(number);
    } else if (name == "--seconds") {
      options.seconds = int(number);
    } else if (name == "--seed") {
      options.seed = number;
    } else if (name == "--protocol" && (value == "ours" || value == "naive")) {
      options.naive = value == "naive";
    } else {
      return false;
    }
  }
  return options.processes >= 2 && options.processes <= kMostProcesses;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fprintf(
        stderr,
        "usage: lock_stress [--acquisitions N] [--kills N] [--processes 2..64]\n"
        "                   [--seconds MAX] [--protocol ours|naive] [--remote] [--seed N]\n");
    return 2;
  }
  const Scratch scratch(options.remote);
  const std::string folder = scratch.folder();
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return 2;
  Shared& shared = *new (memory) Shared{};

  const auto start = Clock::now();
  Range range(shared, options, folder);
  const bool inTime = range.run();
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  const bool anchored = std::filesystem::exists(folder + "/.lockspace");
  scratch.remove();
  std::printf("protocol               %s%s\n", options.naive ? "naive" : "ours",
              options.remote ? ", remote" : "");
  std::printf("seed, processes        %" PRIu64 ", %d\n", options.seed, options.processes);
  std::printf("seconds                %.1f\n", seconds);
  std::printf("acquisitions           %" PRIu64 "\n", shared.acquisitions.load());
  std::printf("kills (of holders)     %" PRIu64 " (%" PRIu64 ")\n", range.kills(),
              range.holdersKilled());
  std::printf("stops                  %" PRIu64 "\n", range.stops());
  std::printf("double holders         %" PRIu64 "\n", shared.doubleHolders.load());
  std::printf("wrong information      %" PRIu64 "\n", shared.wrongInformation.load());
  std::printf("failed writes          %" PRIu64 "\n", shared.failures.load());
  std::printf("longest recovery       %.1f ms\n", double(shared.longestRecovery) / 1e6);

  if (shared.doubleHolders || shared.wrongInformation || shared.failures) return 1;
  if (!options.naive && anchored != options.remote) return 1;
  return inTime ? 0 : 3;
}
