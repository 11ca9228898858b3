// What the drives cost: starting over 26 lettered volumes and 200 media locations, and measuring
// all of them again, against the bare system calls for the same folders, in turn.
#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

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
    std::filesystem::create_directories(folder + "/Material");
    std::filesystem::create_directory(folder + "/Sound");
    std::ofstream(folder + "/Material/MediaSpaceInfo.txt") << "name=Drive " << i << '\n';
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

bool measure(const std::string& folder) {
  struct statvfs space;
  return statvfs(folder.c_str(), &space) == 0;
}

bool readFile(const std::string& path) {
  char bytes[4096];
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool got = file >= 0 && read(file, bytes, sizeof bytes) > 0;
  close(file);
  return got;
}

bool list(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (!folder) return false;
  while (readdir(folder)) {
  }
  return closedir(folder) == 0;
}

bool bareStart(const Drives& drives) {
  return readFile(drives.list) &&
         std::all_of(drives.folders.begin(), drives.folders.end(), [](const auto& folder) {
           return measure(folder) && readFile(folder + "/Material/MediaSpaceInfo.txt") &&
                  list(folder + "/Material") && list(folder + "/Sound");
         });
}

template <typename Ours, typename Bare>
void compare(const char* name, int rounds, Ours ours, Bare bare) {
  std::vector<double> ourTimes, bareTimes;
  for (int i = 0; i < rounds; ++i) {
    ourTimes.push_back(microseconds(ours));
    bareTimes.push_back(microseconds(bare));
  }
  const double our = median(ourTimes), system = median(bareTimes);
  std::printf("%-34s %8.0f us %8.0f us %8.2f\n", name, our, system, our / system);
}

}  // namespace

int main() {
  std::string home = std::filesystem::temp_directory_path() / "drives_bench-XXXXXX";
  if (!mkdtemp(home.data())) return 2;
  setenv("MISCDISC_HOME", home.c_str(), 1);
  const Drives drives = makeDrives(home);

  std::printf("%-34s %11s %11s %8s\n", "measure", "ours", "bare", "ratio");
  compare(
      "start over 26 + 200 volumes", kStarts, [&] { return start(drives); },
      [&] { return bareStart(drives); });
  compare(
      "measure 226 drives again", kRefreshes,
      [] {
        DiskManager::update_drives();
        return true;
      },
      [&] { return std::all_of(drives.folders.begin(), drives.folders.end(), measure); });
  std::filesystem::remove_all(home);
}
