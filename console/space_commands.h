// Commands that work in the configured project space, and what several of them say.
#pragma once

#include <CLI/CLI.hpp>

#include "console/commands.h"

namespace console {

// Adds a subcommand.  What it runs comes after the configuration was found to be in order, in the
// space that it names.
CLI::App* addSpaceCommand(CLI::App& family, Command& chosen, const char* name, const char* help,
                          Command run);

// True when the user says yes.  Asked only where somebody reads and answers: standard input and
// standard error are terminals.  Otherwise, and without --yes, it says that --yes is needed.
bool confirmed(const Options& options, const std::string& question);

// Keeps a setting of section "Configuration" for the next program on, whatever this process has
// laid over it.  False, after saying so, when it could not be stored.
bool storeSetting(const std::string& key, const std::string& value);

// As it is stored; empty when it is not.
std::string storedSetting(const std::string& key);

}  // namespace console
