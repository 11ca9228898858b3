#include "console/status.h"

#include <algorithm>

#include "console/messages.h"
#include "console/space_view.h"
#include "host/settings.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

void addUnseen(Status& status, const std::string& text) {
  status.warnings.push_back({text, true});
  status.exit = kIncomplete;
}

void addWarning(Status& status, const std::string& text) {
  status.warnings.push_back({text, false});
}

void addDriveWarnings(Status& status, const Options& options) {
  for (const std::string& fault : status.list.faults) addUnseen(status, fault);
  for (const DriveView& view : status.drives) {
    const Drive& drive = *view.drive;
    if (!drive.present()) {
      addUnseen(status, problemOf(drive, options));
    } else if (view.full.value_or(false)) {
      addWarning(status, "drive " + called(drive) + " is full");
    } else if (view.state == "low") {
      addWarning(status, "drive " + called(drive) + " has room for " +
                             std::to_string(view.minutes[0].value_or(0)) + " min of " +
                             status.formats[0].name + " only");
    }
  }
}

void addSpaceWarnings(Status& status, const Options& options) {
  const Space& space = status.space;
  if (space.answer != Space::Answer::kThere) {
    addUnseen(status, problemOf(space, options));
  } else if (status.networkMode && !space.lobby) {
    addUnseen(status, "the lobby " + printable(status.lobby) +
                          " is not there: " + printable(space.folder) + " holds no " +
                          printable(getMediaLocationsFilename()));
  }
  for (const std::string& fault : space.faults) addUnseen(status, fault);
  for (const std::string& sentence : leftovers(space)) addWarning(status, sentence);
}

void addSettingsWarnings(Status& status) {
  const std::string text = host::settingsProblem();
  for (size_t from = 0; from < text.size();) {
    const size_t end = std::min(text.find('\n', from), text.size());
    addWarning(status, printable(text.substr(from, end - from)));
    from = end + 1;
  }
  if (!text.empty()) status.exit = kUsage;
}

}  // namespace

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
  addDriveWarnings(status, options);
  addSpaceWarnings(status, options);
  addSettingsWarnings(status);
  return status;
}

}  // namespace console
