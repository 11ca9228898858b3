#include "miscdisc/platform/values/text.h"

namespace Qx {
namespace {

constexpr wchar_t kEscapeBase = 0xDC00;
constexpr wchar_t kReplacement = 0xFFFD;

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the valid UTF-8 sequence at the start of bytes, and its code point; 0 when the
// first byte starts none.  Overlong forms, surrogates and values above U+10FFFF are invalid.
size_t decodeOne(std::string_view bytes, wchar_t& point) {
  const auto at = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = at(0);
  size_t length = 0;
  wchar_t least = 0;
  if (lead < 0x80) {
    point = lead;
    return 1;
  }
  if ((lead & 0xE0) == 0xC0) {
    length = 2, least = 0x80, point = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, least = 0x800, point = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, least = 0x10000, point = lead & 0x07;
  } else {
    return 0;
  }
  if (bytes.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if (!isContinuation(at(i))) return 0;
    point = (point << 6) | (at(i) & 0x3F);
  }
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  if (point < least || point > 0x10FFFF || surrogate) return 0;
  return length;
}

}  // namespace

WString WStringFromUTF8(std::string_view bytes) {
  WString text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    wchar_t point = 0;
    size_t length = decodeOne(bytes, point);
    if (length == 0) {
      point = kEscapeBase + static_cast<unsigned char>(bytes[0]);
      length = 1;
    }
    text.push_back(point);
    bytes.remove_prefix(length);
  }
  return text;
}

String UTF8FromWString(std::wstring_view text) {
  String bytes;
  bytes.reserve(text.size());
  for (wchar_t point : text) {
    if (point >= 0xDC80 && point <= 0xDCFF) {
      bytes.push_back(static_cast<char>(point - kEscapeBase));
      continue;
    }
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    if (point < 0 || point > 0x10FFFF || surrogate) point = kReplacement;
    if (point < 0x80) {
      bytes.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
      bytes.push_back(static_cast<char>(0xC0 | (point >> 6)));
      bytes.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else if (point < 0x10000) {
      bytes.push_back(static_cast<char>(0xE0 | (point >> 12)));
      bytes.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
      bytes.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else {
      bytes.push_back(static_cast<char>(0xF0 | (point >> 18)));
      bytes.push_back(static_cast<char>(0x80 | ((point >> 12) & 0x3F)));
      bytes.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
      bytes.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    }
  }
  return bytes;
}

WString WStringFromAscii(std::string_view bytes) {
  WString text;
  text.reserve(bytes.size());
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.push_back(byte < 0x80 ? wchar_t{byte} : kEscapeBase + byte);
  }
  return text;
}

WString substitute(const WString& text, const WString& what, const WString& with) {
  if (what.empty()) return text;
  WString result;
  size_t from = 0;
  for (size_t hit; (hit = text.find(what, from)) != WString::npos; from = hit + what.size()) {
    result.append(text, from, hit - from);
    result += with;
  }
  result.append(text, from);
  return result;
}

}  // namespace Qx
