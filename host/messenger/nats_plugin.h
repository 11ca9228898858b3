// The plug-in that carries texts over a NATS server: libmiscdisc_nats.so beside this library.
#pragma once

#include <memory>
#include <string>

#include "host/messenger/plugin.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// Null, and why: it is not there, or the library that it needs is not.  Once loaded it stays.
MISCDISC_EXPORT std::unique_ptr<Engine> makeNatsEngine(const EngineSettings& settings,
                                                       std::string& why);

}  // namespace host
