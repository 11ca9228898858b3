// Commands that hold: a login, a room, a project, for as long as they run.
#include "console/hold.h"

#include <cstdlib>

#include "console/commands.h"
#include "console/drives.h"
#include "console/help.h"
#include "console/program.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/os.h"

namespace console {

void addWanted(CLI::App& command, Wanted& wanted) {
  command
      .add_option("--room", wanted.room,
                  "And this room of it; with --yes also one that is not made yet")
      ->type_name("ROOM");
  command.add_option("--project", wanted.project, "And this project, as P0001000")
      ->type_name("PROJECT");
}

bool mayHold(const Options& options) {
  if (configurationIsBroken()) return false;
  if (!options.dryRun) return true;
  complain(
      "nobody can try out holding: --dry-run goes with commands that change something.  "
      "\"miscdisc room check\" says whether a room is free");
  return false;
}

std::string lobbyOf(const Wanted& wanted) {
  return wanted.lobby.value_or(Qx::UTF8FromWString(LobbyUtils::getCurrentNetworkLobbyName()));
}

Exit holdAll(Holding& holding, const std::string& lobby, const Wanted& wanted) {
  Exit exit = kDone;
  if (!lobby.empty()) exit = holding.enterLobby(lobby);
  if (exit == kDone && wanted.project) exit = holding.openProject(*wanted.project);
  if (exit == kDone && wanted.room) exit = holding.enterRoom(*wanted.room);
  return exit;
}

namespace {

Exit runWith(Context& context, const Wanted& wanted, const std::vector<std::string>& command) {
  if (!mayHold(context.options)) return kUsage;
  if (!mayBeLobby(*wanted.lobby)) return kUsage;
  if (command.empty()) {
    complain("what is to be run?  Say it after --, as in: miscdisc with " +
             printable(*wanted.lobby) + " -- bash");
    return kUsage;
  }
  EndSignals signals;
  Holding holding(context.options);
  const Exit refused = holdAll(holding, *wanted.lobby, wanted);
  if (refused != kDone) return holding.end(context.output, refused);
  if (const auto signal = signals.next()) {
    return holding.end(context.output, exitBySignal(signal->number));
  }
  setenv(kLobbyVariable, wanted.lobby->c_str(), 1);
  const Ended ended = run(command, context.output, signals);
  return holding.end(context.output, static_cast<Exit>(ended.code));
}

// What follows -- is no option to the options' library.
class UsageOfWith : public Help {
 public:
  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " LOBBY [--room R] [--project P] -- COMMAND...\n";
  }
};

Json asJson(const Holding& holding) {
  Json document{{"schema", "miscdisc.hold/1"}};
  addText(document, "user", OS()->getUserName());
  const auto add = [&](const char* key, const WString& name) {
    document[key] = nullptr;
    if (!name.empty()) addText(document, key, name);
  };
  add("lobby", holding.lobby());
  add("room", holding.room());
  add("project", holding.project());
  return document;
}

Exit runHold(Context& context, const Wanted& wanted) {
  if (!mayHold(context.options)) return kUsage;
  const std::string lobby = lobbyOf(wanted);
  if (lobby.empty() && !wanted.room && !wanted.project) {
    complain("there is nothing to hold: name a lobby, or a room or project of the local space");
    return kUsage;
  }
  EndSignals signals;
  Holding holding(context.options);
  const Exit refused = holdAll(holding, lobby, wanted);
  if (refused != kDone) return holding.end(context.output, refused);

  if (context.options.json) {
    context.output.printDocument(asJson(holding));
  } else {
    const bool people = context.output.forPeople(context.options);
    context.output.print("holding " + holding.inWords() + (people ? ", until Ctrl-C\n" : "\n"));
  }
  if (!context.output.flush()) return holding.end(context.output, kFailed);
  const int signal = signals.wait().number;
  return holding.end(context.output, exitBySignal(signal));
}

}  // namespace

void addWith(CLI::App& app, Context& context, Command& chosen,
             const std::vector<std::string>& command) {
  CLI::App* with = app.add_subcommand(
      "with",
      "Hold a lobby, and maybe a room and a project, while a COMMAND runs: with LOBBY -- "
      "COMMAND…");
  with->formatter(std::make_shared<UsageOfWith>());
  const auto wanted = std::make_shared<Wanted>();
  with->add_option("LOBBY", wanted->lobby, "To log in to")->required();
  addWanted(*with, *wanted);
  with->footer(
      "What follows -- is run as it stands, with the lobby's name in MISCDISC_LOBBY.  Its\n"
      "exit code is passed on; 128 + n when signal n ended it, 127 when it is not found,\n"
      "126 when it cannot be run.  When it is not run: 6 the login was refused, 5 the\n"
      "room or project is held by somebody else, 4 there is none, 3 no answer.");
  with->callback([&context, &chosen, &command, wanted] {
    chosen = [&context, &command, wanted] { return runWith(context, *wanted, command); };
  });
}

void addHold(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* command = app.add_subcommand(
      "hold", "Hold a lobby, and maybe a room and a project, until HUP, INT or TERM");
  const auto wanted = std::make_shared<Wanted>();
  command->add_option("LOBBY", wanted->lobby,
                      "Instead of the configured one; \"\": a room or project of the local space");
  addWanted(*command, *wanted);
  command->callback([&context, &chosen, wanted] {
    chosen = [&context, wanted] { return runHold(context, *wanted); };
  });
}

void addRoomGo(CLI::App& room, Context& context, Command& chosen) {
  CLI::App* go =
      room.add_subcommand("go", "Be in a room of the configured lobby until HUP, INT or TERM");
  const auto wanted = std::make_shared<Wanted>();
  go->add_option("ROOM", wanted->room,
                 "Its name, or its path from the lobby; with --yes also one that is not made yet")
      ->required();
  go->callback([&context, &chosen, wanted] {
    chosen = [&context, wanted] { return runHold(context, *wanted); };
  });
}

}  // namespace console
