// Lobbies under fire: machines that log in and out, lock projects, change rooms and look at each
// other at random while they are killed, stopped and started again.  Two machines each work under
// one user's name.
//
// What they do is checked against words in memory that they share: who holds which lock, and who
// is logged in where.  Exit status: 0 when no lock had two holders or named another user than its
// holder, no login of a living machine was deleted or overlooked, and every lock fell free with its
// holder's process; 1 otherwise; 2 for a bad option; 3 when the machines did not get through in
// time.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/files/lock_file.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/stress/herd.h"
#include "tests/stress/options.h"
#include "tests/stress/scratch.h"

namespace {

using Clock = std::chrono::steady_clock;

// In each lobby one project and two rooms, and the words of their locks in this order.
constexpr const char* kLobbies[] = {"Alpha", "Beta"};
constexpr size_t kLobbyCount = 2;
constexpr const char* kProject = "P0001000";
constexpr const char* kRooms[] = {"Edit 1", "Edit 2"};
constexpr size_t kRoomCount = 2;
constexpr size_t kLocks = kLobbyCount * (1 + kRoomCount);

// A machine that was stopped while it held a lock, or busy elsewhere, is no failure.
constexpr int64_t kMostRecovery = 30'000'000'000;  // nanoseconds

struct Options {
  uint64_t cycles = 20000;
  uint64_t kills = 200;
  uint64_t machines = 8;
  uint64_t seconds = 60;
  bool remote = false;
  uint64_t seed = 1;
};

// A machine in a lobby: the run that is logged in, and how often one has logged in.
struct Login {
  std::atomic<uint64_t> run, turn;
};

struct Shared {
  Exclusion<kLocks> exclusion;
  Login login[kLobbyCount][kMostProcesses];  // by slot
  std::atomic<uint64_t> cycles;
  std::atomic<uint64_t> logins;
  std::atomic<uint64_t> refusedLogins;
  std::atomic<uint64_t> projectLocks;
  std::atomic<uint64_t> roomChanges;
  std::atomic<uint64_t> ownersSeen;
  std::atomic<uint64_t> loginsSeen;
  std::atomic<uint64_t> wrongOwners;
  std::atomic<uint64_t> lostLogins;
  std::atomic<uint64_t> overlookedUsers;
  std::atomic<uint64_t> failures;
  std::atomic<bool> stop;
};

std::string userOf(size_t slot) { return "user" + std::to_string(slot / 2); }

size_t projectLock(size_t lobby) { return lobby * (1 + kRoomCount); }
size_t roomLock(size_t lobby, size_t room) { return projectLock(lobby) + 1 + room; }

cookie project() { return cookie::fromWString(Qx::WStringFromUTF8(kProject)).value(); }

// One run of a machine, as an application drives it: it unlocks before it locks, and gives back
// what it holds before it leaves a lobby.
class Machine {
 public:
  Machine(Shared& shared, const Options& options, const Scratch& scratch, uint64_t identity)
      : shared_(shared),
        folder_(scratch.folder()),
        identity_(identity),
        slot_(slotOf(identity)),
        random_(options.seed ^ (identity * 0x9E3779B97F4A7C15)) {}

  void work() {
    comeBack();
    while (!shared_.stop) {
      act();
      checkOwnLocks();
      ++shared_.cycles;
    }
    giveBackAll();
    clearLogin();  // the file stays behind, as that of a machine that is switched off
  }

 private:
  void act() {
    // Moving takes far longer than all else, and a machine that moves holds nothing.
    if (!lobby_ || random_() % 64 == 0) {
      move();
      return;
    }
    const uint64_t choice = random_() % 14;
    if (choice < 4) {
      lockOrUnlockProject();
    } else if (choice < 8) {
      changeRoom();
    } else if (choice < 10) {
      lookAtLogins();
    } else if (choice < 12) {
      lookAtOwners();
    } else {
      askForTrashable();
    }
  }

