#include "console/holding.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "console/folders.h"
#include "console/lock_files.h"
#include "host/files/file_manager.h"
#include "host/user_config.h"
#include "host/volumes.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/net_login.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

// A share that answered a moment ago is slow rather than dead for so long.
constexpr std::chrono::milliseconds kPatience{10'000};

// Whoever removes a lock keeps others out for a moment in which its file is gone.
constexpr int kTries = 5;
constexpr std::chrono::milliseconds kBetweenTries{200};

bool isWithoutLocks(int error) { return error == ENOLCK || error == EOPNOTSUPP; }

constexpr char kNoLocks[] =
    "locks exclude no other machine there.  Mount it so that the server keeps the locks, or set "
    "allow_local_only = true in section [locks] of config.toml and know that nobody is kept out";

// The library.

bool logIn(const WString& lobby) {
  layOverConfiguration(lobby);
  if (!LobbyUtils::setupQXProjDirectory()) return false;
  return ProjectShare::indicateRoomChange(L"", {});  // marks the login as outside any room
}

bool leaveRooms() {
  ProjectShare::indicateRoomChange(L"", {});
  LobbyUtils::setRoomName(L"");
  LobbyUtils::setRoomFileName(L"");
  return true;
}

bool goToRoom(const WString& name, const WString& path) {
  if (!ProjectShare::indicateRoomChange(path, {})) return false;
  LobbyUtils::setRoomName(name);
  LobbyUtils::setRoomFileName(path);
  return true;
}

bool letGoOfAll() {
  leaveRooms();
  ProjectShare::unlockCurrentlyLockedProject();
  layOverConfiguration(L"");
  LobbyUtils::setupQXProjDirectory();
  NetLogout();  // again, for a local space that is the lobby's folder: that step logs nobody out
  LobbyUtils::networkMode_ = false;
  return true;
}

// As people name it.
WString nameOf(const Space& space, const WString& roomPath) {
  for (const Room& room : space.rooms) {
    if (room.path == roomPath) return room.name;
  }
  return roomPath.starts_with(space.folder) ? roomPath.substr(space.folder.size()) : roomPath;
}

// Locks and logins are empty, and an information file is a name.  Whoever lets go removes them, so
// nothing else may be taken for one.  Empty: nothing is in the way.
std::string inTheWay(const WString& lockFile, const Options& options) {
  const auto found = within<WString>(options.deadline(), lockFile, [lockFile]() -> WString {
    if (isForeignFile(lockFile)) return lockFile;
    const WString beside = lockFile + kInformationEnding;
    return isForeignInformation(beside) ? beside : WString();
  });
  if (!found || found->empty()) return {};
  return printable(*found) +
         " is there, made by another program: locks and logins are empty files.  Look at it with "
         "ls -l, and move it away";
}

// It is one room, and its lock is another file.
Exit sayOtherSpelling(const WString& room, const SpaceLock& other) {
  const bool held = other.held == Held::kYes;
  complain("room " + printable(room) + (held ? " is held by " : " may be held by ") +
           holder(other) + ": " + printable(other.path) +
           " is a lock of the same room, which is spelled with .Room and without.  \"miscdisc "
           "locks wait\" waits until it is free");
  return held ? kHeld : kIncomplete;
}

// Both may have come at once, and each seen the other's lock.
Exit sayLetGo(const WString& room, const SpaceLock& other) {
  const Exit exit = sayOtherSpelling(room, other);
  complain(
      "it came at the same time, so the room was let go again.  The other program may do the same "
      "then: try again");
  return exit;
}

// Whoever finds a room file there takes another lock.
void sayNoFile(const Space& space, const WString& path, const Options& options) {
  const auto same = [&](const Room& room) { return room.path == path && room.file; };
  if (std::any_of(space.rooms.begin(), space.rooms.end(), same)) return;
  const WString file = std::max(path, otherSpelling(path));  // the longer one
  remark(options,
         "there is no " + printable(file) + "; its lock is " + printable(lockFileOfRoom(path)));
}

// Others would call it free.
Exit sayHidden(const char* kind, const std::string& name, const WString& folder) {
  complain(std::string(kind) + " " + printable(name) +
           " is not entered: nobody would see its lock in " + printable(folder) +
           ".  Rooms and projects lie in the space or in one of its folders, which is no link, not "
           "hidden and not the media's");
  return kUsage;
}

bool isHeld(const LockLook& look) {
  return look.answer == LockLook::Answer::kThere && look.lock.held != Held::kNo;
}

// Says why there is no lock; what is "room Edit 1".
Exit sayRefusal(const std::string& what, int error, const std::string& why, const LockLook& look,
                const WString& lockFile) {
  if (isWithoutLocks(error)) {
    complain(what + " cannot be held: " + kNoLocks);
    return kFailed;
  }
  if (error != EAGAIN) {
    complain(what + " could not be locked: " + printable(why) + ".  Look at it with ls -ld");
    return kFailed;
  }
  if (isHeld(look)) {
    complain(what + " is held by " + holder(look.lock) +
             ".  \"miscdisc locks wait\" waits until it is free");
  } else if (look.answer == LockLook::Answer::kNoFile) {
    const WString& owner = look.lock.owner;
    complain("somebody holds " + what + ", though its lock file " + printable(lockFile) +
             " is gone" + (owner.empty() ? "" : "; last named: " + printable(owner)) +
             ".  It is free when he leaves it, or his program ends");
  } else {
    complain(what + " was held a moment ago.  Try again");
  }
  return kHeld;
}

}  // namespace

