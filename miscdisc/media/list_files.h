// The lists of drives in the folder of the current project space.
#pragma once

#include <algorithm>
#include <cstdint>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/text_file.h"

inline constexpr const wchar_t* kHiddenVolumesName = L"UnmountedDrives.txt";

// Names are appended directly: the folder of a lobby ends in the separator, and so does the local
// one where the platform sees to it.
//
// The list of locations has the name under which lobbies are made: getMediaLocationsFilename().
inline WString mediaLocationsFile() {
  return LobbyUtils::getCurrentLobbyName() + L"DefNetDrive.txt";
}
inline WString hiddenVolumesFile() {
  return LobbyUtils::getCurrentLobbyName() + kHiddenVolumesName;
}

// How many lines a walk with an index of 16 bits looks at: 65,535 at most, whatever the file has.
inline uint16_t walkedLines(const TextFile& file) {
  return static_cast<uint16_t>(std::min<size_t>(file.getNumLines(), UINT16_MAX));
}
