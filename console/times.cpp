#include "console/times.h"

#include <chrono>
#include <ctime>

#include "console/context.h"

namespace console {

std::string localTime(int64_t nanosecondsSince1970, const char* format) {
  const std::time_t seconds = nanosecondsSince1970 / 1'000'000'000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[64];
  std::strftime(text, sizeof text, format, &local);
  return text;
}

std::string when(int64_t nanosecondsSince1970, bool people) {
  if (!people) return rfc3339(nanosecondsSince1970);
  const bool today = localTime(nanosecondsSince1970, "%F") == localTime(now(), "%F");
  return localTime(nanosecondsSince1970, today ? "%H:%M" : "%F %H:%M");
}

int64_t now() {
  const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::nanoseconds(since1970).count();
}

}  // namespace console
