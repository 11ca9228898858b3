// What a command that holds is asked for.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "console/holding.h"

namespace console {

struct Wanted {
  std::optional<std::string> lobby;  // none: the configured one
  std::optional<std::string> room;
  std::optional<std::string> project;
};

void addWanted(CLI::App& command, Wanted& wanted);  // the options for room and project

// False, after saying why: then it is usage.
bool mayHold(const Options& options);

// REQUIRES: nothing is held yet; whoever holds has laid a lobby over the configured one.
std::string lobbyOf(const Wanted& wanted);

// All of it, or as much as holding then says; without a lobby in the local space.
Exit holdAll(Holding& holding, const std::string& lobby, const Wanted& wanted);

}  // namespace console