void layOverConfiguration(const WString& lobby) {
  host::overlayUserConfig(kLobbySection, kLobbyNameKey, Qx::UTF8FromWString(lobby));
  const String last = UserConfig().getValue(kLastLobbyNameKey, "", kLobbySection);
  host::overlayUserConfig(kLobbySection, kLastLobbyNameKey, last);
}

Holding::Holding(const Options& options) : options_(options) {
  host::keepVolumeLetters(false);
  layOverConfiguration(L"");
  space_ = getProjectsBaseDirectory();
}

Holding::~Holding() { leaveLobby(); }

std::optional<Holding::Outcome> Holding::call(std::function<bool()> call) {
  if (lost_) return {};
  const auto result = std::make_shared<std::promise<Outcome>>();
  std::future<Outcome> outcome = result->get_future();
  std::thread caller([result, call = std::move(call)] {
    Outcome found;
    found.done = call();
    if (!found.done) {
      found.error = host::lastOpenError();
      found.why = host::lastOpenFailure();
      OS()->reportFailure();
    }
    result->set_value(found);
  });
  if (outcome.wait_for(std::max(kPatience, options_.deadline())) == std::future_status::ready) {
    caller.join();
    return outcome.get();
  }
  caller.detach();
  lost_ = true;
  complain(printable(space_) +
           " has stopped answering.  What was held there ends with this command, which ends now; "
           "files that it leaves block nobody");
  return {};
}

std::optional<Holding::Outcome> Holding::callForLock(const std::function<bool()>& take,
                                                     const WString& lockFile, LockLook& look) {
  for (int tries = 1;; ++tries) {
    const auto outcome = call(take);
    const bool refused = outcome && outcome->error == EAGAIN;
    if (!refused) return outcome;
    look = lookAtLock(lockFile, options_);
    if (isHeld(look) || tries == kTries) return outcome;
    std::this_thread::sleep_for(kBetweenTries);
  }
}

std::optional<Space> Holding::lookAround(Exit& exit) const {
  Space space = lookAt(space_, options_);
  if (space.answer == Space::Answer::kThere) return space;
  exit = exitOf(space);
  if (space.answer == Space::Answer::kMissing && space.folder == getDefaultLocalProjectsDir()) {
    complain(printable(space.folder) +
             " is not there yet, so there are no rooms and projects in it.  \"miscdisc space "
             "create " +
             printable(space.folder) + "\" makes it; or name a lobby");
  } else {
    complain(problemOf(space, options_));
  }
  return {};
}

Exit Holding::enterLobby(const std::string& name) {
  const WString wanted = Qx::WStringFromUTF8(name);
  if (!lobby_.empty() && wanted == lobby_) return kDone;
  Exit exit = kDone;
  const auto space = lobbyNamed(name, options_, exit);
  if (!space) return exit;
  const std::string way = inTheWay(space->folder + OS()->getUserName() + kLoginEnding, options_);
  if (!way.empty()) {
    complain("nobody logged in in lobby " + printable(wanted) + ": " + way);
    return kLoginRefused;
  }
  // First, or a login that is refused would leave the earlier one behind, without a handle.
  exit = leaveLobby();
  if (exit != kDone) return exit;

  space_ = space->folder;
  const auto outcome = call([wanted] { return logIn(wanted); });
  if (!outcome) return kIncomplete;
  if (outcome->done) {
    lobby_ = wanted;
    return kDone;
  }
  leaveSpace();
  complain("the login in lobby " + printable(wanted) + " was refused, so nothing is held there: " +
           (isWithoutLocks(outcome->error) ? kNoLocks : printable(outcome->why)) +
           ".  \"miscdisc doctor\" looks for what is wrong");
  return kLoginRefused;
}

Exit Holding::leaveLobby() {
  if (inWords().empty()) return kDone;
  return leaveSpace();
}

