#include "miscdisc/media/recording_space.h"

#include <algorithm>

#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/volume_path.h"
#include "miscdisc/platform/config.h"

namespace {

constexpr double kUnknown = 1.0;  // minutes
constexpr double kBytesPerGibibyte = 1073741824.0;
constexpr double kBytesPerMebibyte = 1024.0 * 1024.0;
constexpr uint32_t kNoRoom = 0xFFFFFFFF;  // not 0, which is room for less than a minute

constexpr uint32_t fourcc(const char (&code)[5]) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}

uint32_t uncompressedFrameBytes(const ShotVideoMetadata& shot) {
  const uint32_t bits = shot.picture.width * shot.picture.height * shot.picture.bitsPerPixel;
  return bits / 8;
}

double minutesForFrames(uint32_t frameBytes, const ShotVideoMetadata& shot) {
  if (frameBytes == 0) return kUnknown;
  const double framesPerSecond = Qx::getFramesPerSecond(shot.frameRate);
  return kBytesPerGibibyte / (framesPerSecond * frameBytes * 60.0);
}

String taskKey(const char* task) { return String("Media Location (") + task + ")"; }

}  // namespace

double getMinutesPerGigabyte(const CompressionFormat& format, const ShotVideoMetadata& shot) {
  const uint32_t code = Qx::lookupPlayoutFCC(format.imageFormat);
  if (Qx::Image::isMpeg(static_cast<Qx::Image::Format>(format.imageFormat))) {
    return 1000.0 / (format.mpegRate * 6);
  }
  switch (code) {
    case fourcc("dvsd"):
    case fourcc("dv25"):
    case fourcc("GPMX"):
    case fourcc("GIMX"):
    case fourcc("DHDX"):
    case fourcc("VDDX"):
    case fourcc("01DX"):
    case fourcc("RP2P"):
    case fourcc("VD2P"):
    case fourcc("052P"):
      return 6.0;
    case fourcc("dv50"):
      return 3.0;
    case fourcc("dvh1"):
      return 1.5;
    case fourcc("AVdn"):
    case fourcc("AVdx"):
      return minutesForFrames(CompressionFormat::getFrameSize(format, shot), shot);
    case fourcc("UYVY"):
    case fourcc("VYUY"):
    case fourcc("YUYV"):
    case fourcc("YVYU"):
    case fourcc("YUY2"):
    case fourcc("v210"):
    case fourcc("I420"):
    case fourcc("M101"):
    case fourcc("M102"):
    case fourcc("M103"):
    case fourcc("BGRA"):
    case fourcc("ARGB"):
    case fourcc(" RGB"):
    // No characters: formats that have no code go by such a number.
    case 0:
    case 0x23:
    case 0x24:
    case 0x25:
      return minutesForFrames(uncompressedFrameBytes(shot), shot);
    default:
      return kUnknown;
  }
}

double DiskManager::getSpaceForRecording(const MediaDrive& drive) {
  return drive.getSpaceForRecording();
}

uint32_t DiskManager::get_mins_of_recording_left(const MediaDrive& drive, double rateA,
                                                 double rateB) {
  const double bytes = getSpaceForRecording(drive) * kBytesPerMebibyte;
  if (!(bytes > 0)) return kNoRoom;
  const double minutes = bytes / (rateA + rateB);
  return minutes > 0 ? static_cast<uint32_t>(std::min(minutes, kNoRoom - 1.0)) : 0;
}

MediaDrive* DiskManager::find_best_disk() {
  MediaDrive* best = nullptr;
  for (MediaDrive& drive : drives_) {
    if (!best || drive.space > best->space) best = &drive;
  }
  return best;
}

MediaDrive* DiskManager::find_and_reserve_best_disk(bool, bool) { return find_best_disk(); }

MediaDrive* DiskManager::getDriveForTask(const char* task, bool fallBack) {
  MediaDrive* drive = getDriveWithPath(prefs().getPreference(taskKey(task), WString()));
  return !drive && fallBack ? find_best_disk() : drive;
}

void DiskManager::setDriveForTask(const char* task, const MediaDrive* drive) {
  if (drive) {
    prefs().setPreference(taskKey(task), volumePath(drive->driveId));
  } else {
    prefs().removePreference(taskKey(task));
  }
}

SpaceMap::SpaceMap(MediaDrive* drive) {
  DiskManager::update_drives_and_groups();
  if (drive) {
    drives_.emplace_back(drive);
    return;
  }
  const size_t indices = size_t{UINT16_MAX} + 1;  // a list may be longer than its indices reach
  for (size_t i = 0; i < indices; ++i) {
    const MediaDrive* listed = DiskManager::get_drive(static_cast<unsigned short>(i));
    if (!listed) return;
    drives_.emplace_back(listed);
  }
}

wchar_t SpaceMap::useSpace(double amount, SpaceMapMatch match) {
  MediaDrive* chosen = nullptr;
  double best = match == eBestFit ? 1e99 : 0.0;
  for (MediaDrive& drive : drives_) {
    if (!(drive.space > amount)) continue;
    const bool better =
        (match == eMostSpace && drive.space > best) || (match == eBestFit && drive.space < best);
    if (!better) continue;
    chosen = &drive;
    best = drive.space;
  }
  if (!chosen) return 0;
  chosen->space -= amount;
  return chosen->driveId;
}
