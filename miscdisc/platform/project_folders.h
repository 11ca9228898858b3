// The folders in which the application works.  All of them end in the separator, whatever was
// set, since names are appended to them directly.
#pragma once

#include "miscdisc/platform/values/text.h"

// Setting an empty folder goes back to what it is until something is set.

// The root of the current project space, of this process; at first the local projects folder.
MISCDISC_EXPORT WString getProjectsBaseDirectory();
MISCDISC_EXPORT void setProjectsBaseDirectory(const WString& folder);

// The folder of local projects, kept from start to start.
MISCDISC_EXPORT WString getLocalProjectsDir();
MISCDISC_EXPORT void setLocalProjectsDir(const WString& folder);

// The one that is used until another is set.
MISCDISC_EXPORT WString getDefaultLocalProjectsDir();

// The bare name of the file that lists a project space's media locations and marks a lobby.
MISCDISC_EXPORT WString getMediaLocationsFilename();

// Where diagnostic dumps are written.
MISCDISC_EXPORT WString getDumpFolder();
