// Somebody records the file RECORDED_EARLY just before the program that loads this first connects
// to its bus.  Without sanitizers: the program may be built with any.
#include <dlfcn.h>
#include <sys/socket.h>

#include <cstdlib>
#include <fstream>

#include "miscdisc/platform/values/export.h"

extern "C" MISCDISC_EXPORT int connect(int socket, const sockaddr* address, socklen_t length) {
  using Real = int (*)(int, const sockaddr*, socklen_t);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "connect"));
  if (const char* path = std::getenv("RECORDED_EARLY")) std::ofstream(path) << "media";
  return real(socket, address, length);
}
