// Settings that change while a test of the host runs.
#pragma once

#include <string>

#include "host/settings.h"
#include "tests/host/host_ground.h"

namespace test {

inline void configure(const std::string& toml) {
  ground::writeSettings(toml);
  host::reloadSettings();
}

// The folder counts as remote storage; an empty one takes that back.
inline void declareRemote(const std::string& folder) {
  configure(folder.empty() ? "" : "[locks]\nremote = ['" + folder + "']\n");
}

}  // namespace test
