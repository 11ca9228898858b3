// What the numbers of the texts that come in say about those that did not.
//
// Each sender numbers its texts 1, 2, 3, ...  Who comes into a group late first hears some higher
// number, which is no loss; later a stranger's higher number means that its first texts are
// missing.  Callers take turns.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "miscdisc/platform/values/export.h"

namespace host {

class MISCDISC_EXPORT Arrivals {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Verdict {
    bool rescan;   // something is missing
    bool deliver;  // the text is news
    bool operator==(const Verdict&) const = default;
  };

  // A sender that is first heard within `settling` of settle() may have any number: its earlier
  // texts were sent before the group was entered.  Without a value that holds at any time, for a
  // carrier that says itself when it has lost something.
  explicit Arrivals(std::optional<std::chrono::milliseconds> settling) : settling_(settling) {}

  void settle(Time now) { settled_ = settling_ ? now + *settling_ : Time::max(); }
  void forgetAll() { senders_.clear(); }

  // The carrier has told of a loss: numbers that the senders have left out by their next texts are
  // no other one.  Not where it may lose texts without telling.
  void lossTold() {
    if (!settling_) ++lossesTold_;
  }

  Verdict text(const std::string& sender, uint64_t number, Time now);

  // The sender says that this is the number of its last text.
  Verdict mark(const std::string& sender, uint64_t number, Time now);

 private:
  struct Sender {
    uint64_t number;  // of the last text that is known
    Time heard;
    uint64_t lossesTold;  // by then
  };

  const Sender* find(const std::string& sender) const;
  void remember(const std::string& sender, uint64_t number, Time now);

  const std::optional<std::chrono::milliseconds> settling_;
  Time settled_ = Time::max();
  uint64_t lossesTold_ = 0;
  std::unordered_map<std::string, Sender> senders_;
};

}  // namespace host
