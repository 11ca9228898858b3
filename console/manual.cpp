#include "console/manual.h"

#include <algorithm>
#include <sstream>

#include "console/option_tree.h"

namespace console {
namespace {

// A line of text as mdoc takes it.
std::string escaped(const std::string& line) {
  std::string result = line.starts_with('.') || line.starts_with('\'') ? "\\&" : "";
  for (const char c : line) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  return result;
}

// A sentence per line.
std::string sentences(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    for (size_t end = 0; (end = line.find(".  ")) != std::string::npos;) {
      result += escaped(line.substr(0, end + 1)) + "\n";
      line.erase(0, end + 3);
    }
    result += escaped(line) + "\n";
  }
  return result;
}

// Of lines that are broken for a terminal: filled, but for a list, in which each begins with its
// name, as "bash:  ".
std::string paragraph(const std::string& text) {
  std::istringstream lines(text);
  std::string words, items;
  for (std::string line; std::getline(lines, line);) {
    const size_t name = line.find(": ");
    const bool isItem = name != std::string::npos && line.find(' ') == name + 1;
    const size_t rest = isItem ? line.find_first_not_of(' ', name + 1) : 0;
    if (isItem) items += ".It " + line.substr(0, name) + "\n" + escaped(line.substr(rest)) + "\n";
    if (!isItem) words += (words.empty() ? "" : " ") + line;
  }
  if (!words.empty()) words = ".Pp\n" + sentences(words);
  return items.empty() ? words : words + ".Bl -tag -width Ds\n" + items + ".El\n";
}

std::string value(const CLI::Option& option) {
  std::string words;
  for (const std::string& choice : choicesOf(option)) {
    words += (words.empty() ? " Cm " : " | ") + choice;
  }
  return words.empty() ? " Ar " + valueName(option) : words;
}

std::string flags(const CLI::Option& option) {
  std::string words;
  for (const std::string& name : option.get_snames()) words += "Fl " + name + " , ";
  words += "Fl -" + option.get_lnames().front();
  return valueName(option).empty() ? words : words + value(option);
}

std::string inBrackets(bool optional, const std::string& words) {
  return optional ? " Oo " + words + " Oc" : " " + words;
}

std::string argument(const CLI::Option& option) {
  return "Ar " + valueName(option) + (takesMany(option) ? " ..." : "");
}

// How a command is called.
std::string use(const CLI::App& command) {
  std::string words, alternatives;
  const std::vector<const CLI::Option*> oneOf = oneOfThese(command);
  for (const CLI::Option* option : oneOf) {
    const std::string other = option->get_positional() ? argument(*option) : flags(*option);
    alternatives += (alternatives.empty() ? " " : " | ") + other;
  }
  const auto stands = [&](const CLI::Option* option) {
    return std::find(oneOf.begin(), oneOf.end(), option) == oneOf.end();
  };
  for (const CLI::Option* option : optionsOf(command)) {
    const bool isHelp = option == command.get_help_ptr();
    if (!isHelp && stands(option)) words += inBrackets(true, flags(*option));
  }
  for (const CLI::Option* option : argumentsOf(command)) {
    if (stands(option)) words += inBrackets(!option->get_required(), argument(*option));
  }
  return words + alternatives;
}

// "--help" is said once, with the options that every command has.
void print(std::string& page, const std::vector<const CLI::Option*>& options,
           const CLI::Option* help = nullptr) {
  std::string items;
  for (const CLI::Option* option : options) {
    if (option == help) continue;
    items +=
        ".It " + (option->get_positional() ? "Ar " + valueName(*option) : flags(*option)) + "\n";
    items += sentences(option->get_description());
  }
  if (!items.empty()) page += ".Bl -tag -width Ds\n" + items + ".El\n";
}

void print(std::string& page, const CLI::App& command, const std::string& before) {
  const std::string name = before + command.get_name();
  const auto inner = commandsOf(command);
  const auto options = optionsOf(command), arguments = argumentsOf(command);
  page += ".Ss miscdisc " + name + "\n";
  if (inner.empty() || options.size() > 1) {
    // What follows -- is no option to the options' library.
    const std::string run = name == "with" ? " Fl - Ar COMMAND ..." : "";
    page += ".Nm Cm " + name + use(command) + run + "\n.Pp\n";
  }
  page += sentences(command.get_description());
  print(page, arguments);
  print(page, options, command.get_help_ptr());
  if (const std::string footer = command.get_footer(); !footer.empty()) {
    page += paragraph(footer);
  }
  for (const CLI::App* next : inner) print(page, *next, name + " ");
}

Exit showManual(Context& context, const CLI::App& app) {
  std::string page = ".Sh OPTIONS\nThey may stand before a command or behind it.\n";
  print(page, optionsOf(app));
  page += ".Sh COMMANDS\n";
  for (const CLI::App* command : commandsOf(app)) print(page, *command, "");
  context.output.print(page);
  return kDone;
}

}  // namespace

void addManual(CLI::App& app, Context& context, Command& chosen) {
  app.add_subcommand("manual")->group("")->callback([&app, &context, &chosen] {
    chosen = [&app, &context] { return showManual(context, app); };
  });
}

}  // namespace console
