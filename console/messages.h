// Texts between the machines of a lobby, as commands send and hear them.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "console/context.h"
#include "console/events.h"
#include "console/waiting_texts.h"
#include "host/messenger/messenger.h"
#include "miscdisc/platform/values/net_message.h"
#include "miscdisc/platform/values/val_server.h"

namespace console {

// The notification server as long as the object lives; one in a process.
class Notifications {
 public:
  Notifications();
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;
  ~Notifications();  // what is still to be sent has two seconds
};

// Makes the lobby, or without one the configured lobby, the one in which this process works, in
// memory: nobody is logged in.  False, after saying why and with the exit code, when there is none.
bool workInLobby(const std::optional<std::string>& lobby, const Options& options, Exit& exit);

// What the others are told of a file, whose path is this machine's.  One with a backslash in it has
// no form that every machine reads alike: they are told to read their folders again.
std::string fileText(NetMessage::Type type, const WString& file);

// Sends texts to the other machines of the lobby in which this process works, and says what was
// sent; not before the carrier has taken them, or with --dry-run never.  Once in a process.
Exit sendTexts(Context& context, const std::vector<std::string>& texts);

// The messenger as it is now: "dbus: connected to the session bus; received 3", printable.
std::string messengerInWords(const host::MessengerFacts& facts);
Json asJson(const host::MessengerFacts& facts);  // the same for as long as it is in that state
Json withCounts(const host::MessengerFacts& facts);

// For who only wants to know: makes one where there is a lobby to hear, and gives it a moment to
// connect.
host::MessengerFacts lookAtMessenger(const Options& options);

// What texts say, of files as this machine calls them.
struct Heard {
  std::string kind;  // "added", "removed", "rescan"; "text": anything else, also of other files
  WString text;      // of a file, its path
};
Heard heard(const std::string& text);
Json asJson(const Heard& heard, const std::string& text);

// Keeps the texts that come in until they are asked for.
class Listener : private ValClientBase {
 public:
  explicit Listener(Wakeup& wakeup);
  ~Listener() override;

  std::optional<std::string> next();
  uint64_t leftOut();

  void notify(const NotifyMsg& msg) override;

 private:
  Wakeup& wakeup_;
  std::mutex mutex_;
  WaitingTexts texts_;
};

}  // namespace console
