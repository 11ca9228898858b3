// What every benchmark needs: the time of some work, and the middle of many.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

// Ends the program when the work says that it failed: its time would mean nothing.
template <typename Work>
double microseconds(Work work) {
  const auto begin = std::chrono::steady_clock::now();
  if (!work()) {
    std::fprintf(stderr, "the work to be measured failed\n");
    std::exit(2);
  }
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
      .count();
}

inline double median(std::vector<double> values) {  // REQUIRES: not empty
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}
