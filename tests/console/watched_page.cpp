// What happens to a page, for a command that loads this first.  Each time that it is drawn the file
// that DRAWS names grows by a byte.  Once there is a file "no_memory" in the working directory, the
// threads behind the page have none left when they next wait for something.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

#include "miscdisc/platform/values/export.h"

extern "C" MISCDISC_EXPORT int wrefresh(void* window) {
  using Call = int (*)(void*);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "wrefresh"));
  if (const char* const path = getenv("DRAWS")) {
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    [[maybe_unused]] const ssize_t written = write(file, ".", 1);
    close(file);
  }
  return real(window);
}

extern "C" MISCDISC_EXPORT int poll(pollfd* asked, nfds_t count, int timeout) {
  using Call = int (*)(pollfd*, nfds_t, int);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "poll"));
  if (gettid() != getpid() && access("no_memory", F_OK) == 0) throw std::bad_alloc();
  return real(asked, count, timeout);
}
