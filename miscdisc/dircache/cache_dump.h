// The console command "debugFileSystemCache": the names of all cached files, one per line between
// angle brackets, in a file "cache0.txt" of the platform's dump folder; the next dump of the
// process is "cache1.txt", and so on, also after one that could not be written.
#pragma once

#include "miscdisc/platform/values/export.h"

// A cache that nobody has filled gives an empty file.  The argument is ignored.
MISCDISC_EXPORT void debugFileSystemCache(void*);