  // Where the run before this one was, as its configuration says.
  void comeBack() {
    UserConfig().setValue(LobbyUtils::NetProjRootRegKey, folder_, "Configuration");
    const std::string name = Qx::UTF8FromWString(LobbyUtils::getCurrentNetworkLobbyName());
    for (size_t lobby = 0; lobby < kLobbyCount; ++lobby) {
      if (name == kLobbies[lobby]) logIn(lobby);
    }
  }

  void giveBackAll() {
    giveBackProject();
    if (room_) enterRoom(std::nullopt);
  }

  void move() {
    giveBackAll();
    const size_t target = random_() % (kLobbyCount + 1);
    if (target == kLobbyCount) {
      logOut();
    } else if (lobby_ != target) {  // a second login there would delete the login file
      LobbyUtils::setCurrentNetworkLobby(Qx::WStringFromUTF8(kLobbies[target]));
      logIn(target);
    }
  }

  void logIn(size_t lobby) {
    clearLogin();
    if (!LobbyUtils::setupQXProjDirectory()) {
      ++shared_.refusedLogins;
      logOut();
      return;
    }
    lobby_ = lobby;
    ++shared_.login[lobby][slot_].turn;
    shared_.login[lobby][slot_].run = identity_;
    ++shared_.logins;
  }

  void logOut() {
    clearLogin();
    LobbyUtils::switchFromNetworkToLocal();
    if (!LobbyUtils::setupQXProjDirectory()) ++shared_.failures;
  }

  void clearLogin() {
    if (lobby_) shared_.login[*lobby_][slot_].run = 0;
    lobby_.reset();
  }

  void lockOrUnlockProject() {
    if (holdsProject_) {
      giveBackProject();
      return;
    }
    if (!ProjectShare::lockProject(project())) return;
    shared_.exclusion.enter(projectLock(*lobby_), identity_);
    holdsProject_ = true;
    ++shared_.projectLocks;
  }

  void giveBackProject() {
    if (!holdsProject_) return;
    holdsProject_ = false;
    shared_.exclusion.leave(projectLock(*lobby_), identity_);
    if (!ProjectShare::unlockCurrentlyLockedProject()) ++shared_.failures;
  }

  void changeRoom() {
    const size_t room = random_() % (kRoomCount + 1);
    if (room == kRoomCount || room_ == room) {
      enterRoom(std::nullopt);
    } else {
      enterRoom(room);
    }
  }

  // A machine that is refused is still in its old room, and nobody was there meanwhile.
  void enterRoom(std::optional<size_t> room) {
    if (room_) shared_.exclusion.leave(roomLock(*lobby_, *room_), identity_);
    const WString path = room ? roomPath(*lobby_, *room) : WString();
    const bool changed = ProjectShare::indicateRoomChange(path, project());
    if (changed) {
      room_ = room;
      LobbyUtils::setRoomFileName(path);
      ++shared_.roomChanges;
    } else if (!room) {
      ++shared_.failures;
    }
    if (room_) shared_.exclusion.enter(roomLock(*lobby_, *room_), identity_);
  }

  // While it holds a lock nobody else changes the name beside it.
  void checkOwnLocks() {
    const WString user = Qx::WStringFromUTF8(userOf(slot_));
    if (holdsProject_ && ProjectShare::getLockOwner(project()) != user) ++shared_.wrongOwners;
    if (room_ && ProjectShare::getLockOwner(roomPath(*lobby_, *room_)) != user) {
      ++shared_.wrongOwners;
    }
  }

  struct SeenLogin {
    size_t slot;
    uint64_t run, turn;
    bool held;
  };

