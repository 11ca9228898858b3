// The network messenger of this process, and what people see of it.
#pragma once

#include <cstdint>
#include <string>

#include "miscdisc/platform/values/export.h"

namespace host {

// The state until the first connection, or a reason why there is none.
inline constexpr char kNotConnectedYet[] = "not connected yet";

struct MessengerFacts {
  std::string engine;  // "dbus", "nats"; "none" when the settings want no messenger
  bool connected = false;
  bool tried = false;  // the first attempt to connect is over, however it went, or there is none
  std::string state;   // for people: "connected to the session bus"; or why not, and what to try
  std::string group;   // the lobby whose texts are heard, in its network form; empty: none
  // Since the start of the process.
  uint64_t sent = 0;       // texts handed to the carrier
  uint64_t received = 0;   // texts of others, handed to the receiver
  uint64_t waiting = 0;    // texts that wait to be sent, now
  uint64_t dropped = 0;    // texts given up, on either side
  std::string whyDropped;  // the last of them, for people; of the last messenger
  uint64_t rescans = 0;    // times that something was missing
};

// Of the messenger that was made last; without one, why there is none.  From any thread.
MISCDISC_EXPORT MessengerFacts messengerFacts();

// The network form of the lobby in which this process works now, to which a messenger sends;
// empty: none.
MISCDISC_EXPORT std::string currentGroup();

}  // namespace host
