#include "miscdisc/platform/string_compare.h"

#include <utf8proc.h>

#include <algorithm>

namespace {

// Unicode simple case folding.  Lower case of upper case is the same thing for every character
// but the two Turkish letters, which fold to nothing else.
utf8proc_int32_t folded(wchar_t c) {
  constexpr wchar_t kCapitalIWithDot = 0x130, kSmallDotlessI = 0x131;
  if (c == kCapitalIWithDot || c == kSmallDotlessI) return c;
  return utf8proc_tolower(utf8proc_toupper(c));
}

}  // namespace

namespace Qx {

bool compareCaseInsensitive(const WString& a, const WString& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return x == y || folded(x) == folded(y); });
}

}  // namespace Qx
