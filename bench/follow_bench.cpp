// How long it takes until the others find a file that one machine adds: from its call to the moment
// at which their caches have it.  Three machines, which are processes, have one folder under three
// letters and mount points; they are on one session bus, or each in a network of its own with a
// NATS server in reach.
//
//   follow_bench [--found] [dbus] [nats]
//
// --found: a few files, and no times.  Ends with 1 when a file was not found, when a folder was
// read for it, or when the median is beyond the bound; with 77 when networks are needed that this
// process has not the right to make.
#include <dlfcn.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bench/timing.h"
#include "host/messenger/messenger.h"
#include "miscdisc/dircache/cache_follower.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/config.h"
#include "tests/machines/session_bus.h"
#include "tests/nats/networks.h"
#include "tests/nats/server.h"
#include "tests/stress/herd.h"

namespace {

std::atomic<int> foldersRead = 0;

}  // namespace

// Every listing of a folder goes through this.
extern "C" MISCDISC_EXPORT ssize_t getdents64(int folder, void* buffer, size_t size) {
  using Call = ssize_t (*)(int, void*, size_t);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "getdents64"));
  ++foldersRead;
  return real(folder, buffer, size);
}

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr int kMachines = 3;  // the first one adds
constexpr char kLetters[] = "EGK";
constexpr int kFilesBefore = 1000;
constexpr int kMostFiles = 200;
constexpr double kBound = 50;  // milliseconds, of the median
constexpr auto kPatience = 60s;
constexpr int kNotPossible = 77;

// Shared by all processes.
struct Board {
  std::atomic<int> ready, read;  // machines; times that they read a folder afterwards
  std::atomic<bool> end;
  int64_t addedAt[kMostFiles];
  std::atomic<int> found[kMachines];  // so many of the files
  int64_t foundAt[kMachines][kMostFiles];
};

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "follow_bench: %s\n", what.c_str());
  _exit(2);
}

template <typename Condition>
void await(const char* what, Condition condition) {
  const auto end = Clock::now() + kPatience;
  while (!condition()) {
    if (Clock::now() > end) fail(std::string("not within a minute: ") + what);
    std::this_thread::sleep_for(100us);
  }
}

WString wide(const std::string& text) { return Qx::WStringFromUTF8(text); }

std::string fileName(int file) { return "new" + std::to_string(file) + ".mxf"; }

void addFiles(const std::string& folder, int files, Board& board) {
  for (int file = 0; file < files; ++file) {
    std::ofstream(folder + "/media/Material/" + fileName(file)) << "media";
    board.addedAt[file] = nanosecondsNow();
    add_file_to_directory_cache(wide(kLetters[0] + (":/Material/" + fileName(file))), true);
    await("all have found a file", [&] {
      return std::all_of(board.found + 1, std::end(board.found),
                         [&](const auto& found) { return found > file; });
    });
  }
  board.end = true;
}

// Whenever something was applied it looks for the files that are due.
void findFiles(CacheFollower& follower, int news, int machine, int files, Board& board) {
  while (!board.end) {
    pollfd asked{news, POLLIN, 0};
    if (poll(&asked, 1, 100) != 1) continue;
    eventfd_t ignored = 0;
    eventfd_read(news, &ignored);
    follower.apply();
    int file = board.found[machine];
    while (file < files && getSystemCache()->find(wide(fileName(file)), 0)) {
      board.foundAt[machine][file] = nanosecondsNow();
      board.found[machine] = ++file;
    }
  }
}

// The folder is the machine's home.
void prepareHome(const std::string& folder, int machine, const std::string& messenger) {
  const std::string home = folder + "/" + kLetters[machine];
  const std::string drive = home + "/drive", net = home + "/net";
  fs::create_directory(home);
  fs::create_directory_symlink(folder + "/media", drive);
  fs::create_directory_symlink(folder + "/net", net);
  std::ofstream(home + "/config.toml") << "[machine]\nuser = '" << kLetters[machine] << "'\n"
                                       << "[volumes]\ndiscover = false\n"
                                       << kLetters[machine] << " = '" << drive << "'\n"
                                       << "[shares]\n'//nas/media' = '" << drive << "'\n"
                                       << "'//nas/projects' = '" << net << "'\n"
                                       << "[messenger]\n"
                                       << messenger;
}

