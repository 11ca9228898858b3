// What the library reads of what "miscdisc config set" keeps.
#pragma once

#include <string>
#include <vector>

#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {

// Of section "Configuration".
inline std::vector<std::string> configurationKeys() {
  return {LobbyUtils::NetProjRootRegKey, LobbyUtils::NetMatRootRegKey, kLobbyNameKey,
          kLastLobbyNameKey, "log_incoming_net_messages"};
}

}  // namespace console