Exit Holding::leaveSpace() {
  lobby_.clear();
  room_.clear();
  roomPath_.clear();
  project_ = {};
  if (!call(letGoOfAll)) return kIncomplete;
  space_ = getProjectsBaseDirectory();
  return kDone;
}

Exit Holding::enterRoom(const std::string& name) {
  Exit exit = kDone;
  auto space = lookAround(exit);
  if (!space) return exit;
  const auto path = console::roomPath(*space, name);
  if (!path) return kUsage;
  if (*path == roomPath_) return kDone;
  if (!isFolder(getPath(*path), options_.deadline())) {
    complain("there is no folder " + printable(getPath(*path)) + " for room " + printable(name) +
             ".  \"miscdisc room list\" shows which rooms there are");
    return kNotFound;
  }

  if (!isLookedInto(*space, getPath(*path))) return sayHidden("room", name, getPath(*path));

  if (const std::string none = whyNoRoom(*space, *path, options_); !options_.yes && !none.empty()) {
    complain(none + ", and --yes takes one that is not made yet");
    return kNotFound;
  }

  const WString known = nameOf(*space, *path);
  const WString worse = worseSpelling(*space, *path, options_);
  const SpaceLock* other = lockOfRoom(*space, worse);
  if (worse != *path && worse != roomPath_ && other->held != Held::kNo) {
    return sayOtherSpelling(known, *other);
  }
  const std::string way = inTheWay(lockFileOfRoom(*path), options_);
  if (!way.empty()) {
    complain("room " + printable(known) + " is not entered: " + way);
    return kFailed;
  }
  const WString lockFile = lockFileOfRoom(*path);
  LockLook look;
  const auto outcome =
      callForLock([known, path = *path] { return goToRoom(known, path); }, lockFile, look);
  if (!outcome) return kIncomplete;
  if (outcome->done) {
    room_ = known;
    roomPath_ = *path;
    // Asked again: whoever took the other lock meanwhile could not see this one.
    const LockLook again = lookAtLock(lockFileOfRoom(otherSpelling(*path)), options_);
    if (again.answer == LockLook::Answer::kThere && again.lock.held != Held::kNo) {
      exit = leaveRoom();
      return exit != kDone ? exit : sayLetGo(known, again.lock);
    }
    sayNoFile(*space, *path, options_);
    return kDone;
  }
  // The refusal has marked the login as inside a room all the same.
  if (room_.empty()) call(leaveRooms);
  return sayRefusal("room " + printable(known), outcome->error, outcome->why, look, lockFile);
}

Exit Holding::leaveRoom() {
  if (room_.empty()) return kDone;
  room_.clear();
  roomPath_.clear();
  return call(leaveRooms) ? kDone : kIncomplete;
}

Exit Holding::openProject(const std::string& name) {
  const auto project = projectNamed(name);
  if (!project) return kUsage;
  if (*project == project_) return kDone;
  Exit exit = kDone;
  const auto space = lookAround(exit);
  if (!space) return exit;
  const WString folder = space->folder + project->asWString();
  if (!isFolder(folder, options_.deadline())) {
    complain("there is no project " + printable(name) + " in " + printable(space->folder) +
             ".  \"miscdisc project list\" shows which there are");
    return kNotFound;
  }

  if (!isLookedInto(*space, folder)) return sayHidden("project", name, folder);

  const WString lockFile = lockFileOfProject(*space, *project);
  const std::string way = inTheWay(lockFile, options_);
  if (!way.empty()) {
    complain("project " + printable(name) + " is not opened: " + way);
    return kFailed;
  }
  exit = closeProject();
  if (exit != kDone) return exit;
  LockLook look;
  const auto outcome =
      callForLock([project] { return ProjectShare::lockProject(*project); }, lockFile, look);
  if (!outcome) return kIncomplete;
  if (outcome->done) {
    project_ = *project;
    return kDone;
  }
  return sayRefusal("project " + printable(name), outcome->error, outcome->why, look, lockFile);
}

Exit Holding::closeProject() {
  if (project_.isNull()) return kDone;
  project_ = {};
  return call(ProjectShare::unlockCurrentlyLockedProject) ? kDone : kIncomplete;
}

std::string Holding::inWords() const {
  std::string words;
  const auto add = [&](const char* kind, const WString& name) {
    if (name.empty()) return;
    words += (words.empty() ? "" : ", ") + (kind + printable(name));
  };
  add("lobby ", lobby_);
  add("room ", room_);
  add("project ", project());
  return words;
}

Exit Holding::end(Output& output, Exit exit) {
  leaveLobby();
  if (!lost_) return exit;
  output.flush();
  _exit(exit);
}

}  // namespace console
