// One machine of the tests: does what the lines of its standard input say, one answer line each.
//
//   machine NETWORK_PROJECTS_ROOT
//
// It says READY when it takes commands, and ends with its input.  Names of rooms lie in the
// projects base directory, other paths are whole.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/files/file_manager.h"
#include "host/files/lock_file.h"
#include "host/messenger/messenger.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/project_folders.h"

namespace {

// The system call before which this machine stops itself, once: its name and how its path ends.
std::string frozenCall, frozenEnding;

void freezeBefore(const std::string& call, const std::string& path) {
  if (call != frozenCall || !path.ends_with(frozenEnding)) return;
  frozenCall.clear();
  raise(SIGSTOP);
}

void freezeBefore(const std::string& call, int file) {
  if (call != frozenCall) return;
  std::error_code ignored;
  freezeBefore(call,
               std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored));
}

// The system calls that this machine's storage does not know.
std::set<std::string> refusedCalls;

bool refused(const std::string& call) {
  if (!refusedCalls.contains(call)) return false;
  errno = EOPNOTSUPP;
  return true;
}

// How the paths end of the files for which this machine's storage has no room.
std::string fullEnding;

bool isFull(int file) {
  if (fullEnding.empty()) return false;
  std::error_code ignored;
  const std::string path =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored);
  if (!path.ends_with(fullEnding)) return false;
  errno = ENOSPC;
  return true;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The library's calls pass through these.
extern "C" {

MISCDISC_EXPORT int open(const char* path, int flags, ...) {
  static auto* const real = next<int(const char*, int, ...)>("open");
  mode_t mode = 0;
  if (flags & O_CREAT) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  freezeBefore("open", path);
  return real(path, flags, mode);
}

MISCDISC_EXPORT int unlink(const char* path) noexcept {
  static auto* const real = next<int(const char*)>("unlink");
  freezeBefore("unlink", path);
  return real(path);
}

MISCDISC_EXPORT int unlinkat(int folder, const char* name, int flags) noexcept {
  static auto* const real = next<int(int, const char*, int)>("unlinkat");
  freezeBefore("unlinkat", name);
  return real(folder, name, flags);
}

MISCDISC_EXPORT int rmdir(const char* path) noexcept {
  static auto* const real = next<int(const char*)>("rmdir");
  freezeBefore("rmdir", path);
  return real(path);
}

MISCDISC_EXPORT int mkdir(const char* path, mode_t mode) noexcept {
  static auto* const real = next<int(const char*, mode_t)>("mkdir");
  freezeBefore("mkdir", path);
  return real(path, mode);
}

MISCDISC_EXPORT int rename(const char* from, const char* to) noexcept {
  static auto* const real = next<int(const char*, const char*)>("rename");
  freezeBefore("rename", to);
  return real(from, to);
}

MISCDISC_EXPORT int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                              unsigned flags) noexcept {
  static auto* const real = next<int(int, const char*, int, const char*, unsigned)>("renameat2");
  freezeBefore("renameat2", to);
  return refused("renameat2") ? -1 : real(fromFolder, from, toFolder, to, flags);
}

MISCDISC_EXPORT int link(const char* from, const char* to) noexcept {
  static auto* const real = next<int(const char*, const char*)>("link");
  freezeBefore("link", to);
  return refused("link") ? -1 : real(from, to);
}

MISCDISC_EXPORT int chmod(const char* path, mode_t mode) noexcept {
  static auto* const real = next<int(const char*, mode_t)>("chmod");
  std::error_code none;
  const std::string target = std::filesystem::read_symlink(path, none);
  freezeBefore("chmod", none ? path : target);
  return real(path, mode);
}

MISCDISC_EXPORT int setxattr(const char* path, const char* name, const void* value, size_t size,
                             int flags) noexcept {
  static auto* const real =
      next<int(const char*, const char*, const void*, size_t, int)>("setxattr");
  return refused("setxattr") ? -1 : real(path, name, value, size, flags);
}

MISCDISC_EXPORT int lsetxattr(const char* path, const char* name, const void* value, size_t size,
                              int flags) noexcept {
  static auto* const real =
      next<int(const char*, const char*, const void*, size_t, int)>("lsetxattr");
  return refused("setxattr") ? -1 : real(path, name, value, size, flags);
}

