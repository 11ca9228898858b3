#include "miscdisc/media/disk_manager.h"

#include <algorithm>
#include <limits>

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/media/volume_path.h"
#include "miscdisc/platform/clock.h"

std::vector<MediaDrive> DiskManager::drives_;
Notifier DiskManager::notifier_;
uint32_t DiskManager::timeOfLastSpaceUpdate_ = 0;

DiskManager theDiskMgr;

namespace {

constexpr uint32_t kPresenceWait = 1000;    // milliseconds
constexpr uint32_t kUpdateInterval = 2001;  // milliseconds

void tell(const char* message) {
  DiskManager::notifier_.call(NotifyMsg(message, nullptr), Notification::typeDictionary().general);
}

// Takes the volume out of the layer that lies at a location, spelled exactly so.
void forgetVolumeAt(const WString& location) {
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    if (withSeparator(volumePath(id)) != location) continue;
    FsysDeleteMaterialVolume(id);
    return;
  }
}

// Spins until the volume is present.  False after a second.
bool waitUntilPresent(wchar_t id) {
  const uint32_t start = service_get_msecs();
  for (;;) {
    const uint32_t now = service_get_msecs();
    if (now - start >= kPresenceWait) return false;
    if (FsysIsVolumePresent(id)) return true;
    while (service_get_msecs() == now) {
    }
  }
}

template <typename Matches>
MediaDrive* firstOf(std::vector<MediaDrive>& drives, Matches matches) {
  const auto found = std::find_if(drives.begin(), drives.end(), matches);
  return found == drives.end() ? nullptr : &*found;
}

}  // namespace

DiskManager::~DiskManager() = default;

void disk_manager_init() { DiskManager::init(); }

void disk_manager_exit() { DiskManager::deInit(); }

void DiskManager::init() {
  drives_.clear();
  timeOfLastSpaceUpdate_ = 0;
  get_valid_drives();
}

void DiskManager::deInit() { drives_.clear(); }

void DiskManager::get_valid_drives() {
  const TextFile hidden(hiddenVolumesFile(), true);
  const uint16_t count = walkedLines(hidden);
  for (uint16_t line = 0; line < count; ++line) forgetVolumeAt(Qx::WStringFromUTF8(hidden[line]));

  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    addDriveForFsysVolume(id);
  }
}

void DiskManager::addDriveForFsysVolume(wchar_t id) {
  if (!waitUntilPresent(id)) return;
  add_drive(id, getMediaLocationUserName(id));
}

MediaDrive* DiskManager::add_drive(wchar_t id, const WString& name) {
  return &drives_.emplace_back(id, name);
}

void DiskManager::removeDrive(const MediaDrive& drive) {
  const MediaDrive* found = getDriveWithUniqueId(drive.uniqueId);
  if (!found) return;
  drives_.erase(drives_.begin() + (found - drives_.data()));
  inform_interested_parties();
}

void DiskManager::handleDriveAddition() {
  invalidate_directory_cache();
  initialise_directory_caches(true);
  inform_interested_parties();
}

void DiskManager::rename_drive(MediaDrive& drive, const WString& name) {
  if (!name.empty()) drive.name = name;
}

void DiskManager::update_drive(MediaDrive& drive) { drive.update(); }

void DiskManager::update_drives() {
  for (MediaDrive& drive : drives_) drive.update();
}

void DiskManager::update_drives_and_groups() {
  if (drives_.empty()) return;
  update_drives();
  const uint32_t now = service_get_msecs();
  if (now - timeOfLastSpaceUpdate_ < kUpdateInterval) return;
  tell("disk manager update");
  timeOfLastSpaceUpdate_ = now;
}

void DiskManager::inform_interested_parties() { tell("disk manager structure change"); }

void DiskManager::issueMediaOnlineChangeNotification() { tell("MediaOnlineChangeMsg"); }

void DiskManager::drive_used(wchar_t) {}

MediaDrive* DiskManager::get_drive(unsigned short index) {
  return index < drives_.size() ? &drives_[index] : nullptr;
}

MediaDrive* DiskManager::get_drive_with_id(wchar_t id) {
  return firstOf(drives_, [&](const MediaDrive& drive) { return drive.driveId == id; });
}

MediaDrive* DiskManager::getDriveWithUniqueId(IdStamp id) {
  return firstOf(drives_, [&](const MediaDrive& drive) { return drive.uniqueId == id; });
}

MediaDrive* DiskManager::getDriveWithName(const WString& name) {
  return firstOf(drives_,
                 [&](const MediaDrive& drive) { return drive.getUserName(false) == name; });
}

MediaDrive* DiskManager::getDriveWithPath(const WString& path) {
  if (path.empty()) return nullptr;
  return firstOf(drives_, [&](const MediaDrive& drive) {
    return Qx::compareCaseInsensitive(volumePath(drive.driveId), path);
  });
}

unsigned DiskManager::find_index_for_drive(const MediaDrive& drive) {
  const MediaDrive* found = getDriveWithUniqueId(drive.uniqueId);
  if (!found) return std::numeric_limits<unsigned>::max();
  return static_cast<unsigned>(found - drives_.data());
}

WString DiskManager::getSaveName(const WString& name) {
  return getDriveWithName(name) ? name : WString();
}
