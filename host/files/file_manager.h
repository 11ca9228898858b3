// The platform's file manager on Linux.
#pragma once

#include <string>

#include "miscdisc/platform/file_manager.h"

namespace host {

// One object for all, without state; it may be asked at any time.
iFileManager& fileManager();

// Why the last open of this thread failed, and of what: "PATH: Permission denied".
MISCDISC_EXPORT std::string lastOpenFailure();

// The same as a number of the system: EAGAIN when somebody else holds the lock, ENOLCK where locks
// exclude no other machine.
MISCDISC_EXPORT int lastOpenError();

}  // namespace host
