#include "console/usage.h"

#include <algorithm>

#include "console/context.h"
#include "console/option_tree.h"
#include "host/nearest.h"
#include "host/shell_word.h"

namespace console {
namespace {

using Words = std::vector<std::string>;

// "drives list", with the commands on the way.
struct Chosen {
  std::vector<const CLI::App*> path;
  std::string name;

  const CLI::App& command() const { return *path.back(); }
};

Chosen chosenIn(const CLI::App& app) {
  Chosen chosen{{&app}, ""};
  for (bool more = true; more;) {
    more = false;
    for (const CLI::App* command : chosen.command().get_subcommands()) {
      if (command->get_name().empty()) continue;  // a group of options
      chosen.path.push_back(command);
      chosen.name += (chosen.name.empty() ? "" : " ") + command->get_name();
      more = true;
      break;
    }
  }
  return chosen;
}

Words namesIn(const CLI::App& family) {
  Words names;
  for (const CLI::App* command : commandsOf(family)) names.push_back(command->get_name());
  return names;
}

std::string listed(const Words& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::string unknownCommand(const Chosen& chosen, const std::string& word) {
  const Words names = namesIn(chosen.command());
  const std::string meant = host::didYouMean(host::nearest(word, names));
  if (chosen.name.empty()) return "there is no command " + printable(word) + meant;
  return chosen.name + " has no command " + printable(word) + meant + (meant.empty() ? "." : "") +
         "  It has: " + listed(names);
}

std::string unknownOption(const Chosen& chosen, const std::string& word) {
  const std::string option = word.substr(0, word.find('='));
  Words known;
  for (const CLI::App* command : chosen.path) {
    for (const CLI::Option* one : optionsOf(*command)) {
      for (const std::string& name : one->get_lnames()) known.push_back("--" + name);
    }
  }
  std::sort(known.begin(), known.end());
  known.erase(std::unique(known.begin(), known.end()), known.end());
  return "there is no option " + printable(option) + host::didYouMean(host::nearest(option, known));
}

// The words with "--" before those that are left over, which are looked for from the end: the first
// of them may stand before that as a name.
std::string withDashes(const Words& words, const Words& left) {
  size_t at = words.size();
  for (auto word = left.rbegin(); word != left.rend(); ++word) {
    while (at > 0 && words[--at] != *word) {
    }
  }
  std::string line = "miscdisc";
  for (size_t i = 0; i < words.size(); ++i) {
    line += (i == at ? " -- " : " ") + host::shellWord(words[i]);
  }
  return printable(line);
}

std::string oneTooMany(const Chosen& chosen, const std::string& word) {
  const bool takesNames = !argumentsOf(chosen.command()).empty();
  return "\"" + printable(word) + "\" is one word too many for " + chosen.name +
         (takesNames ? ": put quotes around a text or name with blanks" : "");
}

std::string unexpected(const Chosen& chosen, const Words& left, const Words& words, bool dashed) {
  const std::string& first = left.front();
  if (first.size() > 1 && first.front() == '-') return unknownOption(chosen, first);
  const CLI::App& command = chosen.command();
  if (!commandsOf(command).empty()) return unknownCommand(chosen, first);
  if (chosen.name == "with" && !dashed) {
    return "put -- before the command: " + withDashes(words, left);
  }
  return oneTooMany(chosen, first);
}

bool needsCommand(const CLI::App& command) {
  return command.get_require_subcommand_min() > 0 && !commandsOf(command).empty();
}

std::string reason(const Chosen& chosen, const CLI::App& app, const CLI::ParseError& error,
                   const Words& words, bool dashed) {
  const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  if (missing || dynamic_cast<const CLI::ExtrasError*>(&error)) {
    const Words left = app.remaining(true);
    if (!left.empty()) return unexpected(chosen, left, words, dashed);
  }
  if (missing && needsCommand(chosen.command())) {
    return chosen.name + " needs a command: " + listed(namesIn(chosen.command()));
  }
  return printable(error.what());
}

}  // namespace

std::string usageProblem(const CLI::App& app, const CLI::ParseError& error,
                         const std::vector<std::string>& words, bool dashed) {
  const Chosen chosen = chosenIn(app);
  return reason(chosen, app, error, words, dashed) + "\nTry: miscdisc" +
         (chosen.name.empty() ? "" : " " + chosen.name) + " --help";
}

}  // namespace console
