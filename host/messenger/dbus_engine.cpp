#include "host/messenger/dbus_engine.h"

#include <poll.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "host/fnv1a.h"
#include "host/messenger/pauses.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using std::chrono::milliseconds;

const char kInterface[] = "org.miscdisc.Messages1";
const char kMember[] = "Text";
const char kSignature[] = "aystyay";  // group, sender, number, kind, text

constexpr auto kConnectPatience = std::chrono::seconds(10);
// Who begins to listen this long after entering a group has missed what was sent meanwhile.
constexpr auto kSettling = std::chrono::seconds(2);

// So many texts may wait in the connection itself; the others wait in the mailbox, which is
// bounded.
constexpr uint64_t kMostUnwritten = 64;
// After so many signals those who send have their turn, and after so many texts those who listen.
// A thread that came to send one text carries no more than these for others.
constexpr int kMostSignals = 256;
constexpr int kMostTextsAtOnce = 64;

constexpr size_t kLongestGroup = 8192;

struct CloseBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct UnrefSlot {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
struct UnrefMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Slot = std::unique_ptr<sd_bus_slot, UnrefSlot>;
using Message = std::unique_ptr<sd_bus_message, UnrefMessage>;

// Groups that share a path are told apart by the name that each text carries.
std::string pathOf(const std::string& group) {
  char path[64];
  std::snprintf(path, sizeof path, "/org/miscdisc/group/%016llx",
                static_cast<unsigned long long>(fnv1a(group)));
  return path;
}

std::string readBytes(sd_bus_message* message, bool& read) {
  const void* bytes = nullptr;
  size_t size = 0;
  read = read && sd_bus_message_read_array(message, 'y', &bytes, &size) >= 0;
  return read ? std::string(static_cast<const char*>(bytes), size) : std::string();
}

// Nothing for a signal that no messenger has sent.
std::optional<Parcel> readParcel(sd_bus_message* message) {
  if (sd_bus_message_has_signature(message, kSignature) <= 0) return {};
  Parcel parcel;
  bool read = true;
  parcel.group = readBytes(message, read);
  const char* sender = nullptr;
  uint8_t kind = 0;
  read = read && sd_bus_message_read(message, "sty", &sender, &parcel.number, &kind) >= 0;
  if (read) parcel.sender = sender;
  parcel.text = readBytes(message, read);
  parcel.kind = static_cast<Parcel::Kind>(kind);
  const bool isKnown = parcel.kind == Parcel::Kind::kText || parcel.kind == Parcel::Kind::kHello ||
                       parcel.kind == Parcel::Kind::kMark;
  const bool fits = parcel.group.size() <= kLongestGroup && parcel.text.size() <= kLongestText;
  if (!read || !isKnown || !fits || !isSender(parcel.sender)) return {};
  return parcel;
}

int writeParcel(sd_bus* bus, const Parcel& parcel) {
  sd_bus_message* made = nullptr;
  int result =
      sd_bus_message_new_signal(bus, &made, pathOf(parcel.group).c_str(), kInterface, kMember);
  const Message message(made);
  const auto step = [&result](auto append) {
    if (result >= 0) result = append();
  };
  step([&] {
    return sd_bus_message_append_array(made, 'y', parcel.group.data(), parcel.group.size());
  });
  step([&] {
    return sd_bus_message_append(made, "sty", parcel.sender.c_str(), parcel.number,
                                 static_cast<uint8_t>(parcel.kind));
  });
  step([&] {
    return sd_bus_message_append_array(made, 'y', parcel.text.data(), parcel.text.size());
  });
  step([&] { return sd_bus_send(bus, made, nullptr); });
  return result;
}

}  // namespace

// The connection, made anew whenever it fails.  One thread uses it at a time, and holds its mutex
// but while it waits and while texts are handed over.
class DbusEngine::Line {
 public:
  explicit Line(std::string address) : address_(std::move(address)) {}

  void run(Mailbox& mailbox) {
    Lock lock(mutex_);
    mailbox_ = &mailbox;
    answerBell();
    while (!isOver()) {
      if (!bus_ && Clock::now() >= nextAttempt_) connect();
      receive();
      if (!handOver(lock)) return;
      if (established_ && failure_.empty()) send(Caller::kRun);
      if (bus_ && !established_ && Clock::now() >= givenUp_) fail(-ETIMEDOUT);
      if (!failure_.empty()) disconnect();
      if (!isOver()) wait(lock);
    }
    forgetUnconfirmed();
    if (held_) mailbox.undeliverable(*held_, "there is no connection to the session bus");
    held_.reset();
  }

  bool carryNow() {
    const Lock lock(mutex_, std::try_to_lock);
    if (!lock || !established_ || !failure_.empty()) return false;
    send(Caller::kSender);
    return failure_.empty() && !held_ && isWritten();
  }

