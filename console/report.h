// What a report says, for a wall display and for a monitoring system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "console/status.h"

namespace console {

struct Report {
  Status status;
  std::string machine;  // its name, as the system has it
  int64_t made;         // nanoseconds since 1970
};

// One page that needs nothing else: no script, no other file.  It has browsers load it again after
// so many seconds, if any.  What comes from outside is text in it, whatever it contains.
std::string reportPage(const Report& report, std::optional<int> refreshSeconds);

// The text format of Prometheus, in bytes and seconds.  A figure that is not known is left out.
std::string reportMetrics(const Report& report);

}  // namespace console
