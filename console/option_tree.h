// The commands and their options, for whoever tells people of them.  What is hidden there is left
// out here.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace console {

// In the order in which "--help" has them.
std::vector<const CLI::App*> commandsOf(const CLI::App& family);
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
// Those without a name of their own: ROOM.
std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);

// The options and arguments of a command of which exactly one is given; empty: it has none such.
std::vector<const CLI::Option*> oneOfThese(const CLI::App& command);

// Null: it has no such command, or option ("--room").
const CLI::App* commandOf(const CLI::App& family, const std::string& name);
const CLI::Option* optionOf(const CLI::App& command, const std::string& name);

// What people write for its value, as "--help" has it: "ROOM"; empty for an option without one.
std::string valueName(const CLI::Option& option);

// The values that it may have; empty where there is no fixed set of them.
std::vector<std::string> choicesOf(const CLI::Option& option);

bool takesMany(const CLI::Option& argument);

}  // namespace console
