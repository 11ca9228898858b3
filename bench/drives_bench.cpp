// What the drives cost: starting over 26 lettered volumes and 200 media locations, and measuring
// all of them again, against the bare system calls for the same folders, in turn.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/drive_folders.h"
#include "bench/timing.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/project_folders.h"

namespace {

constexpr int kLetters = 26;
constexpr int kLocations = 200;
constexpr int kStarts = 30;
constexpr int kRefreshes = 200;

struct Drives {
  std::vector<std::string> folders;  // the lettered ones first
  std::string list;                  // of the locations
};

Drives makeDrives(const std::string& home) {
  Drives drives;
  drives.list = home + "/projects/DefNetDrive.txt";
  std::filesystem::create_directory(home + "/projects");
  std::ofstream config(home + "/config.toml"), list(drives.list);
  config << "[volumes]\ndiscover = false\n";
  for (int i = 0; i < kLetters + kLocations; ++i) {
    const std::string folder = home + "/drive" + std::to_string(i);
    makeDriveFolder(folder, "Drive " + std::to_string(i));
    if (i < kLetters) {
      config << static_cast<char>('A' + i) << " = '" << folder << "'\n";
    } else {
      list << folder << "/\n";
    }
    drives.folders.push_back(folder);
  }
  return drives;
}

bool start(const Drives& drives) {
  disk_manager_exit();
  FsysReInitialize(false);
  disk_manager_init();
  DiskManager::AddDrivesFromFile(Qx::WStringFromUTF8(drives.list));
  return DiskManager::get_drive(kLetters + kLocations - 1) != nullptr;
}

bool bareStart(const Drives& drives) {
  return bare::readFile(drives.list) &&
         std::all_of(drives.folders.begin(), drives.folders.end(), bare::meetDrive);
}

template <typename Ours, typename Bare>
void compare(const char* name, int rounds, Ours ours, Bare bare) {
  std::vector<double> ourTimes, bareTimes;
  for (int i = 0; i < rounds; ++i) {
    ourTimes.push_back(microseconds(ours));
    bareTimes.push_back(microseconds(bare));
  }
  printRatio(name, ourTimes, bareTimes);
}

}  // namespace

int main() {
  std::string home = std::filesystem::temp_directory_path() / "drives_bench-XXXXXX";
  if (!mkdtemp(home.data())) return 2;
  setenv("MISCDISC_HOME", home.c_str(), 1);
  const Drives drives = makeDrives(home);

  printRatioHeading();
  compare(
      "start over 26 + 200 volumes", kStarts, [&] { return start(drives); },
      [&] { return bareStart(drives); });
  compare(
      "measure 226 drives again", kRefreshes,
      [] {
        DiskManager::update_drives();
        return true;
      },
      [&] { return std::all_of(drives.folders.begin(), drives.folders.end(), bare::measure); });
  std::filesystem::remove_all(home);
}
