// Who is in a lobby: each machine that works in it keeps a login file, <user>.cli, open in the
// lobby's folder.  The others count these files.
//
// Nothing is written into the file; one that a crashed machine left behind still counts.  Failures
// are false results.  Not thread-safe: called on the user-interface thread.
#pragma once

#include "miscdisc/platform/file_manager.h"

// The open login file; null, or not valid, while none is held.
MISCDISC_EXPORT extern Qx::Ptr<iFile> lockFilehandle;

// A process number for other modules; the library itself neither sets nor reads it.
MISCDISC_EXPORT extern int glib_pid;

// This user's login file in a folder; the separator is added where the folder lacks it.
MISCDISC_EXPORT WString getNetLoginLockFileName(const WString& folder);

// True when this machine is logged in with a file in the folder.  False, with an earlier login's
// file left on the disk but no longer open, when the file cannot be opened.
//
// A login while logged in closes the new file and deletes the earlier one: into another folder the
// new file stays on the disk, not open; into the same folder there is none at the end.
MISCDISC_EXPORT bool NetLogin(const WString& folder);

// Closes and deletes the login file, if there is a login.  Always true.
MISCDISC_EXPORT bool NetLogout();
