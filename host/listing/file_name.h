// File names between their two forms: the bytes that the system keeps and the wide text that
// listings hold.  Both follow the rules of miscdisc/platform/values/text.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace host {

// Takes the first character off bytes, which are not empty.  A byte that starts no valid
// sequence is a character of its own, U+DC00 + byte.
wchar_t takeCharacter(std::string_view& bytes);

// Writes the characters of bytes and a zero behind them; out has room for bytes.size() + 1.
// The result is their number, without the zero.
size_t widen(std::string_view bytes, wchar_t* out);

// Well spread in all 32 bits.
uint32_t hashOf(std::wstring_view name);

}  // namespace host
