// Locks under fire: processes that take, name and give back two locks while they are killed and
// stopped at random, on a folder of local or of declared remote storage.
//
// Exclusion is checked by other means than locks: a word per lock in memory that the processes
// share.  A word holds the process and the round that entered; whoever enters must find it empty.
// Exit status: 0 when no lock had two holders and every information file named its holder, 1
// otherwise, 2 for a bad option, 3 when the processes did not get through in time.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "miscdisc/platform/os.h"
#include "tests/stress/herd.h"
#include "tests/stress/options.h"
#include "tests/stress/scratch.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLocks = 2;

struct Options {
  uint64_t acquisitions = 20000;
  uint64_t kills = 200;
  uint64_t processes = 8;
  uint64_t seconds = 60;
  bool naive = false;  // the obvious protocol, which has a race
  bool remote = false;
  uint64_t seed = 1;
};

struct Shared {
  Exclusion<kLocks> exclusion;
  std::atomic<uint64_t> acquisitions;
  std::atomic<uint64_t> wrongInformation;
  std::atomic<uint64_t> failures;
  std::atomic<bool> stop;
};

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

void work(Shared& shared, const Options& options, const std::string& folder, uint64_t identity) {
  std::mt19937_64 random(options.seed ^ (identity * 0x9E3779B97F4A7C15));
  const std::string name = "holder " + std::to_string(identity);
  while (!shared.stop) {
    const size_t which = random() % kLocks;
    const WString path = Qx::WStringFromUTF8(folder + "/room" + std::to_string(which) + ".lck");
    Lock lock(path, options.naive);
    if (!lock.acquire()) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 100));
      continue;
    }
    const bool alone = shared.exclusion.enter(which, identity);

    const bool written = lock.writeInformation(name);
    if (!written) ++shared.failures;
    if (random() % 4 == 0) std::this_thread::yield();
    // Two holders are counted once, not again as a file that names the other of them.
    if (alone && written && lock.readInformation() != name) ++shared.wrongInformation;

    ++shared.acquisitions;
    shared.exclusion.leave(which, identity);
    lock.release();
  }
}

// A race that is there needs no further proof.
bool enough(const Shared& shared, const Options& options, const Herd& herd) {
  if (options.naive && shared.exclusion.doubleHolders > 0) return true;
  return shared.acquisitions >= options.acquisitions && herd.kills >= options.kills;
}

// True when all was done in time.
bool run(Shared& shared, const Options& options, Herd& herd) {
  const auto end = Clock::now() + std::chrono::seconds(options.seconds);
  while (!enough(shared, options, herd) && Clock::now() < end) {
    herd.rest();
    // Kills keep step with the acquisitions, so that neither is over long before the other.
    if (herd.kills * options.acquisitions <= options.kills * shared.acquisitions) {
      herd.replaceOne(shared.exclusion);
    } else {
      herd.stopOrResumeOne();
    }
  }
  const bool inTime = enough(shared, options, herd);
  shared.stop = true;
  herd.end();
  return inTime;
}

bool parse(int count, char** arguments, Options& options) {
  return readOptions(count, arguments, {{"--naive", &options.naive}, {"--remote", &options.remote}},
                     {{"--acquisitions", &options.acquisitions},
                      {"--kills", &options.kills},
                      {"--processes", &options.processes},
                      {"--seconds", &options.seconds},
                      {"--seed", &options.seed}}) &&
         options.processes >= 2 && options.processes <= kMostProcesses;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fprintf(stderr,
                 "usage: lock_stress [--acquisitions N] [--kills N] [--processes 2..64]\n"
                 "                   [--seconds MAX] [--naive] [--remote] [--seed N]\n");
    return 2;
  }
  const Scratch scratch(options.remote);
  const std::string folder = scratch.folder();
  Shared& shared = makeShared<Shared>();

  const auto start = Clock::now();
  Herd herd(options.processes, options.seed,
            [&](uint64_t identity) { work(shared, options, folder, identity); });
  const bool inTime = run(shared, options, herd);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  const bool anchored = std::filesystem::exists(folder + "/.lockspace");
  scratch.remove();
  std::printf("protocol               %s%s\n", options.naive ? "naive" : "ours",
              options.remote ? ", remote" : "");
  std::printf("seed, processes        %" PRIu64 ", %" PRIu64 "\n", options.seed, options.processes);
  std::printf("seconds                %.1f\n", seconds);
  std::printf("acquisitions           %" PRIu64 "\n", shared.acquisitions.load());
  std::printf("kills (of holders)     %" PRIu64 " (%" PRIu64 ")\n", herd.kills, herd.holdersKilled);
  std::printf("stops                  %" PRIu64 "\n", herd.stops);
  std::printf("double holders         %" PRIu64 "\n", shared.exclusion.doubleHolders.load());
  std::printf("wrong information      %" PRIu64 "\n", shared.wrongInformation.load());
  std::printf("failed writes          %" PRIu64 "\n", shared.failures.load());
  std::printf("longest recovery       %.1f ms\n", double(shared.exclusion.longestRecovery) / 1e6);

  if (shared.exclusion.doubleHolders || shared.wrongInformation || shared.failures) return 1;
  if (!options.naive && anchored != options.remote) return 1;
  return inTime ? 0 : 3;
}
