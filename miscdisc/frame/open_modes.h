// Every way in which the library opens a file through the platform's file manager.
#pragma once

#include "miscdisc/platform/os.h"

struct OpenMode {
  unsigned access, sharing, creation, flags;
};

constexpr OpenMode kProbeLock{2, 1, 0, 32};  // looks whether a lock file can be opened
constexpr OpenMode kHoldLock{2, 3, 0, 32};   // the open handle is the lock
constexpr OpenMode kWriteInfo{2, 3, 4, 0};   // the file that names a lock's holder
constexpr OpenMode kReadInfo{0, 0, 1, 0};
constexpr OpenMode kHoldLogin{2, 3, 4, 32};      // the open handle announces a user
constexpr OpenMode kWriteLocations{1, 2, 1, 0};  // a new lobby's list of media locations
constexpr OpenMode kWriteDump{2, 3, 4, 0};       // a diagnostic dump

inline Qx::Ptr<iFile> openFile(const WString& path, OpenMode mode) {
  return OS()->fileManager().open(path, mode.access, mode.sharing, mode.creation, mode.flags);
}

// A handle may be null or not valid; either way the open failed.
inline bool opened(const Qx::Ptr<iFile>& file) { return file && file->valid(); }
