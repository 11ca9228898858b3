// Comparison of texts with or without letter case.
#pragma once

#include "miscdisc/platform/values/text.h"

namespace Qx {

// Equal when letter case is left out of account, in every script that has it.
MISCDISC_EXPORT bool compareCaseInsensitive(const WString& a, const WString& b);

inline bool equalTexts(const WString& a, const WString& b, bool caseSensitive) {
  return caseSensitive ? a == b : compareCaseInsensitive(a, b);
}

inline bool endsWith(const WString& text, const WString& ending, bool caseSensitive) {
  return text.size() >= ending.size() &&
         equalTexts(text.substr(text.size() - ending.size()), ending, caseSensitive);
}

inline bool endsWith(const WString& text, wchar_t ending, bool caseSensitive) {
  return endsWith(text, WString(1, ending), caseSensitive);
}

inline bool startsWith(const WString& text, const WString& beginning, bool caseSensitive) {
  return text.size() >= beginning.size() &&
         equalTexts(text.substr(0, beginning.size()), beginning, caseSensitive);
}

}  // namespace Qx
