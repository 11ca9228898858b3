// Walks every cached file: volumes, directories and files, each in the order of its list.
//
// Directories that are not valid contribute nothing.  The walk takes no lock: nobody may
// invalidate or patch the cache meanwhile.
#pragma once

#include "miscdisc/dircache/system_cache.h"

class MISCDISC_EXPORT SystemCacheIterator {
 public:
  // Stands on the first file of the directories that are valid by now, and then reads the others
  // for the rest of the walk.
  explicit SystemCacheIterator(system_cache* systemCache);

  file_info* next();  // null at the end; kept in file

  // Where the walk stands; null where it stands nowhere.
  system_cache* cache;
  volume_cache* volume;
  directory_cache* directory;
  DirectoryIterator files;
  file_info* file;

 private:
  // Each gives the first one for null, and null past the last.
  file_info* getNextFile_(file_info* current);
  directory_cache* getNextDirectory_(directory_cache* current);
  volume_cache* getNextVolume_(volume_cache* current);
};
