// A shell: commands of miscdisc while a lobby, a room and a project stay held.
#include <fmt/core.h>

#include <cstdlib>

#include "console/commands.h"
#include "console/completion.h"
#include "console/drives.h"
#include "console/hold.h"
#include "console/lines.h"
#include "console/messages.h"
#include "miscdisc/dircache/cache_follower.h"

namespace console {
namespace {

using Words = std::vector<std::string>;

class Shell {
 public:
  Shell(Context& context, const CLI::App& app)
      : context_(context),
        app_(app),
        holding_(context.options),
        lines_(signals_, [this](const Words& words) { return completions(words); }) {}

  Exit run(const std::string& lobby, const Wanted& wanted);

 private:
  struct OwnWord {
    Words words;
    const char* argument;  // its name; null: none
    const char* help;
    Exit (Shell::*act)(const std::string& argument);
  };
  static const std::vector<OwnWord>& ownWords();
  static std::string useOf(const OwnWord& own);
  Exit showUse(const OwnWord& own, const std::string& option);

  Exit loop();
  Exit execute(const std::string& line);
  std::optional<Exit> executeOwn(const Words& words);
  Exit executeCommand(const Words& words);
  void sayChange(const std::string& before) const;
  void sayNews();
  std::string prompt() const;

  Exit enter(const std::string& lobby) { return holding_.enterLobby(lobby); }
  Exit leave(const std::string&) { return holding_.leaveLobby(); }
  Exit goToRoom(const std::string& room) { return holding_.enterRoom(room); }
  Exit leaveRoom(const std::string&) { return holding_.leaveRoom(); }
  Exit openProject(const std::string& project) { return holding_.openProject(project); }
  Exit closeProject(const std::string&) { return holding_.closeProject(); }
  Exit help(const std::string&);
  Exit end(const std::string&);

  Words completions(const Words& words) const;
  Words commandWords(const Words& words) const;

  Context& context_;
  const CLI::App& app_;
  EndSignals signals_;  // first: what follows may start threads
  Holding holding_;
  Lines lines_;
  std::optional<Notifications> notifications_;
  std::optional<CacheFollower> follower_;  // goes first
  Exit last_ = kDone;
  bool ended_ = false;
};

const std::vector<Shell::OwnWord>& Shell::ownWords() {
  static const std::vector<OwnWord> words = {
      {{"enter"}, "LOBBY", "log in to a lobby, after leaving the one before", &Shell::enter},
      {{"leave"}, nullptr, "let go of everything, and work locally", &Shell::leave},
      {{"room", "go"}, "ROOM", "be in a room, and no longer in the one before", &Shell::goToRoom},
      {{"room", "leave"}, nullptr, "be in no room", &Shell::leaveRoom},
      {{"project", "open"},
       "PROJECT",
       "hold a project, after closing the one before",
       &Shell::openProject},
      {{"project", "close"}, nullptr, "hold no project", &Shell::closeProject},
      {{"help"}, nullptr, "this list", &Shell::help},
      {{"exit"}, nullptr, "let go of everything, and end; so does Ctrl-D", &Shell::end},
  };
  return words;
}

std::string joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

bool beginsWith(const Words& words, const Words& beginning) {
  return words.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), words.begin());
}

Exit Shell::run(const std::string& lobby, const Wanted& wanted) {
  const Exit refused = holdAll(holding_, lobby, wanted);
  return holding_.end(context_.output, refused == kDone ? loop() : refused);
}

Exit Shell::loop() {
  while (!ended_ && !holding_.lost()) {
    sayNews();
    const Lines::Line line = lines_.next(prompt());
    if (line.signal != 0) return exitBySignal(line.signal);
    if (line.kind == Lines::Line::Kind::kEnd) break;
    if (line.kind == Lines::Line::Kind::kText) last_ = execute(line.text);
  }
  return last_;
}

Exit Shell::execute(const std::string& line) {
  auto words = wordsOf(line);
  if (!words) {
    complain("a quote is not closed in: " + printable(line));
    return kUsage;
  }
  if (words->empty() || words->front().starts_with('#')) return last_;
  lines_.remember(line);
  if (words->front() == "miscdisc") words->erase(words->begin());

  const std::string before = holding_.inWords();
  const auto exit = executeOwn(*words);
  if (!exit) return executeCommand(*words);
  sayChange(before);
  return *exit;
}

std::optional<Exit> Shell::executeOwn(const Words& words) {
  for (const OwnWord& own : ownWords()) {
    if (!beginsWith(words, own.words)) continue;
    const size_t arguments = words.size() - own.words.size();
    if (arguments == 1 && words.back().starts_with('-')) return showUse(own, words.back());
    if (arguments == (own.argument ? 1 : 0)) {
      return (this->*own.act)(arguments == 1 ? words.back() : std::string());
    }
    complain(own.argument ? "it is: " + joined(own.words) + " " + own.argument +
                                ".  A name with blanks stands in quotes"
                          : "nothing follows " + joined(own.words));
    return kUsage;
  }
  return {};
}

