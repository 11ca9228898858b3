// The file-system layer: media volumes, and file names by volume.
//
// A volume is a folder that holds media, under a one-character id: 'A' to 'Z' for volumes that
// were discovered, above 'Z' for folders mounted as media locations.  A layer file name is the
// id, ":", the separator and a path inside the volume; a native file name is what the operating
// system opens.
//
// Storage may hang.  Functions that ask it wait for a limited time and then take its volume for one
// that cannot be reached; the others go on as ever.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/text.h"

struct VOLUME_INFO {
  uint64_t freeBytes = 0;  // what this user may still write
  uint64_t totalBytes = 0;
};

// Walk the volumes: First stores the first id; Next takes the id it is given and stores the one
// that follows.  False, with nothing stored, when there is none.
MISCDISC_EXPORT bool FsysGetFirstMaterialVolume(wchar_t* id);
MISCDISC_EXPORT bool FsysGetNextMaterialVolume(wchar_t* id);

// The volume can be reached: it has answered just now.
MISCDISC_EXPORT bool FsysIsVolumePresent(wchar_t id);

// False when the volume cannot be measured.  Nothing is stored then, unless its storage hangs and
// this process measured it before: info gets the figures of that time.
MISCDISC_EXPORT bool FsysGetVolInfo(wchar_t id, VOLUME_INFO* info);

// The volume's native path, without a separator at its end, stored in path and returned; empty
// for an unknown id.  The flag is reserved: every caller passes false.
MISCDISC_EXPORT const WString& FsysGetMaterialVolumeName(wchar_t id, WString& path, bool flag);

// Layer file names become native ones; any other text stays as it is.
MISCDISC_EXPORT WString FsysFilenameToWin32Filename(const WString& path);

// A layer or native file name becomes its network form, two backslashes, server, share and path
// with backslashes; a path on no share has this host's name in place of server and share.  Back,
// such a form becomes the layer file name that this machine uses for the file, or its native path
// where that is on no volume.  The form of an unknown server or share, and a text that is no path,
// come back as they are.
MISCDISC_EXPORT WString FsysConvertLocalToUNC(const WString& path);
MISCDISC_EXPORT WString FsysConvertUNCtoFsysFilename(const WString& path);

// Everything a volume needs to hold media: its "Material" and "Sound" folders.  False, too, when it
// cannot be reached.
MISCDISC_EXPORT bool FsysIsVolumePreparedForMedia(wchar_t id);
MISCDISC_EXPORT bool FsysPrepareVolumeForMedia(wchar_t id);

// Mounts a folder as a volume and stores its id: 1.  Any other result is a refusal, with nothing
// stored: the folder does not exist, is no folder, does not answer, or is a volume already.
MISCDISC_EXPORT int FsysAddMaterialVolume(const WString& folder, wchar_t* id);

// Forgets a volume until the next FsysReInitialize; its folder stays.
MISCDISC_EXPORT void FsysDeleteMaterialVolume(wchar_t id);

// False only for what FsysAddMaterialVolume mounted.
MISCDISC_EXPORT bool FsysIsVolumeAutoDiscovered(wchar_t id);

// Forgets the mounted folders, reads the settings and finds the volumes again.  The flag tells
// whether the machine goes on in network mode.
MISCDISC_EXPORT void FsysReInitialize(bool networkMode);

// Makes the process's user the owner of a new login file, where files have owners.
MISCDISC_EXPORT void FsysSetFileOwner(const WString& path);
