// What is written about drives: their names, on the volumes themselves, and lists of folders.
#include <cstdio>
#include <memory>

#include "miscdisc/frame/separator.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/volume_path.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/text_file.h"
#include "miscdisc/platform/values/attrib_value_pair.h"

namespace {

constexpr const char* kNameAttribute = "name";

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void tellThatNothingFits(wchar_t id) {
  constexpr const char* kText =
      "Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive '%c'.\n";
  tolv_printf(kText, static_cast<int>(id));
  std::printf(kText, static_cast<int>(id));
}

}  // namespace

// The separator comes first whatever the path ends in: file systems take two for one.
WString DiskManager::getInfoFileNameFor(wchar_t id) {
  return volumePath(id) + pathSeparator() + L"Material" + pathSeparator() + L"MediaSpaceInfo.txt";
}

bool DiskManager::saveDriveInfo(const MediaDrive& drive) {
  VOLUME_INFO info;
  FsysGetVolInfo(drive.driveId, &info);
  if (info.freeBytes == 0) {
    tellThatNothingFits(drive.driveId);
    return false;
  }
  TextFile file(getInfoFileNameFor(drive.driveId), false);
  file.appendLine(
      Qx::AttribValuePair(kNameAttribute, Qx::UTF8FromWString(drive.name)).asString('='));
  file.save(WString(), TextFile::eLF);
  return true;
}

WString DiskManager::getMediaLocationUserName(wchar_t id) {
  const TextFile file(getInfoFileNameFor(id), true);
  if (file.getNumLines() == 0) return WString();
  const Qx::AttribValuePair pair(file[0], '=');
  if (!pair.valid() || pair.attribute() != kNameAttribute) {
    std::puts("Disk Manager - MediaSpaceInfo.txt contents corrupt");
    return WString();
  }
  return Qx::WStringFromUTF8(pair.value());
}

bool DiskManager::AddDrivesFromFile(const WString& path) {
  const TextFile file(path, true);
  for (size_t line = 0; line < file.getNumLines(); ++line) {
    if (addDriveForMediaLocation(Qx::WStringFromUTF8(file[line]))) continue;
    char message[1024];  // a longer line is cut: it only goes to the log
    std::snprintf(message, sizeof message, "** Can't add material drive '%s'\n",
                  file[line].c_str());
    LogBoth("%s", message);
  }
  handleDriveAddition();
  return true;
}

bool DiskManager::UnmountDrives(const char* path) {
  std::unique_ptr<std::FILE, CloseFile> list;
  bool unmounted = false;  // the volume last visited
  wchar_t next = 0;
  bool more = FsysGetFirstMaterialVolume(&next);
  while (more) {
    const wchar_t id = next;
    VOLUME_INFO info;
    FsysGetVolInfo(id, &info);
    unmounted = id > L'Z';
    if (unmounted) {
      if (!list && path) list.reset(std::fopen(path, "w"));
      if (list) {
        const String line = Qx::UTF8FromWString(volumePath(id)) + '\n';
        std::fwrite(line.data(), 1, line.size(), list.get());
      }
      if (const MediaDrive* drive = get_drive_with_id(id)) removeDrive(MediaDrive(drive));
    }
    // The walk goes on from a volume that is still there.
    more = FsysGetNextMaterialVolume(&next);
    if (unmounted) FsysDeleteMaterialVolume(id);
  }
  return unmounted;
}
