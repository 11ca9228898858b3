// The pauses between attempts to connect: each twice as long as the one before, and never the same
// for two programs that lost the same server.
#pragma once

#include <algorithm>
#include <chrono>
#include <random>

namespace host {

class Pauses {
 public:
  using Milliseconds = std::chrono::milliseconds;

  // Between 25 and 50 ms at first, and 2.5 and 5 s in the end.
  Milliseconds next() {
    const auto longest = pause_.count();
    pause_ = std::min(pause_ * 2, Milliseconds(5000));
    return Milliseconds(std::uniform_int_distribution(longest / 2, longest)(random_));
  }
  void startAnew() { pause_ = Milliseconds(50); }

 private:
  Milliseconds pause_{50};
  std::minstd_rand random_{std::random_device()()};
};

}  // namespace host
