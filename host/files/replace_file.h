// Replacing the contents of a file as a whole.
#pragma once

#include <string>

#include "host/files/open_file.h"

namespace host {

// The path of a new temporary file for the next contents of a file of that name: hidden, left out
// of listings, and removed by replaceFile when a crash has left it.
std::string temporaryBeside(const Folder& folder, const std::string& name);

// Puts the names in the folder on the disk.  A failure is logged, for nothing more can be done.
void syncFolder(const std::string& folder);

// Writes the bytes in place of the file: whoever reads meanwhile, or after a crash, finds the old
// contents or the new ones.  The new file has the old one's rights, as far as this user may give
// them.  False, with the old contents in place, when it cannot be written.
//
// Writers must take turns by a lock of their own.  The path is native, in the folder, and no
// symbolic link: a link would be replaced.  What crashed writers left beside it an hour ago or
// earlier is removed.
bool replaceFile(const std::string& path, const Folder& folder, const std::string& bytes);

}  // namespace host
