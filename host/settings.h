// What people have written into config.toml.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/formats.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// Texts are bytes as they stand in the file; folders are absolute, without a separator at their
// end (except the root itself).
struct Settings {
  struct Volume {
    char letter;  // 'A' to 'Z'
    std::string folder;
  };
  struct Share {
    std::string network;  // "//server/share", with forward slashes
    std::string folder;
  };

  struct Messenger {
    std::string engine = "dbus";  // or "nats", "none"
    // Of nats alone.
    std::string url;
    std::string credentials, ca;  // full paths of files; empty: none
  };

  std::vector<Volume> volumes;             // [volumes], by letter
  bool discoverVolumes = true;             // [volumes] discover: mounted file systems too
  std::string quotaVolumes;                // [volumes] quota: letters, discovered ones included
  std::vector<Share> shares;               // [shares]
  std::string user;                        // [machine] user; empty: the login name
  bool shortNamesOnly = false;             // [listing] short_names_only
  bool allowLocalOnly = false;             // [locks] allow_local_only
  std::vector<std::string> remoteFolders;  // [locks] remote: treated as remote storage
  std::vector<RecordingFormat> formats;    // [formats], by name; see recordingFormats()
  Messenger messenger;                     // [messenger]
  // [drives] formats: those whose minutes people see, at least one, all of recordingFormats().
  std::vector<std::string> drivesFormats{"dv25", "hd8"};
  // [drives] low_minutes: a drive that holds less than this of the first of them is low.
  uint32_t lowMinutes = 30;
};

// The settings as last read; the file is read at the first call of the process.  Never null: a
// file that is missing gives the defaults, and so does one with anything wrong in it: half of what
// somebody meant is worse than none.  Entries that nobody here knows change nothing: a newer
// program may know them.  From any thread.
MISCDISC_EXPORT std::shared_ptr<const Settings> settings();

// Reads the file again; who holds the old settings keeps them.
MISCDISC_EXPORT void reloadSettings();

// Why config.toml or state.toml could not be read: "FILE:LINE:COLUMN: what was expected";
// empty when nothing is wrong.  One line per file.
MISCDISC_EXPORT std::string settingsProblem();

// The entries of config.toml that nobody here knows, in their order: "FILE:LINE:COLUMN: there is
// no section [volume]; did you mean [volumes]?".  None when something is wrong with the file.
MISCDISC_EXPORT std::vector<std::string> unknownSettings();

}  // namespace host
