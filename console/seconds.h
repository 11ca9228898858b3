// Seconds as people give them to options.
#pragma once

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <string>

namespace console {

// For check(): a number from least to most.  What CLI::Range says is no help, and it lets "nan"
// through, which is neither smaller nor larger than anything.
class Seconds : public CLI::Range {
 public:
  Seconds(double least, double most) : Range(least, most) {
    func_ = [least, most](std::string& text) -> std::string {
      char* end = nullptr;
      const double seconds = std::strtod(text.c_str(), &end);
      if (end == text.c_str() || *end != '\0' || std::isnan(seconds)) {
        return "a number of seconds was expected, such as 60, not " + text;
      }
      if (seconds >= least && seconds <= most) return "";
      return fmt::format("{} to {} seconds were expected, not {}", least, most, text);
    };
  }
};

// What a mount may be given to answer.
inline Seconds secondsToAnswer() { return {0.001, 3600.0}; }

}  // namespace console
