// Times as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace console {

// By the clock of the room in which it is read, in the format of strftime.
std::string localTime(int64_t nanosecondsSince1970, const char* format);

// For people local, as "23:32", with the day before it unless that is today; else as rfc3339().
std::string when(int64_t nanosecondsSince1970, bool people);

int64_t now();  // nanoseconds since 1970

}  // namespace console
