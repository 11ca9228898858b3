// Folders that are drives, and the bare system calls for what the library asks of them.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

inline void makeDriveFolder(const std::string& folder, const std::string& name) {
  std::filesystem::create_directories(folder + "/Material");
  std::filesystem::create_directory(folder + "/Sound");
  std::ofstream(folder + "/Material/MediaSpaceInfo.txt") << "name=" << name << '\n';
}

namespace bare {

inline bool measure(const std::string& folder) {
  struct statvfs space;
  return statvfs(folder.c_str(), &space) == 0;
}

inline bool readFile(const std::string& path) {
  char bytes[4096];
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  ssize_t got = 0, all = 0;
  while ((got = read(file, bytes, sizeof bytes)) > 0) all += got;
  close(file);
  return got == 0 && all > 0;
}

inline bool list(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (!folder) return false;
  while (readdir(folder)) {
  }
  return closedir(folder) == 0;
}

// What a drive costs that is met for the first time.
inline bool meetDrive(const std::string& folder) {
  return measure(folder) && readFile(folder + "/Material/MediaSpaceInfo.txt") &&
         list(folder + "/Material") && list(folder + "/Sound");
}

}  // namespace bare
