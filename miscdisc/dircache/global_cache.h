// The directory cache of the process: the "Material" and "Sound" folders of every media volume.
//
// The first call that needs it fills it: volume by volume in the file-system layer's order, in
// each the material folder and then the sound folder, all of them read.  Volumes are only added;
// one that has gone stays, and is read again once it is present.
//
// Filling, and forcing it, must happen while no other thread uses the cache; everything else may
// be called from several threads.
#pragma once

#include "miscdisc/dircache/system_cache.h"

// The cache itself; never null, made by the first call, empty until it is filled.
MISCDISC_EXPORT system_cache* getSystemCache();

// Fills the cache; the second time only when forced.  Forcing adds what is new and reads what is
// not valid: listings that are there stay as they are, so who wants them fresh invalidates first.
MISCDISC_EXPORT void initialise_directory_caches(bool force);

// Fills the cache if need be, and reads what is not valid on every present volume.
MISCDISC_EXPORT void validate_directory_cache();

// Forgets all listings, or those of one volume; they are read again when they are needed.  An
// empty cache is not filled.
MISCDISC_EXPORT void invalidate_directory_cache();
MISCDISC_EXPORT void invalidate_directory_cache(wchar_t volume);

// Patch the cache by one file, given by its full path, while it is on the disk: adding after it
// was written, removing before it is deleted.  True when a listing was patched.  With notify, in
// network mode, the other machines are told, whether or not there was a listing to patch here.
MISCDISC_EXPORT bool add_file_to_directory_cache(const WString& path, bool notify);
MISCDISC_EXPORT bool remove_file_from_directory_cache(const WString& path, bool notify);
