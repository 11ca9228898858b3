// A text as one word of a command line that people copy into their shell.
#pragma once

#include <string>

namespace host {

// As it stands where the shell takes it for itself, otherwise between quotes, with no backslash
// that is not in the text: those are escaped where words are shown.
inline std::string shellWord(const std::string& text) {
  const char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:@,+=%";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? R"('"'"')" : std::string(1, c);
  return word + "'";
}

}  // namespace host
