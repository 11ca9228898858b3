// One connection to the server, from its making to its end.
//
// A session ends at the first thing that is not as it should be; what was not confirmed is
// published again by the next one, in order and under the same ids, of which the server keeps one
// each, and receiving goes on with the text that is due.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "host/nats/connection.h"
#include "host/nats/line.h"

namespace host::nats {

using Clock = std::chrono::steady_clock;

// What outlives a connection.
struct Traffic {
  struct Outgoing {
    Parcel parcel;
    std::string id;
    bool settled = false;  // nothing is left to do about it
    Clock::time_point published;
  };
  std::deque<Outgoing> out;  // not confirmed, oldest first
  int refusals = 0;          // in a row, where a text was for a group that we have left

  std::string group;  // that we are in; empty: none
  // The number in the group's stream of the text that is due; none: the stream was not looked at
  // since the group was entered.
  std::optional<uint64_t> next;
  int64_t streamMade = 0;  // when; at another time: that is another stream, with new numbers

  void look(Mailbox& mailbox);  // which group we are in
  // Until the mailbox has something, the descriptor `line` (below 0: none) or the time is over.
  void wait(Mailbox& mailbox, int line, std::chrono::milliseconds wait);
  Outgoing* fetch(Mailbox& mailbox);  // the next that waits in the mailbox; null: none
};

class Session {
 public:
  Session(const EngineSettings& settings, Mailbox& mailbox, Traffic& traffic);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Until the end, until we are in another group, or until something is wrong: then what, for
  // people.
  std::optional<std::string> run();

  bool worked() const { return worked_; }  // the server took and gave all that there was

  // After run(): the group that the server does not let us send to; empty: none that is known.
  std::string forbiddenGroup() const;

 private:
  bool open();
  bool subscribe();
  // For the stream of a group.
  natsStatus ask(const std::string& group, StreamInfo& info, jsErrCode& code);
  bool inspect(StreamInfo& info);
  bool settle(const Line::Answer& answer);
  bool publish();
  bool publish(Traffic::Outgoing& outgoing);
  void dropSettled();
  bool fail(std::string words);
  void pause(std::optional<Clock::time_point> end);
  void announce();  // that all is well
  std::chrono::milliseconds patience();

  const EngineSettings& settings_;
  Mailbox& mailbox_;
  Traffic& traffic_;
  const std::shared_ptr<Line> line_;
  Connection connection_;
  JetStream jetStream_;
  Subscription subscription_;
  size_t inFlight_ = 0;  // the first ones of traffic_.out
  size_t inFlightBytes_ = 0;
  std::string subject_, subjectsGroup_;  // of the last text
  Clock::time_point inspected_;
  bool worked_ = false;
  bool moved_ = false;  // into another group
  std::optional<std::string> trouble_;
};

}  // namespace host::nats
