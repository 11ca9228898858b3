// What the host takes for the name of a user.
#pragma once

#include <string_view>

#include "miscdisc/platform/values/export.h"

namespace host {

// A login file can be named by it, and a listing shows that file.
MISCDISC_EXPORT bool validUserName(std::string_view name);

}  // namespace host
