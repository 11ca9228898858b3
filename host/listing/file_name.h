// File names between their two forms: the bytes that the system keeps and the wide text that
// listings hold.  Both follow the rules of miscdisc/platform/values/text.h.
#pragma once

#include <climits>
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

// The bytes of a path and a zero behind them, without an allocation.  Empty, whatever the text,
// when it can name nothing: it holds a zero, or is longer than the system takes.
class NativePath {
 public:
  explicit NativePath(std::wstring_view text);
  NativePath(const NativePath&) = delete;
  NativePath& operator=(const NativePath&) = delete;

  std::string_view bytes() const { return {bytes_, size_}; }
  const char* c_str() const { return bytes_; }

 private:
  size_t size_ = 0;
  char bytes_[PATH_MAX];
};

// Well spread in all 32 bits.
uint32_t hashOf(std::wstring_view name);

}  // namespace host
