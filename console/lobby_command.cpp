// Lobbies: which there are, and who is in them.
#include <algorithm>

#include "console/lobby_commands.h"
#include "console/space_commands.h"
#include "console/space_view.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {
namespace {

std::optional<size_t> liveIn(const Space& space) {
  if (space.answer != Space::Answer::kThere) return {};
  size_t live = 0;
  for (const Person& person : space.people) {
    if (person.held == Held::kUnknown) return {};
    if (person.held == Held::kYes) ++live;
  }
  return live;
}

std::optional<size_t> loginsIn(const Space& space) {
  if (space.answer != Space::Answer::kThere) return {};
  return space.people.size();
}

bool isCurrent(const Lobby& lobby) {
  return lobby.name == LobbyUtils::getCurrentNetworkLobbyName();
}

Json numberOrNull(const std::optional<size_t>& number) {
  return number ? Json(*number) : Json(nullptr);
}

std::string cell(const std::optional<size_t>& number) {
  return number ? std::to_string(*number) : "-";
}

Json asJson(const std::vector<Lobby>& lobbies) {
  Json document{{"schema", "miscdisc.lobbies/1"}};
  addText(document, "root", LobbyUtils::getNetworkProjectsRoot());
  document["lobbies"] = Json::array();
  for (const Lobby& lobby : lobbies) {
    Json object;
    addText(object, "name", lobby.name);
    addText(object, "path", lobby.space.folder);
    object["live"] = numberOrNull(liveIn(lobby.space));
    object["people"] = numberOrNull(loginsIn(lobby.space));
    object["current"] = isCurrent(lobby);
    document["lobbies"].push_back(object);
  }
  return document;
}

std::vector<std::vector<std::string>> rowsOf(const std::vector<Lobby>& lobbies) {
  std::vector<std::vector<std::string>> rows;
  for (const Lobby& lobby : lobbies) {
    rows.push_back({printable(lobby.name), cell(liveIn(lobby.space)), cell(loginsIn(lobby.space)),
                    isCurrent(lobby) ? "yes" : "no", printable(lobby.space.folder)});
  }
  return rows;
}

Exit list(Context& context) {
  const Options& options = context.options;
  Exit exit = kFailed;
  const auto found = lobbies(options, exit);
  if (!found) return exit;
  if (options.json) {
    context.output.printDocument(asJson(*found));
  } else {
    context.output.printTable(options, {"LOBBY", "IN IT", "LOGINS", "CURRENT", "PATH"},
                              rowsOf(*found));
  }
  if (found->empty() && !options.json) {
    remark(options, "no lobbies in " + printable(LobbyUtils::getNetworkProjectsRoot()) +
                        ": mount it if there should be some, or make one with "
                        "\"miscdisc lobby create NAME\"");
  }
  for (const Lobby& lobby : *found) exit = std::max(exit, reportProblems(lobby.space, options));
  const WString current = LobbyUtils::getCurrentNetworkLobbyName();
  if (!current.empty() && std::none_of(found->begin(), found->end(), isCurrent)) {
    remark(options, "the current lobby " + printable(current) +
                        " is not among them.  \"miscdisc lobby use\" chooses another.");
  }
  return exit;
}

// The one that is named, else the current one.
std::optional<std::string> lobbyMeant(const std::string& given) {
  if (!given.empty()) return given;
  const WString current = LobbyUtils::getCurrentNetworkLobbyName();
  if (!current.empty()) return Qx::UTF8FromWString(current);
  complain(
      "this machine works locally, so there is no current lobby.  Name one: \"miscdisc lobby "
      "list\" shows which there are.");
  return {};
}

Exit show(Context& context, const std::string& given) {
  const Options& options = context.options;
  const auto name = lobbyMeant(given);
  if (!name) return kNotFound;
  Exit exit = kFailed;
  const auto space = lobbyNamed(*name, options, exit);
  if (!space) return exit;
  if (options.json) {
    Json document{{"schema", "miscdisc.lobby/1"}};
    addText(document, "name", Qx::WStringFromUTF8(*name));
    addText(document, "path", space->folder);
    document["people"] = peopleOf(*space);
    document["locks"] = locksOf(*space);
    context.output.printDocument(document);
  } else {
    printPeopleAndLocks(context, *space);
  }
  for (const std::string& sentence : leftovers(*space)) remark(options, sentence);
  return reportProblems(*space, options);
}

}  // namespace

void addLobbyReading(CLI::App& lobby, Context& context, Command& chosen) {
  addSpaceCommand(lobby, chosen, "list", "Which lobbies there are, and how many are in them",
                  [&context] { return list(context); });
  const auto name = std::make_shared<std::string>();
  addSpaceCommand(lobby, chosen, "show", "Who is in a lobby, and what they hold", [&context, name] {
    return show(context, *name);
  })->add_option("LOBBY", *name, "Its name: the current one unless given");
}

void addLobby(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* lobby = app.add_subcommand("lobby", "Look at the lobbies, or change them");
  lobby->require_subcommand(1);
  addLobbyReading(*lobby, context, chosen);
  addLobbyUse(*lobby, context, chosen);
  addLobbyFolders(*lobby, context, chosen);
}

}  // namespace console
