// The command line of a stress.
#pragma once

#include <charconv>
#include <cstdint>
#include <map>
#include <string_view>

using Flags = std::map<std::string_view, bool*>;
using Numbers = std::map<std::string_view, uint64_t*>;

// Sets what is named.  False for a word that is no name, and for a name of a number without one.
inline bool readOptions(int count, char** arguments, const Flags& flags, const Numbers& numbers) {
  for (int i = 1; i < count; ++i) {
    const std::string_view name = arguments[i];
    if (const auto flag = flags.find(name); flag != flags.end()) {
      *flag->second = true;
      continue;
    }
    const auto number = numbers.find(name);
    if (number == numbers.end() || ++i == count) return false;
    const std::string_view value = arguments[i];
    const char* const end = value.data() + value.size();
    if (std::from_chars(value.data(), end, *number->second).ptr != end || value.empty()) {
      return false;
    }
  }
  return true;
}
