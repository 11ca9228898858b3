// Seconds as people give them to options.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <string>

namespace console {

// For check(): a number from least to most.  CLI::Range lets "nan" through, which is neither
// smaller nor larger than anything.
class Seconds : public CLI::Range {
 public:
  Seconds(double least, double most) : Range(least, most) {
    func_ = [range = func_](std::string& text) {
      const bool isNumber = !std::isnan(std::strtod(text.c_str(), nullptr));
      return isNumber ? range(text) : "Value " + text + " is not a number of seconds";
    };
  }
};

// What a mount may be given to answer.
inline Seconds secondsToAnswer() { return {0.001, 3600.0}; }

}  // namespace console
