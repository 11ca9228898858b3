// Locks that behave as the variable PRETENDED_LOCKS says, for a command that loads this first.
// Without sanitizers: the programs that the command starts load it too.
//
//   granted    whoever asks for a lock has it, and nobody is asked
//   refused    nobody has a lock, as on a mount without them
//   before N   the process stops itself before it asks for its Nth lock
//   after N    the process stops itself when it has asked for its Nth lock
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string>

#include "miscdisc/platform/values/export.h"

namespace {

std::string wanted() {
  const char* text = std::getenv("PRETENDED_LOCKS");
  return text ? text : "";
}

void stopAt(const std::string& when, int asked) {
  if (wanted() == when + " " + std::to_string(asked)) raise(SIGSTOP);
}

}  // namespace

extern "C" MISCDISC_EXPORT int fcntl(int file, int command, ...) {
  using Real = int (*)(int, int, ...);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "fcntl"));
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const bool lock =
      command == F_OFD_SETLK && static_cast<struct flock*>(argument)->l_type != F_UNLCK;
  if (!lock) return real(file, command, argument);
  if (wanted() == "granted") return 0;
  if (wanted() == "refused") {
    errno = ENOLCK;
    return -1;
  }
  static std::atomic<int> count{0};
  const int asked = ++count;
  stopAt("before", asked);
  const int result = real(file, command, argument);
  stopAt("after", asked);
  return result;
}
