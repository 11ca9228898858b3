// The operating system's services as the library asks for them: OS() and OSPrivate().
#pragma once

#include <string>
#include <string_view>

#include "miscdisc/platform/values/export.h"

namespace host {

// May be part of a file name that a listing of login files shows.
MISCDISC_EXPORT bool validUserName(std::string_view name);

}  // namespace host
