// Where this machine is, without reading a listing: what the status page shows, and reports.
#pragma once

#include <string>
#include <vector>

#include "console/drives_view.h"
#include "console/space.h"
#include "host/messenger/messenger.h"
#include "host/places.h"

namespace console {

struct Warning {
  std::string text;  // printable
  bool unseen;       // for this something is not shown, or not known
};

struct Status {
  WString user;
  host::Places home;
  Space space;
  bool networkMode;
  WString lobby;  // empty: none
  host::MessengerFacts messenger;
  DriveList list;
  Formats formats;
  std::vector<DriveView> drives;  // of the list
  std::vector<Warning> warnings;
  Exit exit = kDone;  // kIncomplete while anything is unseen; kUsage with a broken configuration
};

Status findStatus(const Options& options);

}  // namespace console
