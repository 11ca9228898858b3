// The cached folders of drives, as the reading commands see them.
#pragma once

#include <string>
#include <vector>

#include "console/drives.h"
#include "miscdisc/dircache/system_cache.h"

namespace console {

// "E, F, #1".
std::string labelsOf(const std::vector<Drive>& drives);

struct CachedFolder {
  std::string drive;  // its id, as people see it
  bool present;       // the drive is
  bool readable;      // its contents are known: false on an absent drive, and after a failure,
                      // which leaves what was read until then
  directory_cache* directory;  // null on an absent drive
  std::string name;            // "material" or "sound"
  WString path;                // native, with the separator

  int count() const { return directory ? directory->count() : 0; }
};

// Reads the media folders of the drives into the process's cache and says on standard error what
// could not be read; a folder that does not exist holds nothing.  In the order of the drives.
std::vector<CachedFolder> readVolumes(const Options& options, const std::vector<Drive>& drives);

bool allRead(const std::vector<CachedFolder>& folders);

}  // namespace console
