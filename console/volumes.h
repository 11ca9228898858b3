// The volumes and their cached folders, as the reading commands see them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/context.h"
#include "miscdisc/dircache/system_cache.h"

namespace console {

// As people see and type it: "E", or "#1" for a media location.
std::string volumeLabel(wchar_t id);

std::vector<wchar_t> allVolumes();

// The volume that people mean by a label, in either letter case; nothing when there is none.
std::optional<wchar_t> volumeFromLabel(const std::string& label);

// "E, F, #1".
std::string labelsOf(const std::vector<wchar_t>& volumes);

// Works where the configuration says, in memory only: nobody is logged in.
void enterConfiguredSpace();

// True, after saying what is wrong, while a configuration file cannot be used.
bool configurationIsBroken();

struct CachedFolder {
  wchar_t volume;
  bool present;   // the volume is
  bool readable;  // its contents are known: false on an absent volume, and after a failure,
                  // which leaves what was read until then
  directory_cache* directory;
  std::string name;  // "material" or "sound"
  WString path;      // native
};

// Reads the media folders of the volumes into the process's cache and says on standard error what
// could not be read; a folder that does not exist holds nothing.  In the order of the volumes.
std::vector<CachedFolder> readVolumes(const Options& options, const std::vector<wchar_t>& volumes);

bool allRead(const std::vector<CachedFolder>& folders);

}  // namespace console
