// The lock under which machines take turns at writing a list file.
#pragma once

#include <string>

#include "host/files/lock_file.h"
#include "host/files/open_file.h"

namespace host {

// On a hidden file beside the list, ".<name>.lk": an SMB server refuses to rename over a file that
// is held.  Waits 5 seconds for another writer; not held when that was not enough, or when locks
// exclude nobody there.  Whoever is done removes the guard with removeFile().
FileLock takeListGuard(const Folder& folder, const std::string& name);

}  // namespace host
