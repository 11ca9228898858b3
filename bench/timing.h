// What every benchmark needs: the time of some work, the middle of many, and a row of a table.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
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

inline void printRatioHeading() {
  std::printf("%-34s %11s %11s %8s %8s\n", "measure", "ours", "bare", "ratio", "bound");
}

// False when the ratio is beyond the bound, if there is one.
inline bool printRatio(const char* name, const std::vector<double>& ourTimes,
                       const std::vector<double>& bareTimes, std::optional<double> bound = {}) {
  const double ours = median(ourTimes), bare = median(bareTimes), ratio = ours / bare;
  std::printf("%-34s %8.0f us %8.0f us %8.2f", name, ours, bare, ratio);
  if (bound) {
    std::printf(" %8.2f%s\n", *bound, ratio <= *bound ? "" : "  OVER");
  } else {
    std::printf(" %8s\n", "-");
  }
  return !bound || ratio <= *bound;
}
