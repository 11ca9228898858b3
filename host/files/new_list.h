// A list file in the making.
#pragma once

#include <string>

#include "host/files/open_file.h"
#include "miscdisc/platform/file_manager.h"

namespace host {

// Opens a new list for writing.  What is written goes into a temporary file beside the path, which
// gets the name when the handle is closed: whoever looks meanwhile, or after a crash, finds no list
// or the whole one.  A write that failed leaves none.
//
// A file may have the name by then, or have it already: who enters a lobby that is still being
// made, and adds a location, makes its list, too.  Nothing is replaced: the lines that the other
// list lacks are added to it, as TextFile adds lines, and both machines keep theirs.
//
// Null, with errno set, when nothing can be written in the folder.  The path is native and in the
// folder.
Qx::Ptr<iFile> openNewList(const std::string& path, const Folder& folder);

}  // namespace host
