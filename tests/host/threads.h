// How many threads this process has.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace test {

inline size_t threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task"), end;
  return static_cast<size_t>(std::distance(tasks, end));
}

}  // namespace test