// A process of its own, so that Ctrl-C stops only that, and storage that hangs holds up nothing
// else.
Exit Shell::executeCommand(const Words& words) {
  const Options& options = context_.options;
  Words command = {"/proc/self/exe", "--timeout", fmt::format("{}", options.timeout), "--color",
                   options.color};
  const std::pair<bool, const char*> flags[] = {{options.json, "--json"},
                                                {options.plain, "--plain"},
                                                {options.quiet, "--quiet"},
                                                {options.verbose, "--verbose"},
                                                {options.yes, "--yes"}};
  for (const auto& [given, name] : flags) {
    if (given) command.push_back(name);
  }
  command.insert(command.end(), words.begin(), words.end());

  setenv(kLobbyVariable, Qx::UTF8FromWString(holding_.lobby()).c_str(), 1);
  const Ended ended = console::run(command, context_.output, signals_);
  // As in any shell, Ctrl-C ends a script and not only the command that it stands at.
  ended_ = ended.signal != 0 || (ended.code == kInterrupted && !lines_.edited());
  return ended.signal != 0 ? exitBySignal(ended.signal) : static_cast<Exit>(ended.code);
}

void Shell::sayChange(const std::string& before) const {
  const std::string now = holding_.inWords();
  if (now == before) return;
  remark(context_.options, now.empty() ? "nothing is held any more" : "now holding " + now);
}

std::string countOf(size_t files) {
  return std::to_string(files) + (files == 1 ? " file" : " files");
}

// What the other machines have told since the line before.
void Shell::sayNews() {
  if (!follower_ && !holding_.lobby().empty()) {
    notifications_.emplace();
    follower_.emplace([] {});
  }
  if (!follower_) return;
  size_t added = 0, removed = 0, lost = 0;
  for (auto events = follower_->apply(); !events.empty(); events = follower_->apply()) {
    for (const CacheEvent& event : events) {
      if (event.kind == CacheEvent::Kind::kAdded) ++added;
      if (event.kind == CacheEvent::Kind::kRemoved) ++removed;
      if (event.kind == CacheEvent::Kind::kRescan) ++lost;
    }
  }
  const Options& options = context_.options;
  if (added > 0) remark(options, "others have added " + countOf(added));
  if (removed > 0) remark(options, "others have removed " + countOf(removed));
  if (lost > 0) remark(options, "texts of others were lost: there may be more new files");
}

std::string Shell::prompt() const {
  std::string place = printable(holding_.lobby());
  if (!holding_.room().empty()) place += "/" + printable(holding_.room());
  return place.empty() ? "miscdisc> " : "miscdisc " + place + "> ";
}

std::string Shell::useOf(const OwnWord& own) {
  const std::string words =
      joined(own.words) + (own.argument ? " " : "") + (own.argument ? own.argument : "");
  return fmt::format("  {:22}{}\n", words, own.help);
}

// None of these words has options.
Exit Shell::showUse(const OwnWord& own, const std::string& option) {
  context_.output.print(useOf(own));
  if (!context_.output.flush()) return kFailed;
  return option == "--help" || option == "-h" ? kDone : kUsage;
}

Exit Shell::help(const std::string&) {
  for (const OwnWord& own : ownWords()) context_.output.print(useOf(own));
  context_.output.print(
      "\nEvery other line is a command of miscdisc, which works in the lobby that is held:\n"
      "\"status\", \"lobby show\", and what \"--help\" lists.\n");
  return context_.output.flush() ? kDone : kFailed;
}

Exit Shell::end(const std::string&) {
  ended_ = true;
  return last_;
}

// Completion.

Words Shell::commandWords(const Words& words) const {
  const BegunWord word = begunWord(app_, words);
  Words found;
  for (const Candidate& candidate : word.candidates) found.push_back(candidate.text);
  const WString space = spaceOf(word, holding_.space());
  for (const std::string& name : namesFor(word.value, space, context_.options)) {
    found.push_back(word.before + name);
  }
  return found;
}

Words Shell::completions(const Words& given) const {
  Words words = given;
  if (words.size() > 1 && words.front() == "miscdisc") words.erase(words.begin());
  const Words before(words.begin(), words.end() - 1);
  Words found = commandWords(words);
  const auto add = [&](const Words& more) { found.insert(found.end(), more.begin(), more.end()); };
  for (const OwnWord& own : ownWords()) {
    if (own.words.size() > before.size() && beginsWith(own.words, before)) {
      add({own.words[before.size()]});
    }
    if (own.argument && own.words == before)
      add(namesFor(own.argument, holding_.space(), context_.options));
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace

void addShell(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* command = app.add_subcommand(
      "shell", "Commands, line by line, while a lobby, a room and a project stay held");
  const auto wanted = std::make_shared<Wanted>();
  command->add_option("LOBBY", wanted->lobby, "Instead of the configured one; \"\": none");
  addWanted(*command, *wanted);
  command->callback([&app, &context, &chosen, wanted] {
    chosen = [&app, &context, wanted] {
      if (!mayHold(context.options)) return kUsage;
      const std::string lobby = lobbyOf(*wanted);
      return Shell(context, app).run(lobby, *wanted);
    };
  });
}

}  // namespace console
