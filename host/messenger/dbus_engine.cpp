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
#include <random>
#include <string_view>
#include <utility>

#include "host/messenger/messenger_core.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using std::chrono::milliseconds;

const char kInterface[] = "org.miscdisc.Messages1";
const char kMember[] = "Text";
const char kSignature[] = "aystyay";  // group, sender, number, kind, text

constexpr auto kConnectPatience = std::chrono::seconds(10);
constexpr auto kFirstPause = milliseconds(50);
constexpr auto kLongestPause = milliseconds(5000);

// So many texts may wait in the connection itself; the others wait in the mailbox, which is
// bounded.
constexpr uint64_t kMostUnwritten = 64;
// After so many signals texts that wait to be sent have their turn.
constexpr int kMostAtOnce = 256;

constexpr size_t kLongestSender = 64;
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
  uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const unsigned char byte : group) hash = (hash ^ byte) * 0x100000001b3;
  char path[64];
  std::snprintf(path, sizeof path, "/org/miscdisc/group/%016llx",
                static_cast<unsigned long long>(hash));
  return path;
}

std::string readBytes(sd_bus_message* message, bool& read) {
  const void* bytes = nullptr;
  size_t size = 0;
  read = read && sd_bus_message_read_array(message, 'y', &bytes, &size) >= 0;
  return read ? std::string(static_cast<const char*>(bytes), size) : std::string();
}

