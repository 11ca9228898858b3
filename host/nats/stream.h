// The stream of a group, as an administrator makes it.
#pragma once

#include <string>

#include "host/messenger/plugin.h"

namespace host::nats {

// Empty when the stream is there; otherwise why not, for people.
std::string makeStream(const EngineSettings& settings, const std::string& group);

}  // namespace host::nats
