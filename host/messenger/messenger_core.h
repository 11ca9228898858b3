// The messenger between the application and an engine: the queues of both directions, the numbers
// of the texts, the group, and the delivery.
//
// The group is the lobby that the projects base directory is, by its network form, so that other
// mount points mean the same lobby; there is none while the base directory is the local projects
// folder.  Each stay in a group has a sender's name and numbers of its own.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "host/messenger/engine.h"
#include "miscdisc/platform/messenger.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// What waits in either direction is at most this; beyond it texts are given up.
constexpr size_t kMostTexts = 65536;
constexpr size_t kMostBytes = 64 << 20;

class MessengerCore;

struct MessengerTiming {
  // A stranger's number may be any for so long after the group is entered.
  std::chrono::milliseconds settling = std::chrono::seconds(2);
  // So long after the last text the others are told its number, in case it was lost.
  std::array<std::chrono::milliseconds, 2> marks = {std::chrono::seconds(1),
                                                    std::chrono::seconds(10)};
  // What waits when the messenger is released has so long to get out.
  std::chrono::milliseconds flush = std::chrono::seconds(2);
};

// Starts two threads, which have ended when it is destroyed.  One runs the engine; what comes in is
// handed over by the other, or by the same where the engine says that this is better, one text at a
// time.  Destroying it lets what waits go out, as long as MessengerTiming::flush at most, and waits
// for a call of the receiver that is underway; when that call itself lets go of the messenger, its
// thread ends with the call instead.
//
// In a child of fork(), where its threads are not, it sends nothing and waits for nothing, also
// when it is destroyed there or the child exits.  A child may make one of its own.
class MISCDISC_EXPORT Messenger final : public iNetMessager {
 public:
  // The engine's name is for people.  Throws std::system_error when the machine has no descriptor
  // or no thread left.
  Messenger(std::unique_ptr<Engine> engine, const std::string& engineName,
            Qx::Ptr<iNetMessageReceiver> receiver, const MessengerTiming& timing = {});
  ~Messenger() override;

  // In no group the text goes nowhere.
  void send(const std::string& text) override;

 private:
  const std::shared_ptr<MessengerCore> core_;
  const pid_t process_;
};

// For whoever changes the projects base directory, or what is local: the group may be another one.
void updateMessengerGroup();

// For messengerFacts() while there is no messenger: which engine the settings want, and why there
// is none.
void setNoMessenger(const std::string& engineName, const std::string& why);

}  // namespace host
