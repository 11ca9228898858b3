#include "console/manual.h"

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
    std::string use = ".Nm Cm " + name;
    for (const CLI::Option* option : options) {
      if (option != command.get_help_ptr()) use += inBrackets(true, flags(*option));
    }
    for (const CLI::Option* argument : arguments) {
      const std::string more = takesMany(*argument) ? " ..." : "";
      use += inBrackets(!argument->get_required(), "Ar " + valueName(*argument) + more);
    }
    page += use + "\n.Pp\n";
  }
  page += sentences(command.get_description());
  print(page, arguments);
  print(page, options, command.get_help_ptr());
  if (const std::string footer = command.get_footer(); !footer.empty()) {
    page += ".Bd -literal\n" + sentences(footer) + ".Ed\n";
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
