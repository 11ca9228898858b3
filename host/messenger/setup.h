// What an administrator does once so that a lobby's texts go over a NATS server.
#pragma once

#include <string>

#include "miscdisc/platform/values/export.h"

namespace host {

struct NatsSetup {
  std::string stream, subject;
  std::string serverConfiguration;  // the lobby's user with its rights, for the server's file
};

// Of a group, that is a lobby's network form.  The same on every machine.
MISCDISC_EXPORT NatsSetup natsSetup(const std::string& group);

// Makes the group's stream with an administrator's credentials (a file; empty: what the url says).
// Empty when it is there now, or was before; otherwise why not, and what to try, for people.
MISCDISC_EXPORT std::string makeNatsStream(const std::string& group, const std::string& url,
                                           const std::string& credentials, const std::string& ca);

}  // namespace host
