#include "host/places.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace host {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string homeFolder() {
  const std::string home = variable("HOME");
  if (!home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir ? user->pw_dir : "/";
}

// The XDG rule: a variable that is not set, or not an absolute path, is ignored.
std::string xdgFolder(const char* name, const char* underHome) {
  const std::string base = variable(name);
  const bool usable = !base.empty() && base[0] == '/';
  return (usable ? base : homeFolder() + underHome) + "/miscdisc";
}

Places findPlaces() {
  std::string home = variable("MISCDISC_HOME");
  if (!home.empty()) {
    std::error_code ignored;
    home = std::filesystem::absolute(home, ignored).lexically_normal();
    while (home.size() > 1 && home.back() == '/') home.pop_back();
    return {home, home, home};
  }
  return {xdgFolder("XDG_CONFIG_HOME", "/.config"), xdgFolder("XDG_STATE_HOME", "/.local/state"),
          xdgFolder("XDG_DATA_HOME", "/.local/share")};
}

}  // namespace

const Places& places() {
  static const Places& found = *new Places(findPlaces());  // also asked by static destructors
  return found;
}

}  // namespace host
