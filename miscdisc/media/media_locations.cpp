// Folders as volumes of their own.
#include "miscdisc/frame/separator.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"

namespace {

constexpr int kMounted = 1;

void appendTo(const WString& listFile, const WString& folder) {
  TextFile list(listFile, true);
  list.appendLine(Qx::UTF8FromWString(folder));
  list.save(WString(), TextFile::eLF);
}

// The line that moves up into the place of a dropped one is not looked at: of a location that is
// listed twice in a row the second line stays.
void dropFrom(const WString& listFile, const WString& location) {
  TextFile list(listFile, true);
  for (uint16_t line = 0; line < walkedLines(list); ++line) {
    if (!Qx::compareCaseInsensitive(Qx::WStringFromUTF8(list[line]), location)) continue;
    list.removeLine(line);
    list.save(WString(), TextFile::eLF);
  }
}

WString folderName(WString folder) {
  if (Qx::endsWith(folder, pathSeparator(), true)) folder.pop_back();
  return stripPath(folder);
}

}  // namespace

bool DiskManager::addMediaLocation(const WString& folder) {
  for (const MediaDrive& drive : drives_) {
    if (Qx::compareCaseInsensitive(folder, drive.getLocation())) return false;
  }
  appendTo(mediaLocationsFile(), folder);
  addDriveForMediaLocation(folder);  // a folder that cannot be mounted now stays listed
  handleDriveAddition();
  return true;
}

bool DiskManager::addDriveForMediaLocation(const WString& folder) {
  if (folder.empty()) return false;
  wchar_t id = 0;
  if (FsysAddMaterialVolume(folder, &id) != kMounted) return false;
  const WString stored = getMediaLocationUserName(id);
  add_drive(id, stored.empty() || stored == L"Unnamed" ? folderName(folder) : stored);
  return true;
}

bool DiskManager::removeMediaLocation(const WString& location) {
  const MediaDrive* found = nullptr;
  for (const MediaDrive& drive : drives_) {
    if (!Qx::compareCaseInsensitive(drive.getLocation(), location)) continue;
    found = &drive;
    break;
  }
  if (!found) return false;

  const MediaDrive drive(found);
  if (FsysIsVolumeAutoDiscovered(drive.driveId)) {
    appendTo(hiddenVolumesFile(), location);
  } else {
    dropFrom(mediaLocationsFile(), location);
  }
  FsysDeleteMaterialVolume(drive.driveId);
  removeDrive(drive);     // tells that the list has changed,
  handleDriveAddition();  // and this tells it again, now that the cache has changed too
  return true;
}

bool DiskManager::renameMediaLocation(MediaDrive& drive, const WString& name) {
  drive.name = name;
  return saveDriveInfo(drive);
}
