// What is said of words that name no command and no option.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace console {

// Why the words after "miscdisc" cannot be taken, and what to try; with what follows "--", if
// anything, left out.
std::string usageProblem(const CLI::App& app, const CLI::ParseError& error,
                         const std::vector<std::string>& words, bool dashed);

}  // namespace console
