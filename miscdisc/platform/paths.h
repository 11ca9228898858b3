// Paths, and the simple questions about what they name.
#pragma once

#include "miscdisc/platform/values/text.h"
#include "miscdisc/platform/values/vector.h"

// The folder of a path, up to and including the last separator; empty when there is none.
MISCDISC_EXPORT WString getPath(const WString& path);

// The last component of a path: what follows the last separator.
MISCDISC_EXPORT WString stripPath(const WString& path);

// With exactly one separator between the two, however many they bring; an empty one adds none.
MISCDISC_EXPORT WString joinPaths(const WString& folder, const WString& name);

// A file or folder of that name is there, as shared storage has it now.
MISCDISC_EXPORT bool fileExists(const WString& path);

// Deletes a folder and everything in it.  Symbolic links are deleted, never followed.  What
// somebody else deletes meanwhile is deleted.
MISCDISC_EXPORT bool deleteDirectory(const WString& path);

// The bare names of the entries directly inside a folder that match the pattern, added to names.
// Flags are the selector bits of Directory; sub-folders are among the entries with bit 0x10.
MISCDISC_EXPORT void getDirectoryContents(const WString& folder, const WString& pattern,
                                          Vector<WString>& names, unsigned flags);
