#include "miscdisc/platform/clock.h"

#include <ctime>

uint32_t service_get_msecs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto milliseconds = static_cast<uint64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
  return static_cast<uint32_t>(milliseconds);
}
