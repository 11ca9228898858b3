// Where the lobbies stand in the user configuration.
#pragma once

inline constexpr const char* kLobbySection = "Configuration";
inline constexpr const char* kLobbyNameKey = "network lobby name";
inline constexpr const char* kLastLobbyNameKey = "last network lobby name";
