// The family "drives": what looks, what counts with figures, and what changes something.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "console/commands.h"
#include "console/drives.h"

namespace console {

// Adds a subcommand.  What it runs comes after the configuration was found to be in order, with the
// drives of the configured space.
using DriveCommand = std::function<Exit(DriveList& list)>;
CLI::App* addDriveCommand(CLI::App& drives, Context& context, Command& chosen, const char* name,
                          const char* help, DriveCommand run);

void addDriveReading(CLI::App& drives, Context& context, Command& chosen);
void addDrivePlanning(CLI::App& drives, Context& context, Command& chosen);
void addDriveLists(CLI::App& drives, Context& context, Command& chosen);
void addDriveNames(CLI::App& drives, Context& context, Command& chosen);

}  // namespace console