bool isHexadecimal(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789abcdef") == std::string::npos;
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
  const bool fits = parcel.group.size() <= kLongestGroup &&
                    parcel.sender.size() <= kLongestSender && parcel.text.size() <= kLongestText;
  if (!read || !isKnown || !fits || !isHexadecimal(parcel.sender)) return {};
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

// Pauses between attempts: longer each time, and of several programs not all the same.
class Pauses {
 public:
  milliseconds next() {
    const auto pause = std::exchange(pause_, std::min(pause_ * 2, kLongestPause));
    return pause / 2 + milliseconds(random_() % static_cast<unsigned>(pause.count() / 2 + 1));
  }
  void startAnew() { pause_ = kFirstPause; }

 private:
  milliseconds pause_ = kFirstPause;
  std::minstd_rand random_{std::random_device()()};
};

// What run() does, from connection to connection.
class Carrying {
 public:
  Carrying(Mailbox& mailbox, const std::string& address) : mailbox_(mailbox), address_(address) {}

  void run() {
    answerBell();
    while (!isOver()) {
      useConnection();
      established_ = false;
      if (isOver()) break;
      missed_ = true;
      mailbox_.state(false, "no connection to the session bus at " + address_ + ": " + failure_ +
                                "; trying again. Is it running? See DBUS_SESSION_BUS_ADDRESS");
      pause();
    }
    if (held_) mailbox_.undeliverable(*held_, failure_);
  }

 private:
  // Until it fails or everything is over.
  void useConnection() {
    failure_.clear();
    const Time givenUp = Clock::now() + kConnectPatience;
    Bus bus = connect();
    bus_ = bus.get();
    while (failure_.empty()) {
      receive();
      if (!established_ && Clock::now() >= givenUp) fail(-ETIMEDOUT);
      if (failure_.empty() && established_) send();
      if (!failure_.empty() || isOver()) break;
      wait(established_ ? Time::max() : givenUp);
    }
    match_.reset();
    asked_ = false;
    bus_ = nullptr;
  }

  void fail(int error) {
    if (failure_.empty()) failure_ = std::strerror(-error);
  }

  Bus connect() {
    sd_bus* made = nullptr;
    int result = sd_bus_new(&made);
    Bus bus(made);
    if (result >= 0) result = sd_bus_set_address(made, address_.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(made, 1);
    if (result >= 0) result = sd_bus_start(made);
    if (result < 0) fail(result);
    return bus;
  }

  void receive() {
    if (!failure_.empty()) return;
    int result = 1;
    for (int i = 0; i < kMostAtOnce && result > 0; ++i) result = sd_bus_process(bus_, nullptr);
    more_ = result > 0;
    if (result < 0) return fail(result);
    if (sd_bus_is_open(bus_) <= 0) return fail(-ECONNRESET);
    if (!asked_ && sd_bus_is_ready(bus_) > 0) subscribe();
  }

  // Texts of the group that is wanted now; those of the group before are no longer.
  void subscribe() {
    asked_ = true;
    match_.reset();
    if (group_.empty()) return establish();
    const std::string rule = "type='signal',interface='" + std::string(kInterface) + "',member='" +
                             kMember + "',path='" + pathOf(group_) + "'";
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(bus_, &slot, rule.c_str(), &Carrying::onText,
                                              &Carrying::onMatched, this);
    match_.reset(slot);
    if (result < 0) fail(result);
  }

  static int onMatched(sd_bus_message* reply, void* carrying, sd_bus_error*) {
    auto& self = *static_cast<Carrying*>(carrying);
    const int error = sd_bus_message_get_errno(reply);
    if (error != 0) {
      self.fail(-error);
    } else {
      self.establish();
    }
    return 1;
  }

  static int onText(sd_bus_message* message, void* carrying, sd_bus_error*) {
    auto& self = *static_cast<Carrying*>(carrying);
    if (auto parcel = readParcel(message)) {
      self.mailbox_.arrived(*std::move(parcel));
    } else {
      self.countStranger();
    }
    return 1;
  }

  void establish() {
    if (std::exchange(established_, true)) return;
    pauses_.startAnew();
    tellState();
    if (std::exchange(missed_, false)) mailbox_.lost();
  }

  void tellState() {
    std::string words = "connected to the session bus";
    if (strangers_ > 0)
      words += "; signals of another shape that were ignored: " + std::to_string(strangers_);
    mailbox_.state(true, words);
  }

  // Told at 1, 2, 4, 8, ... of them.
  void countStranger() {
    ++strangers_;
    if ((strangers_ & (strangers_ - 1)) == 0) tellState();
  }

  void send() {
    while (!isBusy() && hold()) {
      if (held_->kind == Parcel::Kind::kHello && held_->group != group_) follow(mailbox_.group());
      const int result = writeParcel(bus_, *held_);
      if (result < 0 && sd_bus_is_open(bus_) <= 0) return fail(result);
      if (result < 0) mailbox_.undeliverable(*held_, std::strerror(-result));
      held_.reset();
    }
  }

  // The oldest parcel that waits is in held_.
  bool hold() {
    if (!held_) held_ = mailbox_.take();
    return held_.has_value();
  }

  bool isBusy() const {
    uint64_t unwritten = 0;
    return sd_bus_get_n_queued_write(bus_, &unwritten) >= 0 && unwritten > kMostUnwritten;
  }

  bool isWritten() const {
    uint64_t unwritten = 0;
    return !established_ || sd_bus_get_n_queued_write(bus_, &unwritten) < 0 || unwritten == 0;
  }

  void follow(const std::string& group) {
    if (group == group_) return;
    group_ = group;
    if (asked_) subscribe();
  }

  void answerBell() {
    follow(mailbox_.group());
    end_ = mailbox_.end();
  }

  bool isOver() { return end_ && (Clock::now() >= *end_ || (isWritten() && !hold())); }

  void wait(Time until) {
    pollfd ready[] = {{mailbox_.descriptor(), POLLIN, 0}, {sd_bus_get_fd(bus_), 0, 0}};
    const int events = sd_bus_get_events(bus_);
    if (ready[1].fd < 0 || events < 0) return fail(ready[1].fd < 0 ? ready[1].fd : events);
    ready[1].events = static_cast<short>(events);
    uint64_t microseconds = UINT64_MAX;
    sd_bus_get_timeout(bus_, &microseconds);
    if (microseconds != UINT64_MAX)
      until = std::min(until, Time(std::chrono::microseconds(microseconds)));
    waitFor(ready, 2, more_ ? Time::min() : until);
  }

  void pause() {
    pollfd ready[] = {{mailbox_.descriptor(), POLLIN, 0}};
    const Time until = Clock::now() + pauses_.next();
    while (Clock::now() < until && !isOver()) {
      const bool ending = end_.has_value();
      waitFor(ready, 1, until);
      if (!ending && end_) return;
    }
  }

  void waitFor(pollfd* ready, nfds_t count, Time until) {
    if (end_) until = std::min(until, *end_);
    int timeout = -1;
    if (until != Time::max()) {
      const auto left = std::chrono::ceil<milliseconds>(until - std::min(until, Clock::now()));
      timeout = static_cast<int>(std::min<int64_t>(left.count(), INT_MAX));
    }
    if (poll(ready, count, timeout) > 0 && ready[0].revents != 0) answerBell();
  }

  Mailbox& mailbox_;
  const std::string& address_;
  std::string group_;
  std::optional<Time> end_;
  std::optional<Parcel> held_;  // taken, and not sent yet
  Pauses pauses_;

  std::string failure_;
  sd_bus* bus_ = nullptr;
  Slot match_;
  bool asked_ = false;        // for the texts of the group
  bool established_ = false;  // and they have been promised, once
  bool missed_ = false;       // texts may have passed while there was no connection
  bool more_ = false;         // has come in already
  uint64_t strangers_ = 0;
};

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

void DbusEngine::run(Mailbox& mailbox) { Carrying(mailbox, address_).run(); }

}  // namespace host
