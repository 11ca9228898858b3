// A folder with a file ".space" has the free and total bytes that it says, for a command that loads
// this first.  Without sanitizers: the programs that the command starts load it too.
#include <dlfcn.h>
#include <sys/statvfs.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "miscdisc/platform/values/export.h"

extern "C" MISCDISC_EXPORT int statvfs(const char* path, struct statvfs* space) noexcept {
  using Real = int (*)(const char*, struct statvfs*);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "statvfs"));
  const int result = real(path, space);
  std::FILE* file = std::fopen((std::string(path) + "/.space").c_str(), "r");
  if (!file) return result;
  unsigned long long free = 0, total = 0;
  if (std::fscanf(file, "%llu %llu", &free, &total) == 2) {
    space->f_frsize = 1;
    space->f_bavail = free;
    space->f_blocks = total;
  }
  std::fclose(file);
  return result;
}
