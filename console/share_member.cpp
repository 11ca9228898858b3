// The side of the test that works in the folder.
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

#include "console/share_test.h"
#include "host/files/file_manager.h"
#include "host/files/lock_file.h"
#include "host/files/open_file.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/netshare/net_lock.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kBlock = 4096;  // of a file that is replaced: all of it one letter

// Two processes that meet must not go on in step.
void pause() {
  static std::minstd_rand random{std::random_device()()};
  std::this_thread::sleep_for(
      std::chrono::microseconds(std::uniform_int_distribution<>(50, 500)(random)));
}

Clock::time_point endOf(const std::string& milliseconds) {
  return Clock::now() + std::chrono::milliseconds(std::stoi(milliseconds));
}

class Member {
 public:
  explicit Member(const std::string& folder)
      : folder_(withSeparator(Qx::WStringFromUTF8(folder))) {}

  std::string doAs(const std::string& line) {
    const size_t space = std::min(line.find(' '), line.size());
    const std::string argument = line.substr(std::min(space + 1, line.size()));
    const auto command = kCommands.find(line.substr(0, space));
    return command == kCommands.end() ? "unknown" : (this->*command->second)(argument);
  }

 private:
  using Do = std::string (Member::*)(const std::string&);
  static const std::map<std::string, Do> kCommands;

  WString wide(const std::string& name) const { return folder_ + Qx::WStringFromUTF8(name); }
  std::string path(const std::string& name) const { return Qx::UTF8FromWString(wide(name)); }

  // "yes", or "no" and the error.
  std::string lock(const std::string&) {
    lock_ = std::make_unique<NetLock>(wide("lock"));
    if (lock_->Lock()) return "yes";
    return "no " + std::to_string(host::lastOpenError());
  }

  std::string unlock(const std::string&) {
    lock_->Unlock();
    return "yes";
  }

  std::string state(const std::string&) {
    switch (host::lockState(path("lock"))) {
      case host::LockState::kMissing:
        return "missing";
      case host::LockState::kFree:
        return "free";
      case host::LockState::kHeld:
        return "held";
      case host::LockState::kUnknown:
        break;
    }
    return "unknown";
  }

  // Whether nobody else thinks that it holds the lock, as only one process can make a file of one
  // name; nothing when the file could not be used.
  std::optional<bool> isAlone() {
    const std::string token = path("token");
    const host::Descriptor file(open(token.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) return errno == EEXIST ? std::optional(false) : std::nullopt;
    const pid_t own = getpid();
    const bool written = pwrite(file.number(), &own, sizeof own, 0) == sizeof own;
    pause();
    pid_t found = 0;
    const host::Descriptor again(open(token.c_str(), O_RDONLY | O_CLOEXEC));
    const bool read = again && pread(again.number(), &found, sizeof found, 0) == sizeof found;
    const bool removed = unlink(token.c_str()) == 0;
    if (!written || !read || !removed) return {};
    return found == own;
  }

  // How often it got the lock, how often that was refused, how often it was not alone then, and how
  // often that could not be told.
  std::string compete(const std::string& milliseconds) {
    int got = 0, refused = 0, met = 0, unknown = 0;
    for (const auto end = endOf(milliseconds); Clock::now() < end; pause()) {
      NetLock lock(wide("contested"));
      if (!lock.Lock()) {
        ++refused;
        continue;
      }
      ++got;
      const auto alone = isAlone();
      if (!alone) ++unknown;
      if (alone && !*alone) ++met;
      lock.Unlock();
    }
    std::ostringstream result;
    result << got << ' ' << refused << ' ' << met << ' ' << unknown;
    return result.str();
  }

  std::string exists(const std::string& name) { return fileExists(wide(name)) ? "yes" : "no"; }

  std::string make(const std::string& name) {
    const host::Descriptor file(
        open(path(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file ? "yes" : "no " + std::to_string(errno);
  }

  std::string remove(const std::string& name) {
    return unlink(path(name).c_str()) == 0 ? "yes" : "no " + std::to_string(errno);
  }

  bool put(const std::string& name, char letter) {
    const std::string bytes(kBlock, letter);
    host::Descriptor file(open(path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return file && write(file.number(), bytes.data(), bytes.size()) == kBlock && file.close();
  }

  // How often it replaced the file, and how often that failed.
  std::string replace(const std::string& milliseconds) {
    int done = 0, failed = 0;
    const auto end = endOf(milliseconds);
    do {
      const bool put = this->put("next", done % 2 == 0 ? 'a' : 'b');
      const bool renamed = put && rename(path("next").c_str(), path("replaced").c_str()) == 0;
      ++(renamed ? done : failed);
    } while (Clock::now() < end);
    return std::to_string(done) + " " + std::to_string(failed);
  }

  bool isWhole() {
    const host::Descriptor file(open(path("replaced").c_str(), O_RDONLY | O_CLOEXEC));
    char bytes[kBlock + 1];
    if (!file) return false;
    const ssize_t count = read(file.number(), bytes, sizeof bytes);
    return count == kBlock && std::string(bytes, kBlock) == std::string(kBlock, bytes[0]);
  }

  // How often it read the file, and how often that was missing or torn.
  std::string watch(const std::string& milliseconds) {
    int read = 0, torn = 0;
    for (const auto end = endOf(milliseconds); Clock::now() < end; ++read) {
      if (!isWhole()) ++torn;
    }
    return std::to_string(read) + " " + std::to_string(torn);
  }

  std::string mark(const std::string& value) {
    return OS()->fileManager().mark(wide("marked"), static_cast<unsigned>(std::stoi(value))) ? "yes"
                                                                                             : "no";
  }

  std::string marked(const std::string&) {
    Vector<iFileManager::DirectoryItem> items;
    OS()->fileManager().list(wide("marked"), items, 1, 0);
    return items.size() == 1 && (items[0].attributes & 2) != 0 ? "yes" : "no";
  }

  const WString folder_;
  std::unique_ptr<NetLock> lock_;
};

const std::map<std::string, Member::Do> Member::kCommands{
    {"lock", &Member::lock},       {"unlock", &Member::unlock},   {"state", &Member::state},
    {"compete", &Member::compete}, {"exists", &Member::exists},   {"make", &Member::make},
    {"remove", &Member::remove},   {"replace", &Member::replace}, {"watch", &Member::watch},
    {"mark", &Member::mark},       {"marked", &Member::marked},
};

}  // namespace

Exit serveShareTest(Context& context, const std::string& folder) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Member member(folder);
  std::string line;
  while (std::getline(std::cin, line)) {
    context.output.print(member.doAs(line) + "\n");
    if (!context.output.flush()) return kFailed;
  }
  return kDone;
}

}  // namespace console
