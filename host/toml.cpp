#include "host/toml.h"

namespace host {

std::string describeProblem(const std::string& file, const toml::source_position& where,
                            std::string_view what) {
  return file + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": " +
         std::string(what);
}

TomlFile parseToml(const std::string& file, const std::string& contents) {
  toml::parse_result result = toml::parse(contents);
  if (result) return {std::move(result).table(), ""};
  const toml::parse_error& error = result.error();
  return {{}, describeProblem(file, error.source().begin, error.description())};
}

}  // namespace host
