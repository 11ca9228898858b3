// What a group is called on a NATS server.
//
// A name is the last part of the group's network form, reduced to letters, digits, '-' and '_'
// (others become '-'; the first 32 characters), then '-' and the first 16 digits of the version-5
// UUID of the whole network form, in the name space of URLs (`uuidgen --sha1 --namespace @url`).
// So "\\nas\projects\Alpha" is "Alpha-" and 16 digits, the same on every machine, and two groups
// never share.  Case counts.
#pragma once

#include <string>

namespace host::nats {

// The last part of the group's network form: what people call the lobby.
std::string lobbyOf(const std::string& group);

std::string groupName(const std::string& group);

std::string streamOf(const std::string& group);   // "miscdisc-" and the name
std::string subjectOf(const std::string& group);  // "miscdisc." and the name

// Where the server answers those who work in the group.  Not the place that all clients share:
// who may listen there hears what others are sent.
std::string inboxOf(const std::string& group);  // "miscdisc-inbox." and the name

}  // namespace host::nats
