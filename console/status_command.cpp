#include "console/commands.h"
#include "console/messages.h"
#include "console/space_view.h"
#include "console/status.h"
#include "miscdisc/frame/version.h"

namespace console {
namespace {

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
  document["warnings"] = Json::array();
  for (const Warning& warning : status.warnings) document["warnings"].push_back(warning.text);
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
  for (const Warning& warning : status.warnings) {
    line("warning", color ? "\033[33m" + warning.text + "\033[0m" : warning.text);
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