  // Whoever was logged in all the while had a file, and held it.
  void lookAtLogins() {
    std::vector<SeenLogin> seen;
    for (size_t slot = 0; slot < kMostProcesses; ++slot) {
      const Login& login = shared_.login[*lobby_][slot];
      const uint64_t turn = login.turn, run = login.run;
      if (run != 0) seen.push_back({slot, run, turn, false});
    }
    char other[1024];
    const WString base = getProjectsBaseDirectory();
    const bool alone = ProjectShare::otherUsersInLobby(base, other);
    const bool others = ProjectShare::anyOtherNetUsers(other);
    for (SeenLogin& login : seen) login.held = loginIsHeld(login.slot);

    std::set<std::string> users;
    for (const SeenLogin& login : seen) {
      if (!stillLoggedIn(login)) continue;
      ++shared_.loginsSeen;
      if (!login.held) ++shared_.lostLogins;
      users.insert(userOf(login.slot));
    }
    if (users.size() > 1 && (alone || !others)) ++shared_.overlookedUsers;
  }

  bool stillLoggedIn(const SeenLogin& seen) const {
    const Login& login = shared_.login[*lobby_][seen.slot];
    return login.run == seen.run && login.turn == seen.turn &&
           !shared_.exclusion.isDoomed(seen.run);
  }

  bool loginIsHeld(size_t slot) const {
    const std::string file = folder_ + "/" + kLobbies[*lobby_] + "/" + userOf(slot) + ".cli";
    return host::lockState(file) == host::LockState::kHeld;
  }

  void lookAtOwners() {
    checkOwner(projectLock(*lobby_), [] { return ProjectShare::getLockOwner(project()); });
    for (size_t room = 0; room < kRoomCount; ++room) {
      checkOwner(roomLock(*lobby_, room),
                 [&] { return ProjectShare::getLockOwner(roomPath(*lobby_, room)); });
    }
  }

  void checkOwner(size_t lock, const std::function<WString()>& ask) {
    const auto seen = shared_.exclusion.look(lock);
    if (seen.holder == 0) return;
    const std::string owner = Qx::UTF8FromWString(ask());
    if (!shared_.exclusion.stillHolds(lock, seen)) return;
    ++shared_.ownersSeen;
    if (owner != userOf(slotOf(seen.holder))) ++shared_.wrongOwners;
  }

  // It takes the lock for an instant, which a machine that holds it must make impossible.
  void askForTrashable() {
    const size_t room = random_() % kRoomCount;
    const auto seen = shared_.exclusion.look(roomLock(*lobby_, room));
    LobbyUtils::setRoomFileName(WString());  // who is in a room is told of the others first
    WString reason;
    const bool trashable = ProjectShare::roomIsTrashable(roomPath(*lobby_, room), reason);
    if (!shared_.exclusion.stillHolds(roomLock(*lobby_, room), seen)) return;
    if (trashable) ++shared_.exclusion.doubleHolders;
  }

  WString roomPath(size_t lobby, size_t room) const {
    return Qx::WStringFromUTF8(folder_ + "/" + kLobbies[lobby] + "/" + kRooms[room]);
  }

