// What a plug-in of the messenger exports.  Loaded at run time, so that the library it carries
// texts with need not be there for those who do not use it.
#pragma once

#include <string>

#include "host/messenger/engine.h"

namespace host {

struct EngineSettings {
  std::string url;          // more than one server: separated by commas
  std::string credentials;  // a file; empty: none, or what the url says
  std::string ca;           // a file of certificates to trust; empty: those of the system
};

}  // namespace host

extern "C" {

// The caller's to delete, after its run() has returned.
host::Engine* miscdisc_nats_engine(const host::EngineSettings* settings);

// Makes the stream that carries a group's texts, as an administrator.  True when it is there,
// also when it was there before, whatever its limits; otherwise *whyNot is for people.
// Takes ten seconds at most where the server's name is known at once.
bool miscdisc_nats_make_stream(const host::EngineSettings* settings, const std::string* group,
                               std::string* whyNot);
}
