// What happens while a command looks on: one line for each event, as long as somebody reads.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "console/context.h"
#include "console/program.h"

namespace console {

// Wakes who waits for its descriptor.  From any thread.
class Wakeup {
 public:
  Wakeup();
  Wakeup(const Wakeup&) = delete;
  Wakeup& operator=(const Wakeup&) = delete;
  ~Wakeup();

  int descriptor() const { return descriptor_; }  // readable from wake() to the next calm()
  void wake();
  void calm();

 private:
  int descriptor_;
};

// With the schema, the time and the event's name.
Json eventDocument(const std::string& event);

// A command that waits and prints, until a signal comes or its reader has gone.  Neither kind of
// waiting keeps the other from ending it.
class EventLines {
 public:
  EventLines(const Output& output, EndSignals& signals) : output_(output), signals_(signals) {}

  // Both: how the command is to end; nothing while it goes on.

  // Until the descriptor is readable, or for so long.
  std::optional<Exit> wait(int descriptor, std::chrono::milliseconds most);
  std::optional<Exit> write(const std::string& lines);

 private:
  const Output& output_;
  EndSignals& signals_;
};

}  // namespace console
