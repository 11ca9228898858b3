// The console's side of the command map.
#pragma once

#include <string>
#include <vector>

#include "miscdisc/platform/values/export.h"

namespace host {

// Calls the function that was registered under the name; false when there is none.
MISCDISC_EXPORT bool runCommand(const std::string& name);

// The names that are registered, sorted.
MISCDISC_EXPORT std::vector<std::string> commandNames();

}  // namespace host
