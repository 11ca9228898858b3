// The commands: each family adds itself to the option tree and notes what is to be run.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "console/context.h"

namespace console {

using Command = std::function<Exit()>;

void addStatus(CLI::App& app, Context& context, Command& chosen);
void addFind(CLI::App& app, Context& context, Command& chosen);
void addCache(CLI::App& app, Context& context, Command& chosen);
void addDrives(CLI::App& app, Context& context, Command& chosen);
void addLobby(CLI::App& app, Context& context, Command& chosen);
void addSpace(CLI::App& app, Context& context, Command& chosen);
void addRoom(CLI::App& app, Context& context, Command& chosen);
void addProject(CLI::App& app, Context& context, Command& chosen);
void addLocks(CLI::App& app, Context& context, Command& chosen);
void addDoctor(CLI::App& app, Context& context, Command& chosen);
void addDemo(CLI::App& app, Context& context, Command& chosen);
void addConfig(CLI::App& app, Context& context, Command& chosen);
void addNotify(CLI::App& app, Context& context, Command& chosen);
void addNotifySetup(CLI::App& notify, Context& context, Command& chosen);
void addWatch(CLI::App& app, Context& context, Command& chosen);
void addReport(CLI::App& app, Context& context, Command& chosen);
void addVersion(CLI::App& app, Context& context, Command& chosen);
// What it completes is not among the options, nor what "with" runs: see main.
void addCompletion(CLI::App& app, Context& context, Command& chosen,
                   const std::vector<std::string>& words);
void addWith(CLI::App& app, Context& context, Command& chosen,
             const std::vector<std::string>& command);
void addHold(CLI::App& app, Context& context, Command& chosen);
void addRoomGo(CLI::App& room, Context& context, Command& chosen);
void addShell(CLI::App& app, Context& context, Command& chosen);

Exit showStatus(Context& context);  // what a bare "miscdisc" does

}  // namespace console
