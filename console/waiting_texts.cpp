#include "console/waiting_texts.h"

#include <utility>

namespace console {

void WaitingTexts::push(std::string text) {
  bytes_ += text.size();
  texts_.push_back(std::move(text));
  while (texts_.size() > kMostTexts || bytes_ > kMostBytes) {
    takeOldest();
    ++leftOut_;
  }
}

std::optional<std::string> WaitingTexts::next() {
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
