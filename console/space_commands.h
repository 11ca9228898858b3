// Commands that work in the configured project space.
#pragma once

#include <CLI/CLI.hpp>

#include "console/commands.h"

namespace console {

// Adds a subcommand.  What it runs comes after the configuration was found to be in order, in the
// space that it names.
CLI::App* addSpaceCommand(CLI::App& family, Command& chosen, const char* name, const char* help,
                          Command run);

}  // namespace console
