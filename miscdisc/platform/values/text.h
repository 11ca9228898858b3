// Text: wide strings for paths and names, 8-bit strings for keys, messages and file contents.
//
// A WString holds one Unicode code point per element.  Its 8-bit form is UTF-8.  File names on
// Linux are bytes, not text, so both directions keep what is not UTF-8: an invalid byte b
// (0x80 to 0xFF) becomes the code point U+DC00 + b, which no valid text contains, and turns
// back into that one byte.
#pragma once

#include <string>
#include <string_view>

#include "miscdisc/platform/values/export.h"

using WString = std::wstring;
using String = std::string;

static_assert(sizeof(wchar_t) == 4, "a WString element is one code point");

namespace Qx {

// Never fails; every byte sequence gives a text that converts back to the same bytes.
MISCDISC_EXPORT WString WStringFromUTF8(std::string_view bytes);

// A value that is no code point (above U+10FFFF, or a surrogate other than U+DC80 to U+DCFF)
// becomes U+FFFD.
MISCDISC_EXPORT String UTF8FromWString(std::wstring_view text);

// Each byte is one character; bytes from 0x80 are taken as invalid bytes, as above.
MISCDISC_EXPORT WString WStringFromAscii(std::string_view bytes);

// The text with every occurrence of what replaced, from left to right; what is found is not
// looked at again.  An empty what changes nothing.
MISCDISC_EXPORT WString substitute(const WString& text, const WString& what, const WString& with);

}  // namespace Qx
