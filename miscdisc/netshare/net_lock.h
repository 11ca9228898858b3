// A lock file on shared storage, with the information file that names its holder.
//
// The open handle is the lock, not the file's existence: a machine holds it for as long as it
// keeps the file open, and a file that a crashed machine left behind holds nothing.  The
// information file, <lock>.inf, is the user name in UTF-8 and nothing else: no line end, no time
// stamp.  Readers take its first 200 bytes.
//
//   free --Lock() true--> held --Unlock()--> free
//
// Failures are false results: nothing is logged and no file error throws.  Owned by whoever makes
// it; destroying a held lock closes both files and deletes neither.  Not thread-safe: callers
// take turns.
#pragma once

#include "miscdisc/platform/file_manager.h"

class MISCDISC_EXPORT NetLock {
 public:
  // Probes the lock file once; what it finds changes nothing.
  explicit NetLock(const WString& lockPath);
  NetLock(const NetLock&) = delete;
  NetLock& operator=(const NetLock&) = delete;
  virtual ~NetLock();

  // Opens the lock file once and lets go of it.  Always true.
  bool init();

  // True when this machine now holds the lock.  Never waits for another to let go.  On a lock
  // that is held already it opens the file again, and the new handle decides.
  bool Lock();

  // Closes and deletes both files.  Always true.
  // REQUIRES: Lock() returned true.  Otherwise this asks for the file of another holder to be
  // deleted.
  bool Unlock();

  // Names the holder.  False, with nothing written, unless the lock is held; false also when the
  // information file cannot be opened or fully written.
  bool SetLockInfo(const WString& info);

 private:
  bool bypass = false;  // Lock() succeeds and Unlock() does nothing; nobody sets it
  Qx::Ptr<iFile> lockFile;
  WString lockPath;
  Qx::Ptr<iFile> infoFile;
  WString infoPath;
};
