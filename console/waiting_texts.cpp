#include "console/waiting_texts.h"

#include <utility>

#include "miscdisc/platform/values/net_message.h"

namespace console {

void WaitingTexts::push(std::string text) {
  bytes_ += text.size();
  texts_.push_back(std::move(text));
  while (texts_.size() > kMostTexts || bytes_ > kMostBytes) {
    takeOldest();
    ++leftOut_;
    gap_ = true;
  }
}

std::optional<std::string> WaitingTexts::next() {
  if (std::exchange(gap_, false)) return NetMessage(NetMessage::Rescan, "").asString();
  if (texts_.empty()) return {};
  return takeOldest();
}

std::string WaitingTexts::takeOldest() {
  std::string oldest = std::move(texts_.front());
  texts_.pop_front();
  bytes_ -= oldest.size();
  return oldest;
}

}  // namespace console
