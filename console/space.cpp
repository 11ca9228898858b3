#include "console/space.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "console/folders.h"
#include "console/lock_files.h"
#include "console/not_answering.h"
#include "host/files/lock_file.h"
#include "host/nearest.h"
#include "miscdisc/frame/open_modes.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/string_compare.h"

namespace console {
namespace {

constexpr wchar_t kRoomEnding[] = L".Room";
constexpr size_t kOwnerBytes = 200;  // as the library reads them

constexpr std::chrono::milliseconds kManyFiles{10'000};  // a disk with a million names

bool endsIn(const WString& name, const WString& ending) {
  return Qx::endsWith(name, ending, false) && name.size() > ending.size();
}

WString without(const WString& ending, const WString& name) {
  return endsIn(name, ending) ? name.substr(0, name.size() - ending.size()) : name;
}

// On the mount's thread.

struct Entry {
  WString name;
  bool folder;
};

struct Entries {
  std::vector<Entry> entries;
  int error = 0;
};

bool isFolderEntry(DIR* folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat found {};
  return fstatat(dirfd(folder), entry.d_name, &found, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(found.st_mode);
}

Entries entriesOf(const WString& path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(Qx::UTF8FromWString(path).c_str()),
                                                   closedir);
  if (!folder) return {{}, errno};
  Entries found;
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    found.entries.push_back(
        {Qx::WStringFromUTF8(entry->d_name), isFolderEntry(folder.get(), *entry)});
    errno = 0;
  }
  found.error = errno;
  return found;
}

struct File {
  int64_t modified;
  bool ordinary;
  bool foreign;
};

// Named like a lock or login in other letters, or not empty.
bool isForeign(const WString& path) {
  return !(isLockName(path) || endsExactly(path, kLoginEnding)) || isForeignFile(path);
}

// Nothing when it has gone meanwhile.
std::optional<File> fileAt(const WString& path) {
  struct stat found {};
  if (lstat(Qx::UTF8FromWString(path).c_str(), &found) != 0) return {};
  return File{found.st_mtim.tv_sec * int64_t{1'000'000'000} + found.st_mtim.tv_nsec,
              S_ISREG(found.st_mode), isForeign(path)};
}

// Nothing when the file has gone meanwhile.
std::optional<Held> heldAt(const WString& path) {
  switch (host::lockState(Qx::UTF8FromWString(path))) {
    case host::LockState::kMissing:
      return {};
    case host::LockState::kFree:
      return Held::kNo;
    case host::LockState::kHeld:
      return Held::kYes;
    case host::LockState::kUnknown:
      break;
  }
  return Held::kUnknown;
}

WString ownerBeside(const WString& lock) {
  const Qx::Ptr<iFile> file = openFile(lock + kInformationEnding, kReadInfo);
  if (!opened(file)) return {};
  char name[kOwnerBytes];
  return Qx::WStringFromUTF8(String(name, file->read(name, sizeof name)));
}

// A folder may be read and yet keep back what its files are.
void addFaultUnlessGone(Space& space, const WString& path) {
  if (!heldAt(path)) return;
  space.faults.push_back(printable(path) +
                         " could not be looked at, so whether somebody holds it is not known.  "
                         "Check the rights of its folder with ls -ld.");
}

void addPerson(Space& space, const WString& name) {
  const WString path = space.folder + name;
  const auto file = fileAt(path);
  const auto held = heldAt(path);
  if (!file) addFaultUnlessGone(space, path);
  if (!file || !file->ordinary || !held) return;
  const WString user = without(kLoginEnding, name);
  space.people.push_back(
      {user, path, *held, file->modified, user == OS()->getUserName(), file->foreign});
}

// Nothing when the file has gone meanwhile.
std::optional<SpaceLock> lockFileAt(SpaceLock::Kind kind, const WString& name,
                                    const WString& path) {
  const auto file = fileAt(path);
  const auto held = heldAt(path);
  if (!file || !held) return {};
  return SpaceLock{kind,  name,           path,           ownerBeside(path),
                   *held, file->modified, file->ordinary, file->foreign};
}

void addLock(Space& space, SpaceLock::Kind kind, const WString& name, const WString& path) {
  if (auto lock = lockFileAt(kind, name, path)) {
    space.locks.push_back(std::move(*lock));
  } else {
    addFaultUnlessGone(space, path);
  }
}

void addRoom(Space& space, const WString& path, bool file) {
  const auto same = [&](const Room& room) { return room.path == path; };
  const auto known = std::find_if(space.rooms.begin(), space.rooms.end(), same);
  if (known == space.rooms.end()) {
    space.rooms.push_back({without(kRoomEnding, path.substr(space.folder.size())), path, file});
  } else {
    known->file = known->file || file;
  }
}

// What is in the space's own folder, or in one of its folders (with the separator).
void addFound(Space& space, const WString& inner, const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    const WString path = space.folder + inner + entry.name;
    if (endsIn(entry.name, kLockEnding)) {
      addRoom(space, without(kLockEnding, path), false);
      addLock(space, SpaceLock::Kind::kRoom,
              without(kRoomEnding, without(kLockEnding, inner + entry.name)), path);
    } else if (endsIn(entry.name, kRoomEnding) && !entry.folder) {
      addRoom(space, path, true);
    }
  }
}

bool isProject(const WString& name) { return cookie::fromWString(name).has_value(); }

bool isProjectLock(const Entry& entry) { return entry.name == kProjectLock; }

enum class Depth { kPeople, kAll, kEverywhere };

bool isLookedAt(const Entry& entry, Depth depth) {
  if (!entry.folder || entry.name == L"." || entry.name == L"..") return false;
  return depth == Depth::kEverywhere || (entry.name[0] != L'.' && entry.name != kMediaFolder);
}

// The name is its path from the space.
void addFolder(Space& space, const WString& name, Depth depth) {
  const WString inner = name + pathSeparator();
  if (isProject(name)) space.projects.push_back(name);
  const Entries found = entriesOf(space.folder + inner);
  if (found.error == ENOENT) return;
  if (found.error != 0) {
    space.faults.push_back(printable(space.folder + name) + " could not be read (" +
                           std::strerror(found.error) + "), so what is locked in it is not known.");
  }
  space.folders.push_back(space.folder + inner);
  addFound(space, inner, found.entries);
  const bool mayHaveLock = isProject(name) || depth == Depth::kEverywhere;
  if (mayHaveLock && std::any_of(found.entries.begin(), found.entries.end(), isProjectLock)) {
    addLock(space, SpaceLock::Kind::kProject, name, space.folder + inner + kProjectLock);
  }
  if (depth != Depth::kEverywhere) return;
  for (const Entry& entry : found.entries) {
    if (isLookedAt(entry, depth)) addFolder(space, inner + entry.name, depth);
  }
}

void sort(Space& space) {
  std::sort(space.people.begin(), space.people.end(),
            [](const Person& a, const Person& b) { return a.user < b.user; });
  std::sort(space.locks.begin(), space.locks.end(), [](const SpaceLock& a, const SpaceLock& b) {
    return std::tie(a.kind, a.name, a.path) < std::tie(b.kind, b.name, b.path);
  });
  std::sort(space.projects.begin(), space.projects.end());
  std::sort(space.rooms.begin(), space.rooms.end(), [](const Room& a, const Room& b) {
    return std::tie(a.name, a.path) < std::tie(b.name, b.path);
  });
  std::sort(space.faults.begin(), space.faults.end());
}

void addPeople(Space& space, const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    if (!entry.folder && endsIn(entry.name, kLoginEnding)) addPerson(space, entry.name);
  }
}

void addContents(Space& space, const std::vector<Entry>& entries, Depth depth) {
  space.folders.push_back(space.folder);
  addFound(space, L"", entries);
  // Of a lobby that is itself used as a project.
  const bool lock =
      depth == Depth::kEverywhere && std::any_of(entries.begin(), entries.end(), isProjectLock);
  if (lock) {
    addLock(space, SpaceLock::Kind::kProject, stripPath(plainFolder(space.folder)),
            space.folder + kProjectLock);
  }
  for (const Entry& entry : entries) {
    if (isLookedAt(entry, depth)) addFolder(space, entry.name, depth);
  }
}

Space find(const WString& folder, Depth depth) {
  Space space;
  space.folder = folder;
  const Entries found = entriesOf(folder);
  if (found.error == ENOENT || found.error == ENOTDIR) {
    space.answer = Space::Answer::kMissing;
    return space;
  }
  space.answer = found.error == 0 ? Space::Answer::kThere : Space::Answer::kUnreadable;
  space.error = found.error;
  space.lobby = LobbyUtils::isNetworkLobby(folder);
  addPeople(space, found.entries);
  if (depth != Depth::kPeople) addContents(space, found.entries, depth);
  sort(space);
  return space;
}

// The network projects root, or a lobby in it.
bool isOfLobbies(const WString& folder) {
  return folder.starts_with(withSeparator(LobbyUtils::getNetworkProjectsRoot()));
}

// The name of the lobby in whose place a folder stands; empty for one that is none's.
std::string lobbyIn(const WString& folder) {
  if (!isOfLobbies(folder)) return {};
  const WString root = withSeparator(LobbyUtils::getNetworkProjectsRoot());
  WString name = folder.substr(root.size());
  while (name.ends_with(pathSeparator())) name.pop_back();
  return Qx::UTF8FromWString(name);
}

std::string noLobby(const Space& space) {
  const std::string name = lobbyIn(space.folder);
  const bool missing = space.answer == Space::Answer::kMissing;
  const char* const given = std::getenv(kLobbyVariable);
  // An empty folder may be where storage is to be mounted.
  return "there is no lobby " + printable(name) + ": " + printable(space.folder) +
         (missing ? " is not there.  Mount what is missing there, or choose another"
                  : " holds no " + printable(getMediaLocationsFilename())) +
         ".  " + (given && given == name ? std::string(kLobbyVariable) + " names it.  " : "") +
         "\"miscdisc lobby list\" shows which there are; \"miscdisc config set 'network project "
         "root' FOLDER\" says where they are";
}

const SpaceLock* lockAt(const Space& space, const WString& path) {
  const auto found = std::find_if(space.locks.begin(), space.locks.end(),
                                  [&](const SpaceLock& lock) { return lock.path == path; });
  return found == space.locks.end() ? nullptr : &*found;
}

Space look(const WString& folder, Depth depth, std::chrono::milliseconds deadline) {
  const WString whole = withSeparator(folder);
  Space unknown;
  unknown.folder = whole;
  return within<Space>(deadline, whole, [whole, depth] { return find(whole, depth); })
      .value_or(unknown);
}

LockLook findLock(const WString& path) {
  struct stat found {};
  if (stat(Qx::UTF8FromWString(getPath(path)).c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) {
    return {LockLook::Answer::kNoFolder, {}};
  }
  const bool project = stripPath(path) == kProjectLock;
  if (!heldAt(path)) {
    LockLook none{LockLook::Answer::kNoFile, {}};
    none.lock.owner = ownerBeside(path);
    return none;
  }
  auto lock = lockFileAt(project ? SpaceLock::Kind::kProject : SpaceLock::Kind::kRoom, path, path);
  if (!lock) return {LockLook::Answer::kUnknown, {}};
  return {LockLook::Answer::kThere, std::move(*lock)};
}

WString nameOfLocked(const Space& space, const SpaceLock& lock) {
  const WString inner = lock.path.substr(space.folder.size());
  if (lock.kind == SpaceLock::Kind::kProject) {
    return plainFolder(getPath(inner));
  }
  return without(kRoomEnding, without(kLockEnding, inner));
}

// True also where nobody can tell.
bool mayBeFile(const WString& path, const Options& options) {
  return within<bool>(options.deadline(), path,
                      [path] {
                        struct stat found {};
                        return stat(Qx::UTF8FromWString(path).c_str(), &found) == 0 ||
                               errno != ENOENT;
                      })
      .value_or(true);
}

WString nameInSpace(const Space& space, const WString& roomPath) {
  return without(kRoomEnding, roomPath.substr(space.folder.size()));
}

// A lobby by its name, any other space by its folder.
std::string shownName(const Space& space) {
  const bool lobby = space.lobby && isOfLobbies(space.folder);
  return printable(lobby ? stripPath(plainFolder(space.folder)) : space.folder);
}

// The rooms of that name in other letters; where there is none, those of other folders.
std::string didYouMean(const Space& space, const WString& name) {
  std::vector<std::string> same, elsewhere;
  for (const Room& room : space.rooms) {
    if (Qx::compareCaseInsensitive(room.name, name)) {
      same.push_back(printable(room.name));
    } else if (Qx::compareCaseInsensitive(stripPath(room.name), stripPath(name))) {
      elsewhere.push_back(printable(room.name));
    }
  }
  std::vector<std::string>& near = same.empty() ? elsewhere : same;
  near.erase(std::unique(near.begin(), near.end()), near.end());
  if (near.empty()) return ".";
  near.resize(std::min<size_t>(near.size(), 2));
  return host::didYouMean(near, "\"", "\"");
}

// The names under the network projects root that are not hidden; as lobbyNames() fails.
std::optional<std::vector<WString>> namesUnderRoot(const Options& options, Exit& exit) {
  const WString root = LobbyUtils::getNetworkProjectsRoot();
  const auto found = within<Entries>(options.deadline(), root, [root] { return entriesOf(root); });
  exit = kIncomplete;
  if (!found) {
    complain(notAnswering(root, options));
    return {};
  }
  const bool missing = found->error == ENOENT || found->error == ENOTDIR;
  if (missing && root != OS()->getDefaultNetworkProjectsFolder(true)) {
    complain(printable(root) +
             " is not there.  Mount it, or look at \"miscdisc config get 'network project root'\"");
    exit = kNotFound;
    return {};
  }
  if (found->error != 0 && !missing) {
    complain(printable(root) + " could not be read (" + std::strerror(found->error) +
             ").  Look at it with ls -ld");
    return {};
  }
  exit = kDone;
  std::vector<WString> names;
  for (const Entry& entry : found->entries) {
    if (entry.name[0] != L'.') names.push_back(entry.name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

Space lookAt(const WString& folder, const Options& options) {
  return look(folder, Depth::kAll, options.deadline());
}

Space lookAtPeople(const WString& folder, const Options& options) {
  return look(folder, Depth::kPeople, options.deadline());
}

Space lookEverywhere(const WString& folder, const Options& options) {
  return look(folder, Depth::kEverywhere, std::max(options.deadline(), kManyFiles));
}

Space lookAtConfiguredSpace(const Options& options) {
  Space space = lookAt(getProjectsBaseDirectory(), options);
  const bool firstStart =
      space.answer == Space::Answer::kMissing && space.folder == getDefaultLocalProjectsDir();
  if (firstStart) space.answer = Space::Answer::kThere;
  return space;
}

LockLook lookAtLock(const WString& path, const Options& options) {
  return within<LockLook>(options.deadline(), path, [path] { return findLock(path); })
      .value_or(LockLook());
}

LockLook::Answer lookCloser(Space& space, const WString& lockFile, const Options& options) {
  if (lockAt(space, lockFile)) return LockLook::Answer::kThere;
  LockLook look = lookAtLock(lockFile, options);
  if (look.answer != LockLook::Answer::kThere) return look.answer;
  look.lock.name = nameOfLocked(space, look.lock);
  space.locks.push_back(std::move(look.lock));
  return look.answer;
}

bool isLookedInto(const Space& space, const WString& folder) {
  const auto& folders = space.folders;
  return std::find(folders.begin(), folders.end(), withSeparator(folder)) != folders.end();
}

void workInConfiguredSpace() {
  if (LobbyUtils::getCurrentNetworkLobbyName().empty()) return;
  LobbyUtils::networkMode_ = true;
  setProjectsBaseDirectory(LobbyUtils::getCurrentNetworkLobbyFullPath(false));
}

std::string problemOf(const Space& space, const Options& options) {
  switch (space.answer) {
    case Space::Answer::kThere:
      return {};
    case Space::Answer::kMissing:
      if (!lobbyIn(space.folder).empty() &&
          isFolder(LobbyUtils::getNetworkProjectsRoot(), options.deadline())) {
        return noLobby(space);
      }
      return printable(space.folder) + " is not there.  Mount it, or " +
             (isOfLobbies(space.folder) ? "look at \"miscdisc config get 'network project root'\""
                                        : "choose another with \"miscdisc space use FOLDER\"");
    case Space::Answer::kUnreadable:
      return printable(space.folder) + " could not be read (" + std::strerror(space.error) +
             ").  Look at it with ls -ld";
    case Space::Answer::kNotAnswering:
      break;
  }
  return notAnswering(space.folder, options);
}

Exit exitOf(const Space& space) {
  if (space.answer == Space::Answer::kMissing) return kNotFound;
  return space.answer == Space::Answer::kThere && space.faults.empty() ? kDone : kIncomplete;
}

std::string stateOf(Held held) {
  switch (held) {
    case Held::kYes:
      return "live";
    case Held::kNo:
      return "stale";
    case Held::kUnknown:
      break;
  }
  return "unknown";
}

std::string kindOf(SpaceLock::Kind kind) {
  return kind == SpaceLock::Kind::kProject ? "project" : "room";
}

std::string holder(const SpaceLock& lock) {
  const std::string who = lock.owner.empty() ? "somebody" : printable(lock.owner);
  return who + " since " + rfc3339(lock.since);
}

Json asJson(const Person& person) {
  Json object;
  addText(object, "user", person.user);
  object["held"] = nullptr;
  if (person.held != Held::kUnknown) object["held"] = person.held == Held::kYes;
  object["since"] = rfc3339(person.since);
  object["you"] = person.you;
  return object;
}

Json asJson(const SpaceLock& lock) {
  Json object{{"kind", kindOf(lock.kind)}};
  addText(object, "name", lock.name);
  addText(object, "path", lock.path);
  object["owner"] = nullptr;
  if (!lock.owner.empty()) addText(object, "owner", lock.owner);
  object["state"] = stateOf(lock.held);
  object["since"] = rfc3339(lock.since);
  return object;
}

std::optional<cookie> projectNamed(const std::string& text) {
  const auto project = cookie::fromWString(Qx::WStringFromUTF8(text));
  if (!project || project->isNull()) {
    complain("\"" + printable(text) +
             "\" is no project: their names are a letter and seven digits, as in P0001000.  "
             "\"miscdisc project list\" shows what is there.");
    return {};
  }
  return project;
}

std::optional<WString> roomPath(const Space& space, const std::string& text) {
  const WString wanted = Qx::WStringFromUTF8(text);
  WString known;
  for (const Room& room : space.rooms) {
    if (room.name == wanted && (known.empty() || room.file)) known = room.path;
  }
  if (!known.empty()) return known;
  const bool whole = wanted.starts_with(L'/');
  const WString path = plainFolder(whole ? wanted : space.folder + wanted);
  const bool named =
      !wanted.empty() && wanted.back() != L'/' && wanted.find(L'\0') == WString::npos;
  const bool taken = stripPath(path) == kProjectLock;  // a project's
  if (!named || taken || !path.starts_with(space.folder)) {
    complain("\"" + printable(text) + "\" is no room in " + printable(space.folder) +
             ": a room is named by its path from there.  \"miscdisc room list\" shows what is "
             "there.");
    return {};
  }
  return path;
}

std::string whyNoRoom(Space& space, const WString& roomPath, const Options& options) {
  const WString other = otherSpelling(roomPath);
  const auto same = [&](const Room& room) { return room.path == roomPath || room.path == other; };
  if (std::any_of(space.rooms.begin(), space.rooms.end(), same)) return {};
  for (const WString& spelling : {roomPath, other}) {
    const LockLook::Answer answer = lookCloser(space, lockFileOfRoom(spelling), options);
    if (answer == LockLook::Answer::kThere || answer == LockLook::Answer::kUnknown) return {};
  }
  // Asked for by its name only where it is not listed: storage that does not tell letters apart
  // has it under any, and its lock would be another.
  const bool listed = isLookedInto(space, getPath(roomPath)) && space.faults.empty();
  if (!listed && mayBeFile(std::max(roomPath, other), options)) return {};
  const WString name = nameInSpace(space, roomPath);
  return "there is no room \"" + printable(name) + "\" in " + shownName(space) +
         didYouMean(space, name) + " \"miscdisc room list\" shows which there are";
}

WString otherSpelling(const WString& roomPath) {
  return endsIn(roomPath, kRoomEnding) ? without(kRoomEnding, roomPath) : roomPath + kRoomEnding;
}

WString worseSpelling(Space& space, const WString& roomPath, const Options& options) {
  const auto rank = [&](const WString& path) {
    lookCloser(space, lockFileOfRoom(path), options);
    const SpaceLock* lock = lockOfRoom(space, path);
    if (!lock) return 0;
    if (lock->held == Held::kYes) return 4;
    if (!lock->ordinary) return 3;
    return lock->held == Held::kUnknown ? 2 : 1;
  };
  const WString other = otherSpelling(roomPath);
  return rank(other) > rank(roomPath) ? other : roomPath;
}

const SpaceLock* lockOfProject(const Space& space, const cookie& project) {
  return lockAt(space, lockFileOfProject(space, project));
}

const SpaceLock* lockOfRoom(const Space& space, const WString& roomPath) {
  return lockAt(space, lockFileOfRoom(roomPath));
}

WString lockFileOfProject(const Space& space, const cookie& project) {
  return space.folder + project.asWString() + pathSeparator() + kProjectLock;
}

WString lockFileOfRoom(const WString& roomPath) { return roomPath + kLockEnding; }

bool mayBeLobby(const std::string& name) {
  const bool fine = !name.empty() && name != "." && name != ".." &&
                    name.find_first_of(std::string("/\0", 2)) == std::string::npos;
  if (!fine) {
    complain("\"" + printable(name) +
             "\" cannot be a lobby: its name is the name of one folder under the network projects "
             "root, without a separator.");
  }
  return fine;
}

std::optional<Space> lobbyNamed(const std::string& name, const Options& options, Exit& exit) {
  if (!mayBeLobby(name)) {
    exit = kUsage;
    return {};
  }
  const WString folder = LobbyUtils::getNetworkLobbyFullPath(Qx::WStringFromUTF8(name), true);
  Space space = lookAt(folder, options);
  if (space.lobby) return space;
  const bool known =
      space.answer == Space::Answer::kThere || space.answer == Space::Answer::kMissing;
  exit = known ? kNotFound : kIncomplete;
  if (!known) {
    complain(problemOf(space, options));
  } else {
    complain(noLobby(space));
  }
  return {};
}

std::optional<std::vector<WString>> lobbyNames(const Options& options, Exit& exit) {
  const auto names = namesUnderRoot(options, exit);
  if (!names) return {};
  std::vector<WString> found;
  for (const WString& name : *names) {
    const WString folder = LobbyUtils::getNetworkLobbyFullPath(name, true);
    const auto lobby = within<bool>(options.deadline(), folder,
                                    [folder] { return LobbyUtils::isNetworkLobby(folder); });
    if (lobby.value_or(false)) found.push_back(name);
  }
  return found;
}

std::optional<std::vector<Lobby>> lobbies(const Options& options, Exit& exit) {
  const auto names = namesUnderRoot(options, exit);
  if (!names) return {};
  std::vector<Lobby> found;
  for (const WString& name : *names) {
    Space space = lookAtPeople(LobbyUtils::getNetworkLobbyFullPath(name, true), options);
    const bool shown = space.lobby || space.answer == Space::Answer::kNotAnswering;
    if (shown) found.push_back({name, std::move(space)});
  }
  return found;
}

}  // namespace console
