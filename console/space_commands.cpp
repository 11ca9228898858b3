#include "console/space_commands.h"

#include <unistd.h>

#include <iostream>

#include "console/drives.h"
#include "console/space.h"
#include "host/state_file.h"
#include "miscdisc/lobby/configuration_keys.h"

namespace console {

CLI::App* addSpaceCommand(CLI::App& family, Command& chosen, const char* name, const char* help,
                          Command run) {
  CLI::App* command = family.add_subcommand(name, help);
  command->callback([&chosen, run = std::move(run)] {
    chosen = [run] {
      if (configurationIsBroken()) return kUsage;
      workInConfiguredSpace();
      return run();
    };
  });
  return command;
}

bool confirmed(const Options& options, const std::string& question) {
  if (options.yes || options.dryRun) return true;
  if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
    complain("nobody can be asked here, so nothing was done.  To do it all the same, say --yes.");
    return false;
  }
  std::cerr << question << "  [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "yes") return true;
  complain("nothing was done.");
  return false;
}

bool storeSetting(const std::string& key, const std::string& value) {
  host::StateFile& state = host::StateFile::instance();
  if (state.setValue(kLobbySection, key, value)) return true;
  complain("\"" + printable(key) + "\" could not be stored in " + printable(state.path()) +
           ".  Check the rights of the file and its folder.");
  return false;
}

std::string storedSetting(const std::string& key) {
  return host::StateFile::instance().value(kLobbySection, key).value_or("");
}

}  // namespace console
