// toml++, as the host uses it: compiled in, and a parse answers with a result.
#pragma once

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <optional>
#include <string>

namespace host {

// "FILE:LINE:COLUMN: what was expected", on one line whatever is quoted in it.
std::string describeProblem(const std::string& file, const toml::source_position& where,
                            std::string_view what);

// The contents of a file, parsed.
struct TomlFile {
  toml::table table;
  std::string problem;  // why there is no table; empty when all is well
};
TomlFile parseToml(const std::string& file, const std::string& contents);

}  // namespace host
