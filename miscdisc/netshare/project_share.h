// Who uses a project or a room: the locks of the one project and the one room that this machine is
// in, and the questions about those of the others.
//
// A project's lock is the file "Lock" in its folder under the projects base directory, a room's is
// the room's path with ".lck"; "<lock>.inf" names the holder.  All operations are static and expect
// one caller at a time: the user-interface thread.  Failures are false or empty results.
#pragma once

#include "miscdisc/netshare/net_lock.h"
#include "miscdisc/platform/values/cookie.h"

class MISCDISC_EXPORT ProjectShare {
 public:
  ProjectShare() = delete;

  // The name under which this user logs in and holds locks.
  static WString getUserName();

  // Locks.

  static WString getProjectLockFile(const cookie& project);  // empty for a null cookie

  // True when this machine now holds the project's lock, with its name beside it.  A lock that it
  // held before stays held until the process ends: unlock first.
  static bool lockProject(const cookie& project);
  static bool unlockCurrentlyLockedProject();  // false: none was held

  // True when this machine now holds the room's lock, and for a room that is not locked here: one
  // whose path ends with "CARDVT.Room", in whatever letter case.  Names nobody: that is done by
  // indicateRoomChange().  An earlier lock stays held, as above.
  static bool lockRoom(const WString& room);
  static void unlockCurrentRoom();

  // A lock file is there: also this machine's own, and one that a crashed machine left behind.
  static bool isProjectOccupied(const cookie& project);  // false for a null cookie
  static bool isRoomOccupied(const WString& room);

  // The first 200 bytes of the name beside a lock; empty when it cannot be read.
  static WString getLockOwner(const cookie& project);
  static WString getLockOwner(const WString& room);  // the room's path, without ".lck"

  // Occupancy.

  // True when there are no other users, the reverse of its name: at most one login file is in the
  // projects base directory, or lobby is empty.  out, unless null, gets the user of the first login
  // file that is marked as outside any room, as UTF-8, or nothing; that may be this user.  It must
  // hold the longest file name there.
  static bool otherUsersInLobby(const WString& lobby, char* out);

  // True when there is more than one login file.  out, unless null, keeps what it holds unless the
  // user's name begins with the name of a login file.
  static bool anyOtherNetUsers(char* out);

  // True when both hold: the user is in no room, or nobody else is in the lobby; and the room's
  // lock can be had, or the room is one that lockRoom() does not lock.  Otherwise reason says who
  // is there, in the application's words.
  static bool roomIsTrashable(const WString& room, WString& reason);

  // Takes the room's lock, with the user's name beside it, and then lets go of the room that was
  // locked.  False when the lock cannot be had, also for the room one is in: the locks are then as
  // they were.  An empty room means that the user leaves rooms.  The login file is marked as
  // outside any room by leaving, and the mark is taken away by entering, even where that is
  // refused.
  static bool indicateRoomChange(const WString& room, const cookie& project);

 private:
  static NetLock* currentProjectLock_;
  static NetLock* currentRoomLock_;
};
