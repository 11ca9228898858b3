// Short texts between the machines of a lobby.
#pragma once

#include <string>

#include "miscdisc/platform/values/ref_count.h"

// Called by a messenger, on one of its own threads, one text at a time.
class MISCDISC_EXPORT iNetMessageReceiver : public iObject {
 public:
  virtual void receive(const std::string& text) const = 0;
};

class MISCDISC_EXPORT iNetMessager : public iObject {
 public:
  // Queues a text for the other machines.  Never blocks; from any thread.
  virtual void send(const std::string& text) = 0;
};

struct MessengerState {
  bool connected = false;  // the texts of the other machines of the present lobby come in
  bool tried = false;  // the first attempt to connect is over, however it went, or there is none
  std::string words;   // for people: "connected to the session bus"; or why not, and what to try
};

// Of the messenger that was made last; without one, why there is none.  For applications: the
// library does not ask.  From any thread.
MISCDISC_EXPORT MessengerState messengerState();
