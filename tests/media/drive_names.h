// The drives that the disk manager lists, as people see them, in its order.
#pragma once

#include <vector>

#include "miscdisc/media/disk_manager.h"

inline std::vector<WString> driveNames() {
  std::vector<WString> names;
  for (unsigned short i = 0; const MediaDrive* drive = DiskManager::get_drive(i); ++i) {
    names.push_back(drive->getUserName(false));
  }
  return names;
}
