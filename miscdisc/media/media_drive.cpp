#include "miscdisc/media/media_drive.h"

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/media/volume_path.h"

namespace {

constexpr double kBytesPerMebibyte = 1024.0 * 1024.0;

double wholeMebibytes(uint64_t bytes) {
  return static_cast<double>(static_cast<int64_t>(bytes >> 20));
}

bool isPlaceholder(wchar_t id) { return id == L'*' || id == L'?'; }

}  // namespace

MediaDrive::MediaDrive(wchar_t id, const WString& userName)
    : uniqueId(static_cast<unsigned>(id), static_cast<unsigned>(id), static_cast<unsigned>(id)),
      driveId(id),
      name(userName) {
  update();
}

MediaDrive::MediaDrive(const MediaDrive* other) : MediaDrive(*other) {}

void MediaDrive::update() const {
  if (isPlaceholder(driveId)) return;
  VOLUME_INFO info;
  // Whether it worked is not asked: a mount that does not answer leaves its last figures in info.
  FsysGetVolInfo(driveId, &info);
  space = wholeMebibytes(info.freeBytes);
  capacity = wholeMebibytes(info.totalBytes);
}

int64_t MediaDrive::getSpaceBytes() const {
  return static_cast<int64_t>(space * kBytesPerMebibyte);
}

int64_t MediaDrive::getCapacityBytes() const {
  return static_cast<int64_t>(capacity * kBytesPerMebibyte);
}

bool MediaDrive::prepareForMedia() const {
  if (FsysIsVolumePreparedForMedia(driveId)) return true;
  const bool prepared = FsysPrepareVolumeForMedia(driveId);
  if (prepared) initialise_directory_caches(true);  // there are new folders to list
  return prepared;
}

WString MediaDrive::getUserName(bool) const { return is_unnamed() ? volumePath(driveId) : name; }

bool MediaDrive::is_unnamed() const { return name.empty() || name == L"Unnamed"; }

bool MediaDrive::has_name(const WString& wanted) const {
  if (!is_unnamed()) return wanted == name;
  // Asked twice: the volume's path may change in between.
  return wanted == getUserName(false) || wanted == getUserName(false);
}

double MediaDrive::getSpaceForRecording() const {
  constexpr double safety_margin_mb = 2.0;
  update();
  return space - safety_margin_mb;
}

WString MediaDrive::getLocation() const {
  const WString path = volumePath(driveId);
  return path.empty() ? path : withSeparator(path);
}
