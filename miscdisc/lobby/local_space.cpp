// Project spaces on the machine's own disk, and which space the machine works in.
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/netshare/net_login.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace {

// A space without such a file is none the worse for it.
void copyFromDefaultSpace(const WString& file, const WString& folder) {
  OS()->fileManager().copy(getDefaultLocalProjectsDir() + file, folder + file, 0, 0, 0);
}

WString usableLocalFolder() {
  const WString local = getLocalProjectsDir();
  return OS()->fileManager().directoryUsable(local) ? local : getDefaultLocalProjectsDir();
}

}  // namespace

bool LobbyUtils::createDefaultProjectFolders(const WString& folder) {
  iFileManager& files = OS()->fileManager();
  const WString projects = joinPaths(folder, L"P0001000");
  const WString groups = joinPaths(folder, L"G0001000");
  if (!fileExists(projects) && !files.createDirectory(projects)) return false;
  return fileExists(groups) || files.createDirectory(groups);
}

bool LobbyUtils::createNewLocalProjectSpace(const WString& folder) {
  if (!createDefaultProjectFolders(folder)) return false;
  if (folder == getDefaultLocalProjectsDir()) return true;
  copyFromDefaultSpace(getMediaLocationsFilename(), folder);
  copyFromDefaultSpace(kHiddenVolumesName, folder);
  return true;
}

bool LobbyUtils::changeLocalProjectSpace(const WString& folder) {
  if (!fileExists(folder)) return false;
  setLocalProjectsDir(folder);
  setupQXProjDirectory();
  mountUserMaterialDrives(folder + getMediaLocationsFilename());
  return true;
}

bool LobbyUtils::setupQXProjDirectory() {
  if (!getCurrentNetworkLobbyName().empty()) {
    const WString lobby = getCurrentNetworkLobbyFullPath(false);
    networkMode_ = NetLogin(lobby);
    setProjectsBaseDirectory(networkMode_ ? lobby : usableLocalFolder());
    return networkMode_;
  }
  // Still in the folder of a lobby that was left.
  if (getLocalProjectsDir() != getProjectsBaseDirectory()) NetLogout();
  setProjectsBaseDirectory(usableLocalFolder());
  return true;
}
