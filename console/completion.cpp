#include "console/completion.h"

#include <algorithm>

#include "console/option_tree.h"
#include "console/space.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {
namespace {

// As much as stands in a line beside the word.
std::string firstSentence(const std::string& help) {
  return help.substr(0, std::min(help.find('\n'), help.find(".  ")));
}

class Walk {
 public:
  explicit Walk(const CLI::App& app) : app_(app), command_(&app) {}

  void take(const std::string& word);
  BegunWord finish(const std::string& word);

 private:
  bool isOption(const std::string& word) const { return !dashes_ && word.starts_with('-'); }
  // Of this command, or one that every command has.
  const CLI::Option* option(const std::string& name) const;
  void note(const CLI::Option& value, const std::string& text);
  const CLI::Option* nextArgument() const;
  void addOptions();
  void addValue(const CLI::Option& value, const std::string& before);

  const CLI::App& app_;
  const CLI::App* command_;
  const CLI::Option* pending_ = nullptr;  // an option whose value comes next
  size_t arguments_ = 0;
  bool dashes_ = false;  // no options any more
  BegunWord found_;
};

const CLI::Option* Walk::option(const std::string& name) const {
  const CLI::Option* own = optionOf(*command_, name);
  return own ? own : optionOf(app_, name);
}

void Walk::note(const CLI::Option& value, const std::string& text) {
  if (valueName(value) == "LOBBY") found_.lobby = text;
  if (value.check_name("--timeout")) found_.timeout = text;
}

const CLI::Option* Walk::nextArgument() const {
  const auto all = argumentsOf(*command_);
  if (arguments_ < all.size()) return all[arguments_];
  return !all.empty() && takesMany(*all.back()) ? all.back() : nullptr;
}

void Walk::take(const std::string& word) {
  if (pending_) {
    note(*pending_, word);
    pending_ = nullptr;
  } else if (word == "--") {
    dashes_ = true;
  } else if (isOption(word)) {
    const size_t equals = word.find('=');
    const CLI::Option* given = option(word.substr(0, equals));
    if (!given || valueName(*given).empty()) return;
    if (equals == std::string::npos) {
      pending_ = given;
    } else {
      note(*given, word.substr(equals + 1));
    }
  } else if (const CLI::App* inner = dashes_ ? nullptr : commandOf(*command_, word)) {
    command_ = inner;
  } else {
    if (const CLI::Option* argument = nextArgument()) note(*argument, word);
    ++arguments_;
  }
}

void Walk::addOptions() {
  for (const CLI::App* place : {command_, &app_}) {
    for (const CLI::Option* option : optionsOf(*place)) {
      for (const std::string& name : option->get_lnames()) {
        const bool inBoth = place != command_ && optionOf(*command_, "--" + name);
        if (inBoth) continue;
        found_.candidates.push_back({"--" + name, firstSentence(option->get_description())});
      }
    }
    if (command_ == &app_) break;
  }
}

void Walk::addValue(const CLI::Option& value, const std::string& before) {
  for (const std::string& choice : choicesOf(value)) {
    found_.candidates.push_back({before + choice, ""});
  }
  found_.value = valueName(value);
  found_.before = before;
}

BegunWord Walk::finish(const std::string& word) {
  const size_t equals = word.find('=');
  if (pending_) {
    addValue(*pending_, "");
  } else if (dashes_ && command_->get_name() == "with") {
    found_.value = "COMMAND";
  } else if (isOption(word) && equals != std::string::npos) {
    const CLI::Option* given = option(word.substr(0, equals));
    if (given && !valueName(*given).empty()) addValue(*given, word.substr(0, equals + 1));
  } else if (isOption(word)) {
    addOptions();
  } else {
    if (!dashes_) {
      for (const CLI::App* inner : commandsOf(*command_)) {
        found_.candidates.push_back({inner->get_name(), firstSentence(inner->get_description())});
      }
    }
    if (const CLI::Option* argument = nextArgument()) addValue(*argument, "");
  }
  return found_;
}

}  // namespace

BegunWord begunWord(const CLI::App& app, const std::vector<std::string>& words) {
  Walk walk(app);
  for (size_t i = 0; i + 1 < words.size(); ++i) walk.take(words[i]);
  return walk.finish(words.back());
}

WString spaceOf(const BegunWord& word, const WString& otherwise) {
  if (!word.lobby || word.lobby->empty()) return otherwise;
  return LobbyUtils::getNetworkLobbyFullPath(Qx::WStringFromUTF8(*word.lobby), true);
}

std::vector<std::string> namesFor(const std::string& value, const WString& space,
                                  const Options& options) {
  std::vector<std::string> found;
  const auto add = [&](const WString& name) { found.push_back(Qx::UTF8FromWString(name)); };
  if (value == "LOBBY") {
    const WString root = LobbyUtils::getNetworkProjectsRoot();
    if (lookAt(root, options).answer != Space::Answer::kThere) return found;
    Exit exit = kDone;
    const auto names = lobbyNames(options, exit).value_or(std::vector<WString>());
    std::for_each(names.begin(), names.end(), add);
    return found;
  }
  const bool rooms = value == "ROOM" || value == "LOCK";
  const bool projects = value == "PROJECT" || value == "LOCK";
  if (!rooms && !projects) return found;
  const Space seen = lookAt(space, options);
  if (projects) std::for_each(seen.projects.begin(), seen.projects.end(), add);
  if (rooms) {
    for (const Room& room : seen.rooms) add(room.name);
  }
  return found;
}

}  // namespace console
