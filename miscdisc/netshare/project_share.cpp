#include "miscdisc/netshare/project_share.h"

#include <algorithm>

#include "miscdisc/frame/open_modes.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/netshare/special_room.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

NetLock* ProjectShare::currentProjectLock_ = nullptr;
NetLock* ProjectShare::currentRoomLock_ = nullptr;

namespace {

// The base directory ends in the separator.
WString lockFileOf(const cookie& project) {
  return getProjectsBaseDirectory() + project.asWString() + pathSeparator() + L"Lock";
}

// Stores the lock whatever was there before: an earlier one stays held.
bool take(NetLock*& current, const WString& path) {
  current = new NetLock(path);
  if (current->Lock()) return true;
  delete current;
  current = nullptr;
  return false;
}

bool letGo(NetLock*& current) {
  if (!current) return false;
  current->Unlock();
  delete current;
  current = nullptr;
  return true;
}

WString readName(const WString& path) {
  constexpr size_t kLongestName = 200;  // bytes
  const Qx::Ptr<iFile> file = openFile(path, kReadInfo);
  if (!opened(file)) return WString();
  char name[kLongestName + 1] = "";
  const auto size = static_cast<size_t>(std::max<int64_t>(file->size(), 0));
  file->read(name, kLongestName);
  name[std::min(size, kLongestName)] = '\0';
  return Qx::WStringFromUTF8(name);
}

}  // namespace

WString ProjectShare::getUserName() { return OS()->getUserName(); }

WString ProjectShare::getProjectLockFile(const cookie& project) {
  return project.isNull() ? WString() : lockFileOf(project);
}

bool ProjectShare::lockProject(const cookie& project) {
  if (!take(currentProjectLock_, lockFileOf(project))) return false;
  currentProjectLock_->SetLockInfo(getUserName());
  return true;
}

bool ProjectShare::unlockCurrentlyLockedProject() { return letGo(currentProjectLock_); }

bool ProjectShare::lockRoom(const WString& room) {
  return isSpecialRoom(room) || take(currentRoomLock_, room + L".lck");
}

void ProjectShare::unlockCurrentRoom() { letGo(currentRoomLock_); }

bool ProjectShare::isProjectOccupied(const cookie& project) {
  return !project.isNull() && fileExists(getProjectLockFile(project));
}

bool ProjectShare::isRoomOccupied(const WString& room) { return fileExists(room + L".lck"); }

WString ProjectShare::getLockOwner(const cookie& project) {
  return readName(getProjectLockFile(project) + L".inf");
}

WString ProjectShare::getLockOwner(const WString& room) { return readName(room + L".lck.inf"); }
