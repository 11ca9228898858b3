#include "console/commands.h"
#include "console/drives_view.h"
#include "console/messages.h"
#include "console/space_view.h"
#include "host/places.h"
#include "host/settings.h"
#include "miscdisc/frame/version.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

// Where this machine is, without reading a listing.
struct Status {
  WString user;
  host::Places home;
  Space space;
  bool networkMode;
  WString lobby;
  host::MessengerFacts messenger;
  DriveList list;
  Formats formats;
  std::vector<DriveView> drives;      // of the list
  std::vector<std::string> warnings;  // printable
  Exit exit = kDone;
};

void addLines(std::vector<std::string>& warnings, const std::string& text) {
  for (size_t from = 0; from < text.size();) {
    const size_t end = std::min(text.find('\n', from), text.size());
    warnings.push_back(printable(text.substr(from, end - from)));
    from = end + 1;
  }
}

void addWarnings(Status& status, const Options& options) {
  for (const std::string& fault : status.list.faults) {
    status.warnings.push_back(fault);
    status.exit = kIncomplete;
  }
  for (const DriveView& view : status.drives) {
    const Drive& drive = *view.drive;
    if (!drive.present()) {
      status.warnings.push_back(problemOf(drive, options));
      status.exit = kIncomplete;
    } else if (view.full.value_or(false)) {
      status.warnings.push_back("drive " + called(drive) + " is full");
    } else if (view.state == "low") {
      status.warnings.push_back("drive " + called(drive) + " has room for " +
                                std::to_string(view.minutes[0].value_or(0)) + " min of " +
                                status.formats[0].name + " only");
    }
  }
}

void addSpaceWarnings(Status& status, const Options& options) {
  const Space& space = status.space;
  if (space.answer != Space::Answer::kThere) {
    status.warnings.push_back(problemOf(space, options));
    status.exit = kIncomplete;
  } else if (status.networkMode && !space.lobby) {
    status.warnings.push_back("the lobby " + printable(status.lobby) +
                              " is not there: " + printable(space.folder) + " holds no " +
                              printable(getMediaLocationsFilename()));
    status.exit = kIncomplete;
  }
  for (const std::string& fault : space.faults) {
    status.warnings.push_back(fault);
    status.exit = kIncomplete;
  }
  for (const std::string& sentence : leftovers(space)) status.warnings.push_back(sentence);
}

Status findStatus(const Options& options) {
  Status status;
  status.list = enterConfiguredSpace(options);
  status.formats = chooseFormats({}).value_or(Formats());
  status.drives = viewsOf(status.list, status.formats);
  status.user = OS()->getUserName();
  status.home = host::places();
  status.space = lookAtConfiguredSpace(options);
  status.networkMode = LobbyUtils::machineIsInNetworkMode();
  status.lobby = LobbyUtils::getCurrentNetworkLobbyName();
  status.messenger = lookAtMessenger(options);
  addWarnings(status, options);
  addSpaceWarnings(status, options);
  const std::string problem = host::settingsProblem();
  addLines(status.warnings, problem);
  if (!problem.empty()) status.exit = kUsage;
  return status;
}

Json asJson(const Status& status) {
  Json document{{"schema", "miscdisc.status/1"}};
  addText(document, "user", status.user);
  Json home;
  addText(home, "config", Qx::WStringFromUTF8(status.home.config));
  addText(home, "state", Qx::WStringFromUTF8(status.home.state));
  addText(home, "data", Qx::WStringFromUTF8(status.home.data));
  document["home"] = std::move(home);
  addText(document, "space", status.space.folder);
  document["network_mode"] = status.networkMode;
  document["lobby"] = nullptr;
  if (!status.lobby.empty()) addText(document, "lobby", status.lobby);
  document["messenger"] = withCounts(status.messenger);
  document["drives"] = Json::array();
  for (const DriveView& view : status.drives) {
    document["drives"].push_back(asJson(view, status.formats));
  }
  document["people"] = peopleOf(status.space);
  document["locks"] = locksOf(status.space);
  document["warnings"] = status.warnings;
  return document;
}

void show(Context& context, const Status& status) {
  const Options& options = context.options;
  const bool people = context.output.forPeople(options);
  const bool color = context.output.colored(options);
  const bool oneHome = status.home.config == status.home.data;

  const auto line = [&](const std::string& what, const std::string& text) {
    const std::string gap = people ? std::string(15 - what.size(), ' ') : "\t";
    context.output.print(what + gap + text + "\n");
  };
  line("user", printable(status.user));
  line("home", printable(oneHome ? status.home.data : status.home.config));
  if (!oneHome) {
    line("state", printable(status.home.state));
    line("data", printable(status.home.data));
  }
  line("project space", printable(status.space.folder));
  line("network mode", status.networkMode ? "yes" : "no");
  line("lobby", status.lobby.empty() ? "-" : printable(status.lobby));
  line("messenger", messengerInWords(status.messenger));
  if (people) context.output.print("\n");

  std::vector<std::vector<std::string>> rows;
  for (const DriveView& view : status.drives) {
    rows.push_back(driveCells(view, people));
    if (!people) rows.back().insert(rows.back().begin(), "drive");
  }
  context.output.printTable(options, driveHeading(status.formats, people), rows);
  const bool anybody = !status.space.people.empty() || !status.space.locks.empty();
  if (people && anybody) context.output.print("\n");
  printPeopleAndLocks(context, status.space);

  if (people && !status.warnings.empty()) context.output.print("\n");
  for (const std::string& warning : status.warnings) {
    line("warning", color ? "\033[33m" + warning + "\033[0m" : warning);
  }
}

}  // namespace

Exit showStatus(Context& context) {
  const Status status = findStatus(context.options);
  if (context.options.json) {
    context.output.printDocument(asJson(status));
  } else {
    show(context, status);
  }
  return status.exit;
}

void addStatus(CLI::App& app, Context& context, Command& chosen) {
  app.add_subcommand("status", "Where am I, which drives, people and locks are there (the default)")
      ->callback([&] { chosen = [&context] { return showStatus(context); }; });
}

void addVersion(CLI::App& app, Context& context, Command& chosen) {
  const auto show = [&context] {
    if (context.options.json) {
      context.output.printDocument(Json{{"schema", "miscdisc.version/1"},
                                        {"version", MISCDISC_VERSION},
                                        {"library", miscdiscDllVersionStr()}});
    } else {
      context.output.print(std::string("miscdisc " MISCDISC_VERSION ", library ") +
                           miscdiscDllVersionStr() + "\n");
    }
    return kDone;
  };
  app.add_subcommand("version", "Which miscdisc this is")->callback([&chosen, show] {
    chosen = show;
  });
}

}  // namespace console
