// The cached listing of one directory.
//
//   not valid --validate(), find()--> valid --invalidate()--> not valid
//
// Valid means that the directory was read since the last invalidate(), however long ago: there is
// no time stamp and no re-read.  A directory that is missing or cannot be read lists nothing and
// is valid all the same.  What the file-system library throws passes to the caller, with the lock
// released and the state as it was.
//
// Entries handed out belong to the listing and die at invalidate().  Operations of one directory
// take turns by its own lock; those of different directories run in parallel.
#pragma once

#include <atomic>

#include "miscdisc/dircache/directory_criteria.h"
#include "miscdisc/dircache/directory_spec.h"
#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/values/critical_section.h"
#include "miscdisc/platform/values/dllist.h"

class volume_cache;

class MISCDISC_EXPORT directory_cache : public DLListRec, public directory_spec {
 public:
  // Reads nothing.  The volume is the one whose list will hold this record; it is not used.
  directory_cache(const directory_spec& spec, const directory_criteria& criteria,
                  volume_cache* volume);

  // A loaded listing is left alive: records go only when the process ends, and entries that were
  // handed out stay readable to the last.
  ~directory_cache() override;

  void validate();
  void invalidate();

  file_info* find(const WString& name);  // reads the directory if it is not valid; null: not there
  unsigned int count();                  // 0 when not valid: counting reads nothing

  // Patch a loaded listing by one file, given by its full path, whose details are taken from the
  // disk.  False when the directory is not valid, and when the file is not on the disk: a file
  // that was deleted first can no longer be taken out of the listing.
  bool addFile(const WString& path);
  bool removeFile(const WString& path);

  // The listing as it is at this moment, or null, without taking the lock.
  Directory* currentListing() const { return listing; }

 private:
  CriticalSection lock;  // re-entrant: find() holds it around validate()
  std::atomic<Directory*> listing;
  [[maybe_unused]] volume_cache* volume;
  directory_criteria criteria;
};
