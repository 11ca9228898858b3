// How much room a folder has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// What a user may hold on a file system, in bytes; a limit of 0 is none.
struct Quota {
  uint64_t hardLimit = 0;
  uint64_t softLimit = 0;
  uint64_t used = 0;
};

// Ask the kernel, and wait as long as the mount takes.  Nothing when the folder cannot be measured;
// nothing when its file system keeps no quota of this user, or none that can be asked for here.
std::optional<VOLUME_INFO> measureSpace(const std::string& folder);
MISCDISC_EXPORT std::optional<Quota> quotaOfUser(const std::string& folder);

// The hard limit counts, and the soft one where there is no other: going over it is for a time.
MISCDISC_EXPORT VOLUME_INFO withinQuota(const VOLUME_INFO& space, const Quota& quota);

}  // namespace host
