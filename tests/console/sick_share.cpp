// A share that falls ill, for a command that loads this first.  In a folder with a file ".hangs"
// login files can be neither opened nor removed, and whoever tries waits; one with a file
// ".nolocks" gives no locks.  With UNDYING in the environment nobody dies by KILL.  Without
// sanitizers: the programs that the command starts load it too.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <string_view>

#include "miscdisc/platform/values/export.h"

namespace {

bool has(std::string_view path, const char* sign) {
  const std::string folder(path.substr(0, path.rfind('/') + 1));
  return access((folder + sign).c_str(), F_OK) == 0;
}

void waitAt(std::string_view path) {
  while (path.ends_with(".cli") && has(path, ".hangs")) usleep(10'000);
}

}  // namespace

extern "C" MISCDISC_EXPORT int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(more, mode_t) : 0;
  va_end(more);
  waitAt(path);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" MISCDISC_EXPORT int unlink(const char* path) noexcept {
  waitAt(path);
  return static_cast<int>(syscall(SYS_unlink, path));
}

extern "C" MISCDISC_EXPORT int fcntl(int file, int command, ...) {
  va_list more;
  va_start(more, command);
  void* const argument = va_arg(more, void*);
  va_end(more);
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t size = command == F_OFD_SETLK ? readlink(link.c_str(), path, sizeof path) : 0;
  if (size > 0 && has({path, static_cast<size_t>(size)}, ".nolocks")) {
    errno = ENOLCK;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fcntl, file, command, argument));
}

extern "C" MISCDISC_EXPORT int kill(pid_t process, int signal) noexcept {
  if (signal == SIGKILL && getenv("UNDYING")) return 0;
  return static_cast<int>(syscall(SYS_kill, process, signal));
}