 private:
  using Lock = std::unique_lock<std::mutex>;
  enum class Caller { kRun, kSender };

  void fail(int error) {
    if (failure_.empty()) failure_ = std::strerror(-error);
  }

  void connect() {
    givenUp_ = Clock::now() + kConnectPatience;
    sd_bus* made = nullptr;
    int result = sd_bus_new(&made);
    bus_.reset(made);
    if (result >= 0) result = sd_bus_set_address(made, address_.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(made, 1);
    if (result >= 0) result = sd_bus_start(made);
    if (result < 0) fail(result);
  }

  void disconnect() {
    match_.reset();
    bus_.reset();
    asked_ = established_ = more_ = false;
    confirming_.reset();
    forgetUnconfirmed();
    missed_ = true;
    nextAttempt_ = Clock::now() + pauses_.next();
    mailbox_->state(false, "no connection to the session bus at " + address_ + ": " + failure_ +
                               "; trying again. Is it running? See DBUS_SESSION_BUS_ADDRESS");
    failure_.clear();
  }

  void receive() {
    if (!bus_ || !failure_.empty()) return;
    int result = 1;
    for (int i = 0; i < kMostSignals && result > 0; ++i) {
      result = sd_bus_process(bus_.get(), nullptr);
    }
    more_ = result > 0;
    if (result < 0) return fail(result);
    if (sd_bus_is_open(bus_.get()) <= 0) return fail(-ECONNRESET);
    if (!asked_ && sd_bus_is_ready(bus_.get()) > 0) subscribe();
  }

  // False when another thread has taken the line over.
  bool handOver(Lock& lock) {
    if (came_.empty()) return true;
    std::vector<Parcel> parcels = std::exchange(came_, {});
    lock.unlock();
    if (!mailbox_->arrivedTogether(parcels)) return false;
    lock.lock();
    return true;
  }

  // Texts of the group that is wanted now; those of the group before are no longer.
  void subscribe() {
    asked_ = true;
    match_.reset();
    if (group_.empty()) return establish();
    const std::string rule = "type='signal',interface='" + std::string(kInterface) + "',member='" +
                             kMember + "',path='" + pathOf(group_) + "'";
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(bus_.get(), &slot, rule.c_str(), &Line::onText,
                                              &Line::onMatched, this);
    match_.reset(slot);
    if (result < 0) fail(result);
  }

  static int onMatched(sd_bus_message* reply, void* line, sd_bus_error*) {
    auto& self = *static_cast<Line*>(line);
    const int error = sd_bus_message_get_errno(reply);
    if (error != 0) {
      self.fail(-error);
    } else {
      self.establish();
    }
    return 1;
  }

  static int onText(sd_bus_message* message, void* line, sd_bus_error*) {
    auto& self = *static_cast<Line*>(line);
    if (auto parcel = readParcel(message)) {
      self.came_.push_back(*std::move(parcel));
    } else {
      self.mailbox_->stranger();
    }
    return 1;
  }

  void establish() {
    if (!std::exchange(established_, true)) pauses_.startAnew();
    mailbox_->state(true, "connected to the session bus");
    if (wanted_ && Clock::now() - *wanted_ > kSettling) missed_ = true;
    wanted_.reset();
    if (std::exchange(missed_, false)) mailbox_->lost();
  }

  // A hello asks for answers: the texts of its group are asked for before.
  void send(Caller caller) {
    for (int count = 0; !isBusy() && hold(); ++count) {
      if (count == kMostTextsAtOnce) {
        more_ = true;
        return;
      }
      if (held_->kind == Parcel::Kind::kHello && held_->group != group_) {
        if (caller != Caller::kRun) return;
        answerBell();
      }
      const int result = writeParcel(bus_.get(), *held_);
      if (result < 0 && sd_bus_is_open(bus_.get()) <= 0) return fail(result);
      if (result < 0) {
        mailbox_->undeliverable(*held_, std::strerror(-result));
      } else if (held_->kind == Parcel::Kind::kText) {
        unconfirmed_ = *std::move(held_);
        ++written_;
      } else if (held_->kind == Parcel::Kind::kMark) {
        confirm();
      }
      held_.reset();
    }
  }

  // A bus that writes to a connection already closed, as it does to give back what that one has
  // sent, throws away what it has not read from it.  So before the end, and with each mark, it is
  // asked whether it has read everything; it answers in turn.
  bool confirm() {
    if (!unconfirmed_ || !established_) return true;
    if (confirming_) return false;
    confirming_ = written_;
    const int result = sd_bus_call_method_async(bus_.get(), nullptr, "org.freedesktop.DBus",
                                                "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                                "GetId", &Line::onConfirmed, this, "");
    if (result < 0) fail(result);
    return false;
  }

  static int onConfirmed(sd_bus_message*, void* line, sd_bus_error*) {
    auto& self = *static_cast<Line*>(line);
    if (std::exchange(self.confirming_, {}) == self.written_) self.unconfirmed_.reset();
    return 1;
  }

  // Who stays tells of a loss by the next mark.
  void forgetUnconfirmed() {
    if (unconfirmed_ && end_) {
      mailbox_->undeliverable(*unconfirmed_, "the session bus has not confirmed it");
    }
    unconfirmed_.reset();
  }

  // The oldest parcel that waits is in held_.
  bool hold() {
    if (!held_) held_ = mailbox_->take();
    return held_.has_value();
  }

  bool isBusy() const {
    uint64_t unwritten = 0;
    return sd_bus_get_n_queued_write(bus_.get(), &unwritten) >= 0 && unwritten > kMostUnwritten;
  }

  bool isWritten() const {
    uint64_t unwritten = 0;
    return !established_ || sd_bus_get_n_queued_write(bus_.get(), &unwritten) < 0 || unwritten == 0;
  }

  // When the end comes in a pause, there is one more attempt at once.
  void answerBell() {
    const std::string group = mailbox_->group();
    if (!end_ && (end_ = mailbox_->end())) nextAttempt_ = std::min(nextAttempt_, Clock::now());
    if (group == group_) return;
    group_ = group;
    wanted_ = Clock::now();
    if (asked_) subscribe();
  }

  bool isOver() { return end_ && (Clock::now() >= *end_ || (isWritten() && !hold() && confirm())); }

  void wait(Lock& lock) {
    pollfd ready[] = {{mailbox_->descriptor(), POLLIN, 0}, {-1, 0, 0}};
    Time until = nextAttempt_;
    if (bus_) {
      until = established_ ? Time::max() : givenUp_;
      uint64_t microseconds = UINT64_MAX;
      sd_bus_get_timeout(bus_.get(), &microseconds);
      if (microseconds != UINT64_MAX) {
        until = std::min(until, Time(std::chrono::microseconds(microseconds)));
      }
      const int events = sd_bus_get_events(bus_.get());
      if (events < 0) return fail(events);
      ready[1].fd = sd_bus_get_fd(bus_.get());
      ready[1].events = static_cast<short>(events);
      if (more_) until = Time::min();
    }
    if (established_ && !held_ && !isBusy()) {
      until = std::min(until, mailbox_->due().value_or(Time::max()));
    }
    if (end_) until = std::min(until, *end_);
    const int timeout = millisecondsTo(until);
    lock.unlock();
    poll(ready, 2, timeout);
    lock.lock();
    if (ready[0].revents != 0) answerBell();
  }

  static int millisecondsTo(Time time) {
    if (time == Time::max()) return -1;
    const auto left = std::chrono::ceil<milliseconds>(time - std::min(time, Clock::now()));
    return static_cast<int>(std::min<int64_t>(left.count(), INT_MAX));
  }

  const std::string address_;
  std::mutex mutex_;
  Mailbox* mailbox_ = nullptr;
  std::string group_;
  std::optional<Time> wanted_;  // since then its texts are; none: they come in
  std::optional<Time> end_;
  std::optional<Parcel> held_;          // taken, and not sent yet
  std::optional<Parcel> unconfirmed_;   // the last text that has been sent
  uint64_t written_ = 0;                // texts
  std::optional<uint64_t> confirming_;  // up to which of them the bus has been asked
  std::vector<Parcel> came_;

  Time nextAttempt_ = Time::min();
  Time givenUp_;
  Pauses pauses_;
  std::string failure_;  // why the connection is of no use any more
  Bus bus_;
  Slot match_;
  bool asked_ = false;        // for the texts of the group
  bool established_ = false;  // and those of some group have been promised
  bool missed_ = false;       // texts may have passed while there was no connection
  bool more_ = false;         // is to be done at once
};

namespace {

// As it stands in an address: whatever else a path holds is escaped.
std::string escaped(const std::string& path) {
  std::string text;
  for (const char c : path) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || std::strchr("-_/.\\*", c);
    char code[4];
    std::snprintf(code, sizeof code, "%%%02x", static_cast<unsigned char>(c));
    text += isPlain ? std::string(1, c) : code;
  }
  return text;
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
  const char* const named = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (named && *named != '\0') return named;
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  if (!folder || *folder != '/') return {};
  const std::string socket = std::string(folder) + "/bus";
  struct stat found {};
  if (stat(socket.c_str(), &found) != 0 || !S_ISSOCK(found.st_mode)) return {};
  return "unix:path=" + escaped(socket);
}

DbusEngine::DbusEngine(const std::string& address) : line_(std::make_unique<Line>(address)) {}

DbusEngine::~DbusEngine() = default;

void DbusEngine::run(Mailbox& mailbox) { line_->run(mailbox); }

bool DbusEngine::carryNow() { return line_->carryNow(); }

}  // namespace host
