// Who else is in the lobby, and moving from room to room.
#include <cstring>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/netshare/special_room.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/resources.h"
#include "miscdisc/platform/string_compare.h"

namespace {

using LoginFiles = Vector<iFileManager::DirectoryItem>;

constexpr unsigned kOthersAreHere = 10940;
constexpr unsigned kRoomIsInUse = 10946;

constexpr unsigned kInRoom = 1, kOutsideRooms = 2;  // how a login file is marked
constexpr uint32_t kMarkedBit = 2;

LoginFiles loginFiles() {
  LoginFiles files;
  OS()->fileManager().list(getProjectsBaseDirectory() + L"*.cli", files, 1, 0);
  return files;
}

// The user of a login file, as a zero-terminated text.
void storeUser(const WString& fileName, char* out) {
  constexpr size_t kEnding = sizeof ".cli" - 1;
  const String name = Qx::UTF8FromWString(fileName);
  const size_t length = name.size() - kEnding;
  std::memcpy(out, name.data(), length);
  out[length] = '\0';
}

}  // namespace

bool ProjectShare::otherUsersInLobby(const WString& lobby, char* out) {
  if (out) out[0] = '\0';
  if (lobby.empty()) return true;
  // Of the base directory, whatever lobby names.
  const LoginFiles files = loginFiles();
  const WString user = getUserName();
  for (size_t i = 0; out && i < files.size(); ++i) {
    if ((files[i].attributes & kMarkedBit) == 0) continue;
    // The name of a file has its ending, so no user's own file is passed over.
    if (Qx::startsWith(user, files[i].name, true)) continue;
    if (out[0] == '\0') storeUser(files[i].name, out);
  }
  return files.size() <= 1;
}

// Unlike otherUsersInLobby(): out is the last match instead of the first that does not match, in
// any letter case, marked or not, and is not emptied first.
bool ProjectShare::anyOtherNetUsers(char* out) {
  const LoginFiles files = loginFiles();
  const WString user = getUserName();
  for (size_t i = 0; out && i < files.size(); ++i) {
    if (Qx::startsWith(user, files[i].name, false)) storeUser(files[i].name, out);
  }
  return files.size() > 1;
}

bool ProjectShare::roomIsTrashable(const WString& room, WString& reason) {
  char other[1024];  // the longest file name, 255 characters, as UTF-8
  if (!otherUsersInLobby(LobbyUtils::getRoomFileName(), other)) {
    reason = resourceStrW(kOthersAreHere) + L" (" + Qx::WStringFromAscii(other) + L")";
    return false;
  }
  if (isSpecialRoom(room)) return true;

  const WString lockPath = room + L".lck";
  NetLock lock(lockPath);
  if (lock.Lock()) {
    lock.Unlock();
    return true;
  }
  // getLockOwner() appends ".lck" once more, so no holder is named unless somebody has written a
  // file of that name.
  reason = Qx::substitute(resourceStrW(kRoomIsInUse), L"$NAME$", getLockOwner(lockPath));
  return false;
}

bool ProjectShare::indicateRoomChange(const WString& room, const cookie&) {
  iFileManager& files = OS()->fileManager();
  if (room.empty()) {
    unlockCurrentRoom();
    // The folder of no path is empty: the platform takes the name from the base directory.
    const WString login = getPath(room) + getUserName() + L".cli";
    files.mark(login, kOutsideRooms);
    LobbyUtils::setPreviousRoomName(login);
    return true;
  }

  files.mark(LobbyUtils::getPreviousRoomName(), kInRoom);
  auto* lock = new NetLock(room + L".lck");
  if (!lock->Lock()) {
    delete lock;
    return false;
  }
  unlockCurrentRoom();  // only now: a user who is refused stays where he is
  currentRoomLock_ = lock;
  lock->SetLockInfo(getUserName());
  return true;
}
