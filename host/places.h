// Where this user's files are.
#pragma once

#include <string>

#include "miscdisc/platform/values/export.h"

namespace host {

// Native folders, absolute, without a separator at their end.  MISCDISC_HOME, when set and not
// empty, holds everything, so that several machines can live on one computer; without it the XDG
// base directories do, each in a folder "miscdisc".  None of them need exist.
struct Places {
  std::string config;  // config.toml
  std::string state;   // state.toml, the log, dumps
  std::string data;    // project spaces and media
};

// Taken from the environment at the first call of the process.  From any thread.
MISCDISC_EXPORT const Places& places();

}  // namespace host
