// What somebody may have meant who typed a name that nobody knows.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// How many letters have to be added, taken away, changed, or swapped with their neighbour.
inline size_t typingErrors(std::string_view a, std::string_view b) {
  std::vector<size_t> beforeLast, last(b.size() + 1), now(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1])});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) now[j] = std::min(now[j], beforeLast[j - 2] + 1);
    }
    beforeLast = std::move(last);
    last = now;
  }
  return last[b.size()];
}

// The known names that are nearest, in their order: two at most, and none when all are too far.
inline std::vector<std::string> nearest(std::string_view typed,
                                        const std::vector<std::string>& known) {
  constexpr size_t kShort = 4, kMost = 2;
  std::vector<std::string> found;
  size_t fewest = 0;
  for (const std::string& name : known) {
    const auto [shorter, longer] = std::minmax({typed.size(), name.size()});
    const size_t bound = shorter <= kShort ? 1 : 2;
    if (longer - shorter > bound) continue;
    const size_t errors = typingErrors(typed, name);
    if (errors > bound || errors >= longer || (!found.empty() && errors > fewest)) continue;
    if (!found.empty() && errors < fewest) found.clear();
    fewest = errors;
    if (found.size() < kMost) found.push_back(name);
  }
  return found;
}

// "; did you mean [drives]?", with what stands around each name; empty when there is none.
inline std::string didYouMean(const std::vector<std::string>& names, const char* before = "",
                              const char* behind = "") {
  std::string text;
  for (const std::string& name : names) {
    text += text.empty() ? "; did you mean " : " or ";
    text += before + name + behind;
  }
  return text.empty() ? text : text + "?";
}

}  // namespace host
