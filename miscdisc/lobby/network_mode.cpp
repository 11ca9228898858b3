#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace {

WString configured(const char* key) {
  return Qx::WStringFromUTF8(UserConfig().getValue(key, String(), kLobbySection));
}

}  // namespace

bool LobbyUtils::networkMode_ = false;
const char* LobbyUtils::NetProjRootRegKey = "network project root";
const char* LobbyUtils::NetMatRootRegKey = "network material root";

bool LobbyUtils::machineIsInNetworkMode() { return networkMode_; }

bool LobbyUtils::inLobby() { return roomFileName_.empty(); }

WString LobbyUtils::getNetworkProjectsRoot() {
  const WString root = configured(NetProjRootRegKey);
  return root.empty() ? OS()->getDefaultNetworkProjectsFolder(true) : root;
}

WString LobbyUtils::getNetworkMaterialRoot() {
  const WString root = configured(NetMatRootRegKey);
  return root.empty() ? OS()->fileManager().getDefaultNetworkMaterialFolder() : root;
}

WString LobbyUtils::getCurrentNetworkLobbyName() { return configured(kLobbyNameKey); }

WString LobbyUtils::getNetworkLobbyFullPath(const WString& name, bool trailingSeparator) {
  WString path = withSeparator(getNetworkProjectsRoot()) + name;
  // Whatever the name ends in: without a lobby the root comes out with two separators.
  if (trailingSeparator) path += pathSeparator();
  return path;
}

WString LobbyUtils::getCurrentNetworkLobbyFullPath(bool trailingSeparator) {
  return getNetworkLobbyFullPath(getCurrentNetworkLobbyName(), trailingSeparator);
}

WString LobbyUtils::getCurrentLobbyName() {
  return networkMode_ ? getCurrentNetworkLobbyFullPath(true) : getLocalProjectsDir();
}

bool LobbyUtils::isNetworkLobby(WString folder) {
  return fileExists(withSeparator(folder) + getMediaLocationsFilename());
}
