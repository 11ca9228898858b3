// Texts that came in and wait for a reader, who may be slow, or not read at all.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace console {

class WaitingTexts {
 public:
  // What may wait; beyond either, the oldest are left out, and a rescan stands in their place.
  static constexpr size_t kMostTexts = 65536;
  static constexpr size_t kMostBytes = size_t{64} * 1024 * 1024;

  void push(std::string text);
  std::optional<std::string> next();             // the oldest
  uint64_t leftOut() const { return leftOut_; }  // so far

 private:
  std::string takeOldest();

  std::deque<std::string> texts_;
  size_t bytes_ = 0;
  uint64_t leftOut_ = 0;
  bool gap_ = false;  // before the oldest
};

}  // namespace console