[[noreturn]] void live(const std::string& folder, int machine, int files, Board& board) {
  const std::string home = folder + "/" + kLetters[machine];
  setenv("MISCDISC_HOME", home.c_str(), 1);
  UserConfig().setValue(LobbyUtils::NetProjRootRegKey, home + "/net", "Configuration");
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  if (!LobbyUtils::setupQXProjDirectory()) fail("a machine cannot enter the lobby");
  {
    const int news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    CacheFollower follower([news] { eventfd_write(news, 1); });
    await("a machine is connected", [] { return host::messengerFacts().connected; });
    validate_directory_cache();
    if (foldersRead.exchange(0) == 0) fail("folders are read unseen");
    ++board.ready;
    await("all are ready", [&] { return board.ready == kMachines; });
    if (machine == 0) {
      addFiles(folder, files, board);
    } else {
      findFiles(follower, news, machine, files, board);
    }
    board.read += foldersRead;
  }
  EndNotify();
  _exit(0);
}

pid_t start(const std::function<void()>& work) {
  const pid_t process = fork();
  if (process < 0) fail("no process");
  if (process > 0) return process;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  work();
  _exit(0);
}

int statusOf(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

bool print(const char* carrier, const Board& board, int files, bool withTimes) {
  std::vector<double> times;
  for (int machine = 1; machine < kMachines; ++machine) {
    for (int file = 0; file < files; ++file) {
      times.push_back(static_cast<double>(board.foundAt[machine][file] - board.addedAt[file]) /
                      1e6);
    }
  }
  std::sort(times.begin(), times.end());
  const double middle = median(times), late = times[times.size() * 99 / 100];
  if (withTimes) {
    std::printf("%-34s %8.2f ms %8.2f ms %8.2f ms %8.0f %12d\n", carrier, middle, late,
                times.back(), kBound, board.read.load());
  } else {
    std::printf("%s: %zu times found, folders read for it: %d\n", carrier, times.size(),
                board.read.load());
  }
  std::fflush(stdout);
  return board.read == 0 && (!withTimes || middle < kBound);
}

// In a process of its own, which may leave its network.
int measure(const std::string& carrier, bool withTimes) {
  const int files = withTimes ? kMostFiles : 10;
  std::unique_ptr<test::Networks> networks;
  std::optional<test::SessionBus> bus;
  std::optional<test::Server> server;
  std::string messenger = "engine = 'dbus'\n";
  if (carrier == "nats") {
    networks = test::Networks::make(kMachines);
    if (!networks) return kNotPossible;
    server.emplace("", test::Networks::kCentre);
    messenger = "engine = 'nats'\nurl = '" + server->url() + "'\n";
    const pid_t administrator = start([&] {
      if (!test::makeStream({server->url(), "", ""}, R"(\\nas\projects\Alpha)").empty()) _exit(1);
    });
    if (statusOf(administrator) != 0) fail("no stream");
  } else {
    bus.emplace();
  }

  const test::Folder folder;
  for (const char* name : {"/net/Alpha", "/media/Material", "/media/Sound"}) {
    fs::create_directories(folder.path() + name);
  }
  folder.write("net/Alpha/DefNetDrive.txt", "");
  for (int file = 0; file < kFilesBefore; ++file) {
    folder.write("media/Material/old" + std::to_string(file) + ".mxf", "");
  }
  Board& board = makeShared<Board>();
  std::vector<pid_t> machines;
  for (int machine = 0; machine < kMachines; ++machine) {
    prepareHome(folder.path(), machine, messenger);
    machines.push_back(start([&] {
      if (networks) networks->enter(machine);
      live(folder.path(), machine, files, board);
    }));
  }
  int worst = 0;
  for (const pid_t machine : machines) worst = std::max(worst, statusOf(machine));
  if (worst != 0) return worst;
  return print(carrier.c_str(), board, files, withTimes) ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  bool withTimes = true;
  std::vector<std::string> carriers;
  for (int i = 1; i < count; ++i) {
    if (std::strcmp(arguments[i], "--found") == 0) {
      withTimes = false;
    } else {
      carriers.push_back(arguments[i]);
    }
  }
  if (carriers.empty()) carriers = {"dbus", "nats"};
  if (withTimes) {
    std::printf("%-34s %11s %11s %11s %8s %12s\n", "from add to found, over", "median", "p99",
                "max", "bound", "folders read");
    std::fflush(stdout);
  }
  int worst = 0;
  for (const std::string& carrier : carriers) {
    const int status = statusOf(start([&] { _exit(measure(carrier, withTimes)); }));
    // As CTest's reports know it.
    if (status == kNotPossible) std::printf("Skipped\nneeds the right to make networks\n");
    worst = std::max(worst, status);
  }
  return worst;
}
