#include "host/messenger/arrivals.h"

#include <algorithm>

namespace host {
namespace {

// Senders come and go for as long as the process runs.  One that is forgotten is a stranger when it
// is heard again: at worst one rescan too many.
constexpr size_t kMostSenders = 4096;

}  // namespace

Arrivals::Verdict Arrivals::text(const std::string& sender, uint64_t number, Time now) {
  const Sender* const known = find(sender);
  if (known && number <= known->number) return {false, false};
  const bool isTold = known && known->lossesTold != lossesTold_;
  const bool missing =
      known ? number > known->number + 1 && !isTold : number > 1 && now >= settled_;
  remember(sender, number, now);
  return {missing, true};
}

Arrivals::Verdict Arrivals::mark(const std::string& sender, uint64_t number, Time now) {
  const Sender* const known = find(sender);
  if (known && number <= known->number) return {false, false};
  const bool missing = known || (number > 0 && now >= settled_);
  remember(sender, number, now);
  return {missing, false};
}

const Arrivals::Sender* Arrivals::find(const std::string& sender) const {
  const auto found = senders_.find(sender);
  return found == senders_.end() ? nullptr : &found->second;
}

void Arrivals::remember(const std::string& sender, uint64_t number, Time now) {
  if (senders_.size() >= kMostSenders && !senders_.contains(sender)) {
    senders_.erase(std::min_element(senders_.begin(), senders_.end(), [](auto& a, auto& b) {
      return a.second.heard < b.second.heard;
    }));
  }
  senders_[sender] = {number, now, lossesTold_};
}

}  // namespace host