  Shared& shared_;
  const std::string folder_;
  const uint64_t identity_;
  const size_t slot_;
  std::mt19937_64 random_;
  std::optional<size_t> lobby_, room_;
  bool holdsProject_ = false;
};

// The library is first asked for its settings in the processes of the machines.
bool inProcessOfItsOwn(const std::function<bool()>& work) {
  const pid_t process = fork();
  if (process == 0) _exit(work() ? 0 : 1);
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool makeLobbies(const std::string& folder) {
  UserConfig().setValue(LobbyUtils::NetProjRootRegKey, folder, "Configuration");
  for (const char* lobby : kLobbies) {
    if (!LobbyUtils::createNewLobby(Qx::WStringFromUTF8(lobby))) return false;
    std::filesystem::create_directory(folder + "/" + lobby + "/" + kProject);
  }
  return true;
}

// After everybody has gone.
bool everyLockIsFree(const std::string& folder) {
  bool all = true;
  for (const char* lobby : kLobbies) {
    setProjectsBaseDirectory(Qx::WStringFromUTF8(folder + "/" + lobby));
    all = ProjectShare::lockProject(project()) && all;
    for (const char* room : kRooms) {
      all = ProjectShare::lockRoom(getProjectsBaseDirectory() + Qx::WStringFromUTF8(room)) && all;
    }
  }
  return all;
}

bool enough(const Shared& shared, const Options& options, const Herd& herd) {
  return shared.cycles >= options.cycles && herd.kills >= options.kills;
}

// True when all was done in time.
bool run(Shared& shared, const Options& options, Herd& herd) {
  const auto end = Clock::now() + std::chrono::seconds(options.seconds);
  while (!enough(shared, options, herd) && Clock::now() < end) {
    herd.rest();
    // Kills keep step with the cycles, so that neither is over long before the other.
    if (herd.kills * options.cycles <= options.kills * shared.cycles) {
      herd.replaceOne(shared.exclusion);
    }
    herd.stopOrResumeOne();
  }
  const bool inTime = enough(shared, options, herd);
  shared.stop = true;
  herd.end();
  return inTime;
}

bool parse(int count, char** arguments, Options& options) {
  return readOptions(count, arguments, {{"--remote", &options.remote}},
                     {{"--cycles", &options.cycles},
                      {"--kills", &options.kills},
                      {"--machines", &options.machines},
                      {"--seconds", &options.seconds},
                      {"--seed", &options.seed}}) &&
         options.machines >= 2 && options.machines <= kMostProcesses;
}

void print(const char* name, uint64_t value) { std::printf("%-22s %" PRIu64 "\n", name, value); }

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fprintf(stderr,
                 "usage: lobby_stress [--cycles N] [--kills N] [--machines 2..64]\n"
                 "                    [--seconds MAX] [--remote] [--seed N]\n");
    return 2;
  }
  const Scratch scratch(options.remote);
  const std::string folder = scratch.folder();
  std::vector<std::string> homes;
  for (size_t slot = 0; slot < options.machines; ++slot) {
    homes.push_back(scratch.makeHome("home" + std::to_string(slot), userOf(slot)));
  }
  Shared& shared = makeShared<Shared>();
  if (!inProcessOfItsOwn([&] { return makeLobbies(folder); })) ++shared.failures;

  const auto start = Clock::now();
  Herd herd(options.machines, options.seed, [&](uint64_t identity) {
    setenv("MISCDISC_HOME", homes[slotOf(identity)].c_str(), 1);
    Machine(shared, options, scratch, identity).work();
  });
  const bool inTime = run(shared, options, herd);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  const bool free = inProcessOfItsOwn([&] { return everyLockIsFree(folder); });
  const bool anchored = std::filesystem::exists(folder + "/Alpha/.lockspace");
  scratch.remove();
  std::printf("seed, machines         %" PRIu64 ", %" PRIu64 "%s\n", options.seed, options.machines,
              options.remote ? ", remote" : "");
  std::printf("seconds                %.1f\n", seconds);
  print("cycles", shared.cycles);
  std::printf("kills (of holders)     %" PRIu64 " (%" PRIu64 ")\n", herd.kills, herd.holdersKilled);
  print("stops", herd.stops);
  print("logins", shared.logins);
  print("refused logins", shared.refusedLogins);
  print("project locks", shared.projectLocks);
  print("room changes", shared.roomChanges);
  print("holders looked at", shared.ownersSeen);
  print("logins looked at", shared.loginsSeen);
  print("double holders", shared.exclusion.doubleHolders);
  print("wrong owners", shared.wrongOwners);
  print("lost logins", shared.lostLogins);
  print("overlooked users", shared.overlookedUsers);
  print("failures", shared.failures);
  std::printf("longest recovery       %.1f ms\n", double(shared.exclusion.longestRecovery) / 1e6);
  std::printf("free in the end        %s\n", free ? "yes" : "no");

  if (shared.exclusion.doubleHolders || shared.wrongOwners || shared.lostLogins) return 1;
  if (shared.overlookedUsers || shared.failures || !free) return 1;
  if (shared.exclusion.longestRecovery > kMostRecovery || anchored != options.remote) return 1;
  return inTime ? 0 : 3;
}
