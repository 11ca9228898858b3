// Which lobby this machine works in.
#include <cstdlib>

#include "console/changes.h"
#include "console/holding.h"
#include "console/lobby_commands.h"
#include "console/space_commands.h"
#include "console/space_view.h"
#include "host/state_file.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {
namespace {

struct Arguments {
  std::string name;
  bool local = false;
};

WString folderOf(const std::string& lobby) {
  return LobbyUtils::getNetworkLobbyFullPath(Qx::WStringFromUTF8(lobby), true);
}

// Whether a program of this user works in the lobby; nothing: not known.
std::optional<bool> loggedIn(const Space& space) {
  if (space.answer == Space::Answer::kMissing) return false;
  if (space.answer != Space::Answer::kThere || !space.faults.empty()) return {};
  for (const Person& person : space.people) {
    if (!person.you || person.held == Held::kNo) continue;
    return person.held == Held::kYes ? std::optional(true) : std::nullopt;
  }
  return false;
}

// A program that works in the lobby reads its name at every step: under another name it would look
// for its files elsewhere.
Exit checkNobodyIsIn(const std::string& lobby, const Options& options) {
  if (lobby.empty()) return kDone;
  const Space space = lookAtPeople(folderOf(lobby), options);
  const auto in = loggedIn(space);
  const std::string shown = printable(lobby);
  if (!in && options.yes) return kDone;
  if (!in) {
    reportProblems(space, options);
    complain("so it is not known whether this user is logged in in the lobby " + shown +
             ".  Nothing was changed.  When no program of yours works there, say --yes.");
    return kRefused;
  }
  if (!*in) return kDone;
  complain("this user is logged in in the lobby " + shown +
           ", from a program that works there: it would lose its files.  End it first, or leave "
           "the lobby there.  Nothing was changed.");
  return kHeld;
}

// Stored as the library's own moves store it, and no more: those read listings and drives too,
// which one command has no use for and which may hang.
bool store(const std::string& from, const std::string& to) {
  if (to.empty() && !storeSetting(kLastLobbyNameKey, from)) return false;
  return storeSetting(kLobbyNameKey, to);
}

// An empty name: locally.
Exit change(Context& context, const std::string& to) {
  const Options& options = context.options;
  const std::string from = storedSetting(kLobbyNameKey);
  Changes changes(context);
  if (from == to) {
    remark(options, to.empty() ? "this machine works locally already"
                               : "the lobby is " + printable(to) + " already");
    return changes.say(kDone);
  }
  if (const Exit refusal = checkNobodyIsIn(from, options)) return refusal;
  if (!options.dryRun && !store(from, to)) return kFailed;
  const WString file = Qx::WStringFromUTF8(host::StateFile::instance().path());
  changes.add({to.empty() ? "clear" : "set", "", folderOf(to.empty() ? from : to), file});
  if (const char* held = std::getenv(kLobbyVariable); held && *held) {
    remark(options, "what is started from here still works in " + printable(held) + ", as " +
                        kLobbyVariable + " says; the change counts from the next program on");
  }
  return changes.say(kDone);
}

Exit use(Context& context, const Arguments& arguments) {
  if (arguments.local) return change(context, "");
  if (arguments.name.empty()) {
    complain("which lobby is not said.  Give its name, or --local for none.");
    return kUsage;
  }
  Exit exit = kFailed;
  if (!lobbyNamed(arguments.name, context.options, exit)) return exit;
  return change(context, arguments.name);
}

}  // namespace

void addLobbyUse(CLI::App& lobby, Context& context, Command& chosen) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* command =
      addSpaceCommand(lobby, chosen, "use", "Work in a lobby from the next program on, or locally",
                      [&context, arguments] { return use(context, *arguments); });
  CLI::Option* name = command->add_option("LOBBY", arguments->name, "Its name");
  command->add_flag("--local", arguments->local, "In none")->excludes(name);
}

}  // namespace console
