#include "host/toml.h"

#include <cstdio>
#include <cstring>

namespace host {
namespace {

// Control characters as TOML has them in quotes.
std::string asOneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      line += c;
      continue;
    }
    char escaped[7];
    std::snprintf(escaped, sizeof escaped, "\\u%04X", byte);
    line += escaped;
  }
  return line;
}

}  // namespace

std::string describeProblem(const std::string& file, const toml::source_position& where,
                            std::string_view what) {
  return file + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": " +
         asOneLine(what);
}

std::string describeUnreadable(const std::string& file, int error) {
  return describeProblem(file, {1, 1},
                         std::string("a readable file was expected: ") + std::strerror(error));
}

TomlFile parseToml(const std::string& file, const std::string& contents) {
  toml::parse_result result = toml::parse(contents);
  if (result) return {std::move(result).table(), ""};
  const toml::parse_error& error = result.error();
  std::string what(error.description());
  const bool isUnquoted = what.find("could not determine value type") != std::string::npos;
  if (isUnquoted) what += "; texts and paths stand in quotes";
  return {{}, describeProblem(file, error.source().begin, what)};
}

}  // namespace host
