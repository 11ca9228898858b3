// The family "lobby": what looks, what chooses one, and what makes or deletes one.
#pragma once

#include <CLI/CLI.hpp>

#include "console/commands.h"

namespace console {

void addLobbyReading(CLI::App& lobby, Context& context, Command& chosen);
void addLobbyUse(CLI::App& lobby, Context& context, Command& chosen);
void addLobbyFolders(CLI::App& lobby, Context& context, Command& chosen);

}  // namespace console
