#include "console/option_tree.h"

#include <sstream>

namespace console {
namespace {

bool any(const CLI::App*) { return true; }

// The options of a group of options belong to the command that has the group, and so does help.
void addOptions(const CLI::App& command, bool positional, std::vector<const CLI::Option*>& found) {
  for (const CLI::Option* option : command.get_options()) {
    const bool again = command.get_name().empty() && option == command.get_help_ptr();
    const bool hidden = again || option->get_group().empty();
    if (!hidden && option->get_positional() == positional) found.push_back(option);
  }
  for (const CLI::App* group : command.get_subcommands(any)) {
    if (group->get_name().empty()) addOptions(*group, positional, found);
  }
}

}  // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& family) {
  return family.get_subcommands([](const CLI::App* command) {
    return !command->get_name().empty() && !command->get_group().empty();
  });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
  std::vector<const CLI::Option*> found;
  addOptions(command, false, found);
  return found;
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command) {
  std::vector<const CLI::Option*> found;
  addOptions(command, true, found);
  return found;
}

std::vector<const CLI::Option*> oneOfThese(const CLI::App& command) {
  std::vector<const CLI::Option*> found;
  for (const CLI::App* group : command.get_subcommands(any)) {
    const bool wantsOne =
        group->get_require_option_min() == 1 && group->get_require_option_max() == 1;
    if (!group->get_name().empty() || !wantsOne) continue;
    addOptions(*group, true, found);
    addOptions(*group, false, found);
  }
  return found;
}

const CLI::App* commandOf(const CLI::App& family, const std::string& name) {
  for (const CLI::App* command : commandsOf(family)) {
    if (command->check_name(name)) return command;
  }
  return nullptr;
}

const CLI::Option* optionOf(const CLI::App& command, const std::string& name) {
  for (const CLI::Option* option : optionsOf(command)) {
    if (option->check_name(name)) return option;
  }
  return nullptr;
}

std::string valueName(const CLI::Option& option) {
  if (option.get_positional()) return option.get_name(true);
  if (option.get_items_expected_max() == 0) return "";
  const std::string type = option.get_type_name();  // its name, ":" and what checks it
  return type.substr(0, type.find(':'));
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
  std::vector<std::string> choices;
  const std::string type = option.get_type_name();
  const size_t set = type.find(":{");
  if (set == std::string::npos || type.back() != '}') return choices;
  std::istringstream names(type.substr(set + 2, type.size() - set - 3));
  for (std::string name; std::getline(names, name, ',');) choices.push_back(name);
  return choices;
}

bool takesMany(const CLI::Option& argument) { return argument.get_items_expected_max() > 1; }

}  // namespace console
