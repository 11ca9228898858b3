// Files, by path.
//
// A failure is a false result, or a handle that is null or not valid: nothing here throws for
// what a file system does.  All operations may be called from any thread.
//
// A path without a leading separator lies in the projects base directory of the moment, whatever
// the operation; an empty one names nothing.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/ref_count.h"
#include "miscdisc/platform/values/text.h"
#include "miscdisc/platform/values/vector.h"

// An open file; it is closed when its last pointer goes.
class MISCDISC_EXPORT iFile : public iObject {
 public:
  virtual bool valid() const = 0;  // the open succeeded; the other operations need it
  virtual int64_t size() = 0;      // bytes; 0 when the file cannot tell
  // From the current position; the count that was read, less than asked for at the end.
  virtual size_t read(void* bytes, size_t count) = 0;
  // At the current position; true when all bytes were written.
  virtual bool write(const void* bytes, size_t count) = 0;
};

class MISCDISC_EXPORT iFileManager {
 public:
  // What list() gives for a file.
  struct DirectoryItem {
    WString name;         // with its extension, without a path
    uint32_t attributes;  // bit 2: the file is marked
  };

  virtual wchar_t getPathSeparator() = 0;

  // Opens a file.
  //
  //   access    0 read, 1 write, 2 both
  //   creation  0 open or create, contents kept; 1 open, created only with write access;
  //             4 create or truncate
  //   access 1 with creation 1: a new list.  It appears under its name when the handle is closed,
  //             whole, and not at all when a write failed.  Where a file has the name by then,
  //             the lines that it lacks are added to it.
  //   sharing 3 with flags 32: this open is a lock, exclusive with creation 0, shared with
  //             creation 4, held until the handle is closed.  While another machine, or this
  //             process, holds a lock that excludes it, the open fails.  An exclusive one of a
  //             file that was there deletes the information file of its former holder.
  //   sharing 1 with flags 32: a probe.  Valid when the lock file could be opened; it creates
  //             nothing, holds nothing, and keeps no lock out.
  //   flags 0:  no lock, whatever the sharing value.
  virtual Qx::Ptr<iFile> open(const WString& path, unsigned access, unsigned sharing,
                              unsigned creation, unsigned flags) = 0;

  // One level.  False when it could not be made, or something of that name is there already.
  virtual bool createDirectory(const WString& path) = 0;

  // The contents only.  False when the destination exists: nothing is ever replaced.  The three
  // last arguments are reserved: every caller passes 0.
  virtual bool copy(const WString& source, const WString& destination, unsigned, unsigned,
                    unsigned) = 0;

  // Deletes a file.  A lock file that somebody else holds by now is left alone; else the
  // information file beside it ("<lock>.inf") goes with it.  That one alone is deleted only by the
  // process that wrote it, when nobody else holds the lock.  This holds for every path that the
  // process has opened or probed as a lock, however often it is removed.
  virtual bool remove(const WString& path) = 0;

  // The ordinary files whose names match the last component of pattern, in which letter case
  // does not count, sorted by name; items is emptied first.  True when the folder could be read.
  // The two last arguments are reserved: every caller passes 1 and 0.
  virtual bool list(const WString& pattern, Vector<DirectoryItem>& items, unsigned, unsigned) = 0;

  // Marks an ordinary file: value 2 sets bit 2 of its attributes, value 1 clears it.  Creates
  // nothing; false when there is no such file.
  virtual bool mark(const WString& path, unsigned value) = 0;

  // The folder is there and its contents can be listed.
  virtual bool directoryUsable(const WString& path) = 0;

  // The folder for shared media when none is configured; it ends in the separator.
  virtual WString getDefaultNetworkMaterialFolder() = 0;

 protected:
  ~iFileManager() = default;
};
