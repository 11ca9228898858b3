#include "miscdisc/platform/values/cookie.h"

#include <algorithm>

namespace {
constexpr size_t kDigits = 7;
constexpr uint32_t kLargestNumber = 9'999'999;
bool isTypeLetter(uint32_t c) { return c >= 'A' && c <= 'Z'; }
}  // namespace

WString cookie::asWString() const {
  if (!isTypeLetter(type_) || number_ > kLargestNumber || machine_ != 0 || part_ != 0) return {};
  const WString digits = std::to_wstring(number_);
  return WString(1, wchar_t{type_}) + WString(kDigits - digits.size(), L'0') + digits;
}

std::optional<cookie> cookie::fromWString(const WString& text) {
  const auto isDigit = [](wchar_t c) { return c >= L'0' && c <= L'9'; };
  if (text.size() != 1 + kDigits || !isTypeLetter(static_cast<uint32_t>(text[0]))) return {};
  if (!std::all_of(text.begin() + 1, text.end(), isDigit)) return {};
  return cookie(static_cast<uint32_t>(std::stoul(text.substr(1))), 0, 0,
                static_cast<uint16_t>(text[0]));
}
