#include "console/commands.h"
#include "console/volumes.h"
#include "host/places.h"
#include "host/settings.h"
#include "miscdisc/frame/version.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

struct VolumeStatus {
  std::string label;
  WString path;
  bool present;
  std::optional<VOLUME_INFO> space;
};

// Where this machine is, without reading a listing.
struct Status {
  WString user;
  host::Places home;
  WString space;
  bool networkMode;
  WString lobby;
  std::vector<VolumeStatus> volumes;
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

VolumeStatus statusOf(wchar_t id) {
  VolumeStatus status{volumeLabel(id), {}, FsysIsVolumePresent(id), {}};
  FsysGetMaterialVolumeName(id, status.path, false);
  VOLUME_INFO space;
  if (FsysGetVolInfo(id, &space)) status.space = space;
  return status;
}

Status findStatus() {
  enterConfiguredSpace();
  Status status;
  status.user = OS()->getUserName();
  status.home = host::places();
  status.space = getProjectsBaseDirectory();
  status.networkMode = LobbyUtils::machineIsInNetworkMode();
  status.lobby = LobbyUtils::getCurrentNetworkLobbyName();
  for (wchar_t id : allVolumes()) {
    status.volumes.push_back(statusOf(id));
    const VolumeStatus& volume = status.volumes.back();
    if (volume.present) continue;
    status.exit = kIncomplete;
    status.warnings.push_back("volume " + volume.label +
                              " is not present: " + printable(volume.path) + " is no folder");
  }
  if (status.networkMode && !LobbyUtils::isNetworkLobby(status.space)) {
    status.warnings.push_back("the lobby " + printable(status.lobby) +
                              " is not there: " + printable(status.space) + " holds no " +
                              printable(getMediaLocationsFilename()));
  }
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
  addText(document, "space", status.space);
  document["network_mode"] = status.networkMode;
  document["lobby"] = nullptr;
  if (!status.lobby.empty()) addText(document, "lobby", status.lobby);
  document["volumes"] = Json::array();
  for (const VolumeStatus& volume : status.volumes) {
    Json entry{{"id", volume.label}};
    addText(entry, "path", volume.path);
    entry["present"] = volume.present;
    entry["free"] = nullptr;
    entry["capacity"] = nullptr;
    if (volume.space) {
      entry["free"] = volume.space->freeBytes;
      entry["capacity"] = volume.space->totalBytes;
    }
    document["volumes"].push_back(std::move(entry));
  }
  document["warnings"] = status.warnings;
  return document;
}

// Unknown figures are "-".
std::string figure(const std::optional<VOLUME_INFO>& space, uint64_t VOLUME_INFO::*which,
                   bool people) {
  if (!space) return "-";
  return people ? withUnit((*space).*which) : std::to_string((*space).*which);
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
  line("project space", printable(status.space));
  line("network mode", status.networkMode ? "yes" : "no");
  line("lobby", status.lobby.empty() ? "-" : printable(status.lobby));
  if (people) context.output.print("\n");

  std::vector<std::vector<std::string>> rows;
  for (const VolumeStatus& volume : status.volumes) {
    std::vector<std::string> row{volume.label, volume.present ? "present" : "not present",
                                 figure(volume.space, &VOLUME_INFO::freeBytes, people),
                                 figure(volume.space, &VOLUME_INFO::totalBytes, people),
                                 printable(volume.path)};
    if (!people) row.insert(row.begin(), "volume");
    rows.push_back(std::move(row));
  }
  context.output.printTable(options, {"VOLUME", "STATE", "FREE", "CAPACITY", "PATH"}, rows);

  if (people && !status.warnings.empty()) context.output.print("\n");
  for (const std::string& warning : status.warnings) {
    line("warning", color ? "\033[33m" + warning + "\033[0m" : warning);
  }
}

}  // namespace

Exit showStatus(Context& context) {
  const Status status = findStatus();
  if (context.options.json) {
    context.output.printDocument(asJson(status));
  } else {
    show(context, status);
  }
  return status.exit;
}

void addStatus(CLI::App& app, Context& context, Command& chosen) {
  app.add_subcommand("status", "Where am I, which volumes are there (the default)")->callback([&] {
    chosen = [&context] { return showStatus(context); };
  });
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
