#include "console/space_commands.h"

#include "console/drives.h"
#include "console/space.h"

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

}  // namespace console
