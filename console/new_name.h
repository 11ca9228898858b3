// What is made on a drive: its media folders, and its name, which lies in them.
#pragma once

#include "console/changes.h"
#include "console/drives.h"

namespace console {

// False, after saying so, for a name that could not be read back or would spoil a list.
bool mayBeName(const WString& name);

// Why a drive in this folder could not keep a name, or make the media folders for it; empty when it
// could.
std::string whyNotNamed(const WString& folder, const Options& options);

// That it lacks media folders, and what makes them; empty for one that has both.
// REQUIRES: drive.present(), or nothing is changed.
std::string whatIsUnprepared(const Drive& drive, const Options& options);

// Makes those that are missing; when none is, that is said.
Exit makeMediaFolders(const Drive& drive, const Options& options, Changes& changes);

// Stores the name on the drive and reads it back.  An empty one takes the name away.
Exit renameDrive(const DriveList& list, const Drive& drive, const WString& name,
                 const Options& options, Changes& changes);

}  // namespace console
