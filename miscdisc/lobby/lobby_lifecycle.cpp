// Listing, making, entering, leaving and deleting lobbies.
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/frame/open_modes.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace {

// The list of the space in which the machine works now.
WString currentMediaLocations() {
  return LobbyUtils::getCurrentLobbyName() + getMediaLocationsFilename();
}

void configure(const char* key, const WString& value) {
  UserConfig().setValue(key, Qx::UTF8FromWString(value), kLobbySection);
}

void writeMediaLocations(const WString& path, const WString& location) {
  const Qx::Ptr<iFile> file = openFile(path, kWriteLocations);
  if (!opened(file)) return;
  const String text = Qx::UTF8FromWString(location);
  file->write(text.data(), text.size());
}

}  // namespace

void LobbyUtils::unmountUserMaterialDrives(WString) {
  invalidate_directory_cache();
  disk_manager_exit();
}

bool LobbyUtils::mountUserMaterialDrives(WString mediaLocationsFile) {
  FsysReInitialize(networkMode_);
  disk_manager_init();
  if (mediaLocationsFile.empty()) mediaLocationsFile = currentMediaLocations();
  return DiskManager::AddDrivesFromFile(mediaLocationsFile);
}

void LobbyUtils::setCurrentNetworkLobby(const WString& name) {
  unmountUserMaterialDrives(currentMediaLocations());
  configure(kLobbyNameKey, name);
  networkMode_ = true;
  mountUserMaterialDrives(WString());  // now the lobby's own list
}

void LobbyUtils::switchFromNetworkToLocal() {
  unmountUserMaterialDrives(currentMediaLocations());
  configure(kLastLobbyNameKey, getCurrentNetworkLobbyName());
  configure(kLobbyNameKey, WString());
  networkMode_ = false;
  mountUserMaterialDrives(WString());
}

bool LobbyUtils::createNewLobby(const WString& name) {
  iFileManager& files = OS()->fileManager();
  const WString separator(1, pathSeparator());
  // Whatever the root ends in, unlike getNetworkLobbyFullPath(): the list then names the media
  // folder with two separators.
  const WString lobby = getNetworkProjectsRoot() + separator + name;
  if (!files.createDirectory(lobby)) return false;

  const WString media = lobby + separator + L"Media";
  files.createDirectory(media);
  files.createDirectory(media + separator + L"Material");
  files.createDirectory(media + separator + L"Sound");
  writeMediaLocations(lobby + separator + getMediaLocationsFilename(), media);
  return true;
}

bool LobbyUtils::deleteLobby(const WString& name) {
  const WString lobby = getNetworkLobbyFullPath(name, true);
  if (!isNetworkLobby(lobby)) return false;
  deleteDirectory(lobby);
  return true;
}

void LobbyUtils::getAvailableNetworkLobbies(Vector<WString>& lobbies) {
  constexpr unsigned kFoldersToo = 0x19;
  lobbies.clear();
  const WString root = getNetworkProjectsRoot();
  Vector<WString> names;
  getDirectoryContents(root, L"*.*", names, kFoldersToo);
  for (const WString& name : names) {
    if (isNetworkLobby(root + pathSeparator() + name)) lobbies.add(name);
  }
}
