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
