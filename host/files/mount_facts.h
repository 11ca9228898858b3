// What locks and modes are worth on the file system that holds a folder.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "miscdisc/platform/values/export.h"

namespace host {

struct MountFacts {
  bool remote = false;          // other machines may write there
  bool locksStayLocal = false;  // a lock that is taken here excludes nobody on them
  bool ownModes = true;         // false: one mode for all files, so that its bits tell nothing
  std::string name;             // "nfs4 (local_lock=all)", for people; empty on local storage
};

// Facts of the device that holds the folder, read once and again when anything is mounted or
// unmounted.  A folder that config.toml declares remote is remote.  Where the folder gives no
// answer it counts as remote, without locks, and the next question asks again.  From any thread.
MISCDISC_EXPORT MountFacts mountFacts(const std::string& folder, dev_t device);

// Whether a mount of that type and those comma-separated options keeps its locks to itself.
MISCDISC_EXPORT bool keepsLocksLocal(std::string_view type, std::string_view options);

}  // namespace host
