// What the client library's threads report about one connection: texts that came in go on to the
// mailbox, the rest waits for the connection's own thread.
#pragma once

#include <nats/nats.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/messenger/engine.h"

namespace host::nats {

// The one header that travels with a text, which is the message's bytes: sender, "t" and number,
// "a1b2-t-17".  It is also what the server knows a text by that comes again.
inline constexpr char kIdHeader[] = "Nats-Msg-Id";
std::string idOf(const Parcel& parcel);

class Line : public std::enable_shared_from_this<Line> {
 public:
  // What the server says to a text that was published.
  struct Answer {
    std::string id;
    bool accepted = false;
    natsStatus status = NATS_OK;
    int code = 0;
    std::string words;
  };

  Line(Mailbox& mailbox, std::string group);
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line();

  // For the library's callbacks, which may come after the line is gone: then they do nothing.
  // REQUIRES: a shared pointer owns the line.
  void* closure();

  int descriptor() const { return descriptor_; }  // readable: look for answers and trouble
  std::vector<Answer> answers();                  // clears the descriptor
  std::optional<std::string> trouble() const;     // the connection, or what it carries, is broken
  bool forbidden() const;          // it is, as the server lets this user not do what was tried last
  void wakeAfter(size_t answers);  // not for fewer than these

  // Sequence numbers of the stream: of the text that is due.
  void startAt(uint64_t next);
  void skipTo(uint64_t next);  // what is before is gone; lost when it was due
  uint64_t next() const;

  // The callbacks; the closure is a line's.
  static void onText(natsConnection*, natsSubscription*, natsMsg* message, void* closure);
  static void onAnswer(jsCtx*, natsMsg* message, jsPubAck* accepted, jsPubAckErr* refused,
                       void* closure);
  static void onClosed(natsConnection* connection, void* closure);
  static void onError(natsConnection* connection, natsSubscription*, natsStatus status,
                      void* closure);

  // Afterwards nothing reaches the mailbox.
  void stop();

 private:
  void receive(natsMsg& message);
  void answer(Answer answer);
  void breakWith(std::string words, bool forbidden = false);
  void wake();

  const std::string group_;
  const int descriptor_;
  uintptr_t id_ = 0;  // 0: nobody has asked for the closure

  mutable std::mutex mutex_;
  Mailbox* mailbox_;  // null: stopped
  std::vector<Answer> answers_;
  size_t wakeAfter_ = 1;
  bool awake_ = false;  // the descriptor is readable
  std::optional<std::string> trouble_;
  bool forbidden_ = false;
  uint64_t next_ = 1;          // of the stream
  uint64_t nextDelivery_ = 1;  // the server counts what it delivers, too
};

}  // namespace host::nats