// Refused: nothing more can be read of a folder than the name of its list.
MISCDISC_EXPORT dirent* readdir(DIR* folder) {
  static auto* const real = next<dirent*(DIR*)>("readdir");
  if (!refusedCalls.contains("readdir")) return real(folder);
  static bool named = false;
  if (std::exchange(named, false)) {
    errno = EIO;
    return nullptr;
  }
  dirent* entry = real(folder);
  while (entry && entry->d_name != std::string_view("DefNetDrive.txt")) entry = real(folder);
  named = entry != nullptr;
  return entry;
}

MISCDISC_EXPORT int fsync(int file) {
  static auto* const real = next<int(int)>("fsync");
  freezeBefore("fsync", file);
  return real(file);
}

MISCDISC_EXPORT ssize_t write(int file, const void* bytes, size_t count) {
  static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
  freezeBefore("write", file);
  return isFull(file) ? -1 : real(file, bytes, count);
}

}  // extern "C"

namespace {

WString wide(const std::string& text) { return Qx::WStringFromUTF8(text); }
std::string narrow(const WString& text) { return Qx::UTF8FromWString(text); }

std::string answer(bool value) { return value ? "yes" : "no"; }

// With what the library tells beside it.
std::string answer(bool value, const std::string& detail) {
  return detail.empty() ? answer(value) : answer(value) + ": " + detail;
}

WString roomPath(const std::string& name) { return getProjectsBaseDirectory() + wide(name); }

cookie project(const std::string& text) { return cookie::fromWString(wide(text)).value(); }

std::string enterLobby(const std::string& name) {
  LobbyUtils::setCurrentNetworkLobby(wide(name));
  return answer(LobbyUtils::setupQXProjDirectory());
}

std::string leaveLobby() {
  LobbyUtils::switchFromNetworkToLocal();
  return answer(LobbyUtils::setupQXProjDirectory());
}

// What an application does at its start: it works where it worked last.
std::string setUp() {
  const bool done = LobbyUtils::setupQXProjDirectory();
  LobbyUtils::mountUserMaterialDrives(WString());
  return answer(done);
}

std::string available() {
  Vector<WString> lobbies;
  LobbyUtils::getAvailableNetworkLobbies(lobbies);
  std::string names;
  for (const WString& lobby : lobbies) names += (names.empty() ? "" : " ") + narrow(lobby);
  return names;
}

std::string driveNames() {
  std::string names;
  for (unsigned short i = 0; const MediaDrive* drive = DiskManager::get_drive(i); ++i) {
    names += (names.empty() ? "" : " ") + narrow(drive->getUserName(false));
  }
  return names;
}

std::string changeRoom(const std::string& name) {
  const WString room = name.empty() ? WString() : roomPath(name);
  const bool changed = ProjectShare::indicateRoomChange(room, cookie());
  if (changed) LobbyUtils::setRoomFileName(room);
  return answer(changed);
}

std::string isTrashable(const std::string& name) {
  WString reason;
  const bool trashable = ProjectShare::roomIsTrashable(roomPath(name), reason);
  return answer(trashable, narrow(reason));
}

std::string isAlone() {
  char other[1024] = "";
  const bool alone = ProjectShare::otherUsersInLobby(getProjectsBaseDirectory(), other);
  return answer(alone, other);
}

std::string areOthersHere() {
  char other[1024] = "";
  const bool others = ProjectShare::anyOtherNetUsers(other);
  return answer(others, other);
}

std::string stateOfLock(const std::string& path) {
  switch (host::lockState(path)) {
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

std::string freeze(const std::string& callAndEnding) {
  const size_t space = callAndEnding.find(' ');
  frozenCall = callAndEnding.substr(0, space);
  frozenEnding = callAndEnding.substr(space + 1);
  return "yes";
}

// Less than a test waits for an answer.
constexpr std::chrono::seconds kPatience{25};

// What has come in from other machines.
class Heard final : public ValObserverClient {
 public:
  void valueAboutToChange(ValClientBase&) override {}
  void valueChanged(ValClientBase&) override {
    const std::lock_guard lock(mutex_);
    texts_.push_back(getNetMessageServer()->getVal());
    changed_.notify_all();
  }

  // The texts from the first that was not given yet on, as soon as there are so many; with '|'
  // between them.
  std::string await(size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return texts_.size() >= count; });
    std::string all;
    for (const std::string& text : texts_) all += (&text == &texts_[0] ? "" : "|") + text;
    texts_.clear();
    return all;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> texts_;
};

Heard heard;

std::string await(const std::function<bool(const host::MessengerFacts&)>& reached) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!reached(host::messengerFacts())) {
    if (std::chrono::steady_clock::now() >= end) return host::messengerFacts().state;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return answer(true);
}

// Has texts of other machines come in from now on.
std::string listen() {
  static ValObserver<String> observer;
  observer.registerWith(*getNetMessageServer());
  observer.setClient(&heard);
  return host::messengerFacts().state;
}

std::string sendMany(const std::string& count) {
  for (int i = 1; i <= std::stoi(count); ++i) SendNotify(std::to_string(i));
  return answer(true);
}

using Text = const std::string&;
const std::map<std::string, std::function<std::string(Text)>> kCommands{
    {"setup", [](Text) { return setUp(); }},
    {"enter", enterLobby},
    {"leave", [](Text) { return leaveLobby(); }},
    {"network-mode", [](Text) { return answer(LobbyUtils::machineIsInNetworkMode()); }},
    {"create", [](Text name) { return answer(LobbyUtils::createNewLobby(wide(name))); }},
    {"delete", [](Text name) { return answer(LobbyUtils::deleteLobby(wide(name))); }},
    {"available", [](Text) { return available(); }},
    {"drives", [](Text) { return driveNames(); }},
    {"add-location", [](Text path) { return answer(DiskManager::addMediaLocation(wide(path))); }},
    {"remove-location",
     [](Text path) { return answer(DiskManager::removeMediaLocation(wide(path))); }},
    {"lock-project", [](Text id) { return answer(ProjectShare::lockProject(project(id))); }},
    {"unlock-project", [](Text) { return answer(ProjectShare::unlockCurrentlyLockedProject()); }},
    {"project-owner", [](Text id) { return narrow(ProjectShare::getLockOwner(project(id))); }},
    {"project-occupied",
     [](Text id) { return answer(ProjectShare::isProjectOccupied(project(id))); }},
    {"room", changeRoom},
    {"leave-room", [](Text) { return changeRoom(""); }},
    {"room-lock", [](Text name) { return answer(ProjectShare::lockRoom(roomPath(name))); }},
    {"room-unlock",
     [](Text) {
       ProjectShare::unlockCurrentRoom();
       return answer(true);
     }},
    {"room-owner", [](Text name) { return narrow(ProjectShare::getLockOwner(roomPath(name))); }},
    {"room-occupied",
     [](Text name) { return answer(ProjectShare::isRoomOccupied(roomPath(name))); }},
    {"trashable", isTrashable},
    {"alone", [](Text) { return isAlone(); }},
    {"others", [](Text) { return areOthersHere(); }},
    {"state", stateOfLock},
    {"listen", [](Text) { return listen(); }},
    {"await-connection",
     [](Text) { return await([](const auto& facts) { return facts.connected; }); }},
    {"await-state",
     [](Text words) { return await([&](const auto& facts) { return facts.state == words; }); }},
    {"send",
     [](Text text) {
       SendNotify(text);
       return answer(true);
     }},
    {"send-many", sendMany},
    {"heard", [](Text count) { return heard.await(std::stoul(count)); }},
    {"end-notify",
     [](Text) {
       EndNotify();
       return answer(true);
     }},
    {"why-not-opened", [](Text) { return host::lastOpenFailure(); }},
    {"umask",
     [](Text mask) {
       umask(static_cast<mode_t>(std::stoul(mask, nullptr, 8)));
       return answer(true);
     }},
    {"freeze-before", freeze},
    {"no-room-for",
     [](Text ending) {
       fullEnding = ending;
       return answer(true);
     }},
    {"refuse",
     [](Text call) {
       refusedCalls.insert(call);
       return answer(true);
     }},
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  UserConfig().setValue(LobbyUtils::NetProjRootRegKey, arguments[1], "Configuration");
  std::cout << "READY" << std::endl;

  std::string line;
  while (std::getline(std::cin, line)) {
    const size_t space = std::min(line.find(' '), line.size());
    const auto command = kCommands.find(line.substr(0, space));
    const std::string argument = line.substr(std::min(space + 1, line.size()));
    std::cout << (command == kCommands.end() ? "unknown command" : command->second(argument))
              << std::endl;
  }
}
