// A machine of a lobby whose cache follows the others, and that counts how often it reads a folder.
// It does what each line of its standard input says, and answers with a line.
//
//   following LOBBY
#include <dirent.h>
#include <dlfcn.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "host/messenger/messenger.h"
#include "miscdisc/dircache/cache_follower.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/notify_server.h"

namespace {

std::atomic<int> foldersRead = 0;

}  // namespace

// Every listing of a folder goes through this; reading one takes two calls, or more.
extern "C" MISCDISC_EXPORT ssize_t getdents64(int folder, void* buffer, size_t size) {
  using Call = ssize_t (*)(int, void*, size_t);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "getdents64"));
  ++foldersRead;
  return real(folder, buffer, size);
}

namespace {

using Clock = std::chrono::steady_clock;
using Text = const std::string&;

constexpr std::chrono::seconds kPatience{25};  // less than a test waits for an answer

std::string answer(bool value) { return value ? "yes" : "no"; }

WString wide(Text text) { return Qx::WStringFromUTF8(text); }

class Following {
 public:
  std::string connect() {
    const auto end = Clock::now() + kPatience;
    while (!host::messengerFacts().connected && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return answer(host::messengerFacts().connected);
  }

  // The next event, as "added G:/Material/A.mxf".
  std::string next() {
    static const char* const kWords[] = {"added ", "removed ", "rescan", "ignored "};
    const auto end = Clock::now() + kPatience;
    while (events_.empty() && Clock::now() < end) {
      pollfd asked{news_, POLLIN, 0};
      poll(&asked, 1, 100);
      eventfd_t count = 0;
      eventfd_read(news_, &count);
      events_ = follower_.apply();
    }
    if (events_.empty()) return "nothing";
    const CacheEvent event = events_.front();
    events_.erase(events_.begin());
    return kWords[static_cast<int>(event.kind)] + Qx::UTF8FromWString(event.path);
  }

 private:
  const int news_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  CacheFollower follower_{[this] { eventfd_write(news_, 1); }};
  std::vector<CacheEvent> events_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  LobbyUtils::setCurrentNetworkLobby(wide(arguments[1]));
  if (!LobbyUtils::setupQXProjDirectory()) return 1;
  {
    Following following;
    const std::map<std::string, std::function<std::string(Text)>> commands{
        {"connect", [&](Text) { return following.connect(); }},
        {"fill",
         [](Text) {
           validate_directory_cache();
           foldersRead = 0;
           return answer(true);
         }},
        {"add", [](Text path) { return answer(add_file_to_directory_cache(wide(path), true)); }},
        {"remove",
         [](Text path) { return answer(remove_file_from_directory_cache(wide(path), true)); }},
        {"next", [&](Text) { return following.next(); }},
        {"has", [](Text name) { return answer(getSystemCache()->find(wide(name), 0)); }},
        {"count", [](Text) { return std::to_string(getSystemCache()->count()); }},
        {"folders-read", [](Text) { return std::to_string(foldersRead); }},
    };
    std::cout << "READY" << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
      const size_t space = std::min(line.find(' '), line.size());
      const auto command = commands.find(line.substr(0, space));
      const std::string argument = line.substr(std::min(space + 1, line.size()));
      std::cout << (command == commands.end() ? "unknown command" : command->second(argument))
                << std::endl;
    }
  }
  EndNotify();
}
