// The lists of drives in the folder of the current project space.
#pragma once

#include <algorithm>
#include <cstdint>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/text_file.h"

// Names are appended directly: the folder of a lobby ends in the separator, and so does the local
// one where the platform sees to it.
inline WString mediaLocationsFile() {
  return LobbyUtils::getCurrentLobbyName() + L"DefNetDrive.txt";
}
inline WString hiddenVolumesFile() {
  return LobbyUtils::getCurrentLobbyName() + L"UnmountedDrives.txt";
}

// How many lines a walk with an index of 16 bits looks at: 65,535 at most, whatever the file has.
inline uint16_t walkedLines(const TextFile& file) {
  return static_cast<uint16_t>(std::min<size_t>(file.getNumLines(), UINT16_MAX));
}
