// The process's list of media drives: the volumes of the file-system layer, in the order in which
// they were added.
//
// All of it is static and runs on the application's user-interface thread; nothing is locked.
// Failures are results: nothing throws of itself.
//
// The drives belong to the list.  A pointer to one dies at the next add or remove.  Figures are
// those of the last measurement unless an operation says that it measures.
//
// The list's files lie in the current project space's folder, LobbyUtils::getCurrentLobbyName(), to
// which their names are appended directly: "DefNetDrive.txt", the folders that were added as media
// locations, and "UnmountedDrives.txt", the discovered volumes that are hidden there.  A drive's
// name lies on its own volume, in "Material/MediaSpaceInfo.txt".  docs/files.md has their contents.
//
// What changes is told through notifier_, by messages of the general type without a payload:
//   "disk manager structure change"   a drive came or went, or the set of locations changed
//   "disk manager update"             the figures were refreshed; at most every 2001 ms
//   "MediaOnlineChangeMsg"            media came online or went; only when somebody asks for it
#pragma once

#include <vector>

#include "miscdisc/media/media_drive.h"
#include "miscdisc/platform/values/notifier.h"

class MISCDISC_EXPORT DiskManager : public Notifiable {
 public:
  ~DiskManager() override;

  // Starting and stopping.

  static void init();    // the list anew, from the layer's volumes
  static void deInit();  // an empty list; the volumes stay mounted

  // Building the list.

  // Adds every volume of the layer, in the layer's order, after those that the space hides were
  // taken out of the layer.  Up to a second for each volume that is not present; such a volume is
  // left out.  Tells nobody.
  static void get_valid_drives();
  static void addDriveForFsysVolume(wchar_t id);  // one volume in the same way

  // Measures the drive and appends it, also when one with that id is there.  Tells nobody.
  static MediaDrive* add_drive(wchar_t id, const WString& name);
  // Takes out the first drive of the same identity and tells; when there is none, nothing.
  static void removeDrive(const MediaDrive& drive);

  // Volumes were added from outside: renews the directory cache and tells.
  static void handleDriveAddition();

  // In memory only, and tells nobody; an empty name is ignored.  See renameMediaLocation().
  static void rename_drive(MediaDrive& drive, const WString& name);

  // Measuring and telling.

  static void update_drive(MediaDrive& drive);
  static void update_drives();  // all of them; tells nobody
  // All of them; "disk manager update", unless that was told less than 2001 ms before.  The time is
  // noted after the telling, so listeners do not call this.
  static void update_drives_and_groups();
  static void inform_interested_parties();           // "disk manager structure change"
  static void issueMediaOnlineChangeNotification();  // "MediaOnlineChangeMsg"
  static void drive_used(wchar_t id);                // for callers that say so; does nothing

  // Looking up.  The first match in the list's order; null when there is none.

  static MediaDrive* get_drive(unsigned short index);
  static MediaDrive* get_drive_with_id(wchar_t id);
  static MediaDrive* getDriveWithUniqueId(IdStamp id);
  static MediaDrive* getDriveWithName(const WString& name);  // what getUserName() gives, exactly
  static MediaDrive* getDriveWithPath(
      const WString& path);  // the volume's path, in any letter case
  static unsigned find_index_for_drive(const MediaDrive& drive);  // all bits set: not in the list
  static WString getSaveName(const WString& name);  // the name itself if a drive has it, else empty

  // Files.

  // Where a volume keeps its drive's name.  A path that ends in a separator gets a second one.
  static WString getInfoFileNameFor(wchar_t id);
  // Writes the name, whatever it is, to the volume.  False, with the file as it was and a word on
  // both consoles, when the volume has no free byte or cannot be measured; whether the writing
  // worked is not told.
  static bool saveDriveInfo(const MediaDrive& drive);
  // The name on the volume; empty when there is none or its file is corrupt.
  static WString getMediaLocationUserName(wchar_t id);

  // Mounts every folder that the file lists, logs those that cannot be mounted, renews the
  // directory cache and tells once.  Always true, also for a missing file.
  static bool AddDrivesFromFile(const WString& path);
  // Unmounts every media location, tells once for each drive, and lists their paths in the file, in
  // the form that AddDrivesFromFile() takes.  No file is made when there is nothing to list; null
  // lists nothing.  What is returned concerns the layer's last volume: true when it was a media
  // location.
  static bool UnmountDrives(const char* path);

  // Media locations.  Folders are compared with the drives' getLocation() in any letter case, so
  // they match only with the separator at their end.

  // Lists the folder, then mounts it, renews the directory cache and tells.  False only when a
  // drive has that location: a folder that cannot be mounted stays listed, to be tried again.
  static bool addMediaLocation(const WString& folder);
  // Mounts the folder and adds its drive, under the name on the volume or else the folder's own.
  // Tells nobody and lists nothing.
  static bool addDriveForMediaLocation(const WString& folder);
  // Unmounts the drive of that location and keeps it from coming back: a folder's line is dropped
  // from the list, a discovered volume is hidden.  Tells twice.  False when no drive has it.
  static bool removeMediaLocation(const WString& location);
  // Names the drive, also with an empty name, and stores that on the volume: saveDriveInfo().
  static bool renameMediaLocation(MediaDrive& drive, const WString& name);

  // Recording.

  static double getSpaceForRecording(const MediaDrive& drive);  // the drive's own
  // Whole minutes at the sum of two rates in bytes per minute; measures.  All bits set, not 0, is a
  // drive without room; one less stands for all minutes that do not fit.
  static uint32_t get_mins_of_recording_left(const MediaDrive& drive, double rateA, double rateB);

  static MediaDrive* find_best_disk();  // most free space; of equals the first
  // The same drive: nothing is reserved, and the flags have no effect.
  static MediaDrive* find_and_reserve_best_disk(bool flagA, bool flagB);

  // The drive that the preferences keep for a task, such as "Capture", by its volume's path.  When
  // there is none: the best drive with fallBack, else null.
  static MediaDrive* getDriveForTask(const char* task, bool fallBack);
  static void setDriveForTask(const char* task, const MediaDrive* drive);  // null forgets it

  static Notifier notifier_;

 private:
  static std::vector<MediaDrive> drives_;
  static uint32_t timeOfLastSpaceUpdate_;  // service_get_msecs(); 0 after init()
};

// A listener like any other, built after the list and the notifier.
MISCDISC_EXPORT extern DiskManager theDiskMgr;

MISCDISC_EXPORT void disk_manager_init();
MISCDISC_EXPORT void disk_manager_exit();
