// How texts travel between the machines of a group: what the messenger and an engine say to each
// other.
//
// The messenger keeps the queues, numbers each machine's texts, notices what is missing and hands
// over to the receiver.  An engine only carries: it takes from the mailbox what waits, and puts
// into it what comes in.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

// A longer text is not sent; nor is it heard, whoever has sent it.
constexpr size_t kLongestText = 64 << 10;

// Whether a messenger may call itself so.
inline bool isSender(std::string_view name) {
  return !name.empty() && name.size() <= 64 &&
         name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// A text as it travels, with what receivers need to notice a loss.
struct Parcel {
  enum class Kind : char {
    kText = 't',
    kHello = 'h',  // somebody has come into the group and asks for the marks of the others
    kMark = 'm',   // no text: number is that of the sender's last text, 0 before the first
  };

  Kind kind = Kind::kText;
  std::string group;    // the lobby's network form
  std::string sender;   // at most 64 hexadecimal digits, others for each stay in a group
  uint64_t number = 0;  // 1, 2, 3, ... of that sender's texts
  std::string text;     // any bytes

  bool standsIn = false;  // a rescan for texts that were given up; does not travel
};

// The messenger's side.  Every call may come from any thread of the engine, and none blocks.
class Mailbox {
 public:
  // Readable while something has changed that the engine has not asked for since: a text waits,
  // the group is another one, or the end has come.  Belongs to the mailbox.
  virtual int descriptor() const = 0;

  // The group whose texts are wanted; empty: none.  Clears the descriptor, as does take().
  virtual std::string group() = 0;

  // The oldest parcel that waits.  Once taken it is the engine's to deliver.
  virtual std::optional<Parcel> take() = 0;

  // When there will be something to take without a sign from the descriptor.  For run(), before it
  // waits, of an engine that may lose texts unnoticed.
  virtual std::optional<std::chrono::steady_clock::time_point> due() { return {}; }

  // When set, run() is to return: as soon as everything is out, and at that moment at the latest.
  virtual std::optional<std::chrono::steady_clock::time_point> end() = 0;

  // Also what this messenger itself has sent, which nobody is told of.
  virtual void arrived(Parcel parcel) = 0;

  // The same for several that came together; empties the list.  To be called by run(), on its
  // thread and holding nothing: the receiver may be called before this returns, for as long as it
  // likes.  Meanwhile run() may be called on another thread; then this is false, and the caller
  // returns from run() without touching anything.
  virtual bool arrivedTogether(std::vector<Parcel>& parcels) {
    for (Parcel& parcel : parcels) arrived(std::move(parcel));
    parcels.clear();
    return true;
  }

  // Something came in that no messenger sends: it is counted, and otherwise ignored.
  virtual void stranger() = 0;

  // Texts of others may be missing, nobody knows which.
  virtual void lost() = 0;

  // The engine gives a parcel up, with the reason for the log.
  virtual void undeliverable(const Parcel& parcel, const std::string& why) = 0;

  // Connected: the texts of the group that group() gave last come in from now on; to be said anew
  // for each group.  For people: "connected to the session bus"; or why not, and what to try next.
  virtual void state(bool connected, const std::string& words) = 0;

 protected:
  ~Mailbox() = default;
};

class Engine {
 public:
  virtual ~Engine() = default;

  // False for a carrier that numbers and keeps what it is given, and calls lost() for what it could
  // not keep: then the messenger needs no hellos and marks.
  virtual bool mayLoseUnnoticed() const = 0;

  // Carries until the mailbox says end; called once, on a thread of the messenger, unless
  // Mailbox::arrivedTogether() is used.  Connects by itself, and again, without end, whenever the
  // connection is gone.
  virtual void run(Mailbox& mailbox) = 0;

  // Carries what waits in the mailbox of run(), on the calling thread, any one, as far as nobody
  // needs to wait for that, and not without end when others go on sending.  False: run() is to be
  // woken for what is left, or for all of it.
  virtual bool carryNow() { return false; }
};

}  // namespace host
