#include "tests/machines/machines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

namespace test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{30};

// The end that a process gives by itself; nothing while it runs on.
std::optional<int> endOf(pid_t process) {
  const auto end = Clock::now() + kPatience;
  while (Clock::now() < end) {
    int status = 0;
    if (waitpid(process, &status, WNOHANG) == process) return status;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return std::nullopt;
}

}  // namespace

Share::Share(Storage storage) : storage_(storage) {
  folder_ = fs::temp_directory_path() / "miscdisc-machines-XXXXXX";
  if (!mkdtemp(folder_.data())) throw std::runtime_error("no folder for the test at " + folder_);
  fs::create_directory(root());
}

Share::~Share() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string Share::root() const { return folder_ + "/share"; }

std::string Share::path(const std::string& name) const { return root() + "/" + name; }

bool Share::has(const std::string& name) const { return fs::exists(path(name)); }

std::optional<std::string> Share::read(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void Share::makeFolder(const std::string& name) const { fs::create_directories(path(name)); }

Storage Share::storage() const { return storage_; }

void Share::addSettings(const std::string& toml) { settings_ += toml; }

std::string Share::makeHome(const std::string& user, Storage storage,
                            const std::string& moreSettings) const {
  std::string home = folder_ + "/home-XXXXXX";
  if (!mkdtemp(home.data())) throw std::runtime_error("no home for " + user);
  std::ofstream config(home + "/config.toml");
  config << "[machine]\nuser = '" << user << "'\n[volumes]\ndiscover = false\n"
         << moreSettings << settings_;
  if (storage == Storage::kDeclaredRemote) config << "[locks]\nremote = ['" << root() << "']\n";
  return home;
}

Machine::Machine(const Share& share, std::string user)
    : Machine(share, std::move(user), share.storage()) {}

Machine::Machine(const Share& share, std::string user, Storage storage)
    : root_(share.root()), user_(std::move(user)), home_(share.makeHome(user_, storage)) {
  start();
}

Machine::Machine(const Share& share, std::string user, const std::string& mountPoint)
    : root_(mountPoint),
      user_(std::move(user)),
      home_(share.makeHome(user_, share.storage(),
                           "[shares]\n'//nas/projects' = '" + mountPoint + "'\n")) {
  start();
}

Machine::~Machine() {
  if (process_ == 0) return;
  if (stopped_) {
    crash();
  } else {
    expectGoodEnd();
  }
}

void Machine::start() {
  signal(SIGPIPE, SIG_IGN);  // a machine that has died is met as the end of its output
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipes for the machine of " + user_);
  }
  const pid_t test = getpid();
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error("no process for the machine of " + user_);
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != test) _exit(1);
    dup2(input[0], STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    setenv("MISCDISC_HOME", home_.c_str(), 1);
    execl(MACHINE, MACHINE, root_.c_str(), nullptr);
    _exit(127);
  }
  process_ = process;
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
  asked_ = "to start";
  const std::string first = readLine();
  if (first != "READY") throw std::runtime_error("the machine of " + user_ + " says " + first);
}

// To a signal, no process would mean all of the test's group.
pid_t Machine::running() const {
  if (process_ == 0) throw std::logic_error("the machine of " + user_ + " does not run");
  return process_;
}

void Machine::closePipes() {
  if (input_ >= 0) close(std::exchange(input_, -1));
  close(std::exchange(output_, -1));
  unread_.clear();
}

std::string Machine::ask(const std::string& command) {
  tell(command);
  return answer();
}

void Machine::tell(const std::string& command) {
  asked_ = command;
  const std::string line = command + "\n";
  // One write of a pipe this short is whole; the answer tells of a machine that has ended.
  (void)!write(input_, line.data(), line.size());
}

std::string Machine::answer() {
  std::string line = readLine();
  if (line == "unknown command") throw std::runtime_error("no machine knows: " + asked_);
  return line;
}

std::string Machine::readLine() {
  const auto end = Clock::now() + kPatience;
  while (unread_.find('\n') == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    pollfd readable{output_, POLLIN, 0};
    if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) == 0) {
      throw std::runtime_error("the machine of " + user_ + " does not answer: " + asked_);
    }
    char bytes[4096];
    const ssize_t got = read(output_, bytes, sizeof(bytes));
    if (got <= 0) throw std::runtime_error("the machine of " + user_ + " ended at: " + asked_);
    unread_.append(bytes, static_cast<size_t>(got));
  }
  const size_t length = unread_.find('\n');
  std::string line = unread_.substr(0, length);
  unread_.erase(0, length + 1);
  return line;
}

void Machine::makeStateUnwritable() {
  fs::remove(home_ + "/.state.toml.lk");
  fs::create_directory(home_ + "/.state.toml.lk");
}

void Machine::crash() {
  kill(running(), SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
  stopped_ = false;
  closePipes();
}

void Machine::restart() { start(); }

void Machine::stop() {
  kill(running(), SIGSTOP);
  awaitStop();
}

void Machine::awaitStop() {
  const auto end = Clock::now() + kPatience;
  int status = 0;
  while (waitpid(running(), &status, WUNTRACED | WNOHANG) == 0) {
    if (Clock::now() >= end) {
      throw std::runtime_error("the machine of " + user_ + " does not stop: " + asked_);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (!WIFSTOPPED(status)) {
    process_ = 0;
    closePipes();
    throw std::runtime_error("the machine of " + user_ + " ended at: " + asked_);
  }
  stopped_ = true;
}

void Machine::resume() {
  kill(running(), SIGCONT);
  stopped_ = false;
}

void Machine::expectGoodEnd() {
  close(std::exchange(input_, -1));
  const std::optional<int> status = endOf(process_);
  if (!status) {
    ADD_FAILURE() << "the machine of " << user_ << " does not end; last asked: " << asked_;
    crash();
    return;
  }
  EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 0)
      << "the machine of " << user_ << " ended badly; last asked: " << asked_;
  closePipes();
}

}  // namespace test
