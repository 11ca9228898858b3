// "completion": scripts for shells, and what they ask for at every word.
#include "console/commands.h"
#include "console/completion.h"
#include "console/completion_scripts.h"
#include "console/kept_keys.h"
#include "console/seconds.h"
#include "console/space.h"
#include "console/tasks.h"
#include "host/formats.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

void addDrives(const std::string& value, const Options& options, std::vector<Candidate>& found) {
  const DriveList list = enterConfiguredSpace(options);
  if (value == "DRIVE") {
    for (const Drive& drive : list.drives) {
      found.push_back({drive.label, printable(drive.name) + ", " + printable(drive.path)});
    }
  } else if (value == "PATH") {
    for (const HiddenVolume& volume : list.hidden) {
      found.push_back({Qx::UTF8FromWString(volume.line), volume.label});
    }
  } else {
    for (const Task& task : allTasks(list)) found.push_back({task.name, printable(task.path)});
  }
}

void addKeys(std::vector<Candidate>& found) {
  for (const std::string& key : configurationKeys()) {
    if (key == kLastLobbyNameKey) continue;  // nobody sets it by hand
    found.push_back({key, ""});
  }
}

void addNames(const BegunWord& word, const Options& options, std::vector<Candidate>& found) {
  const std::string& value = word.value;
  if (value == "DRIVE" || value == "PATH" || value == "TASK")
    return addDrives(value, options, found);
  if (value == "KEY") return addKeys(found);
  if (value == "FORMAT") {
    for (const auto& format : host::recordingFormats()) {
      found.push_back({format.name, format.description});
    }
    return;
  }
  workInConfiguredSpace();
  for (const std::string& name :
       namesFor(value, spaceOf(word, getProjectsBaseDirectory()), options)) {
    found.push_back({name, ""});
  }
}

// What a shell offers beside the words.
std::string kindOf(const std::string& value) {
  if (value == "FILE") return "files";
  if (value == "FOLDER" || value == "DIR") return "folders";
  return value == "COMMAND" ? "command" : "words";
}

// A line for the kind, and one for each word, with a tab before its help.
Exit showNext(Context& context, const CLI::App& app, const std::vector<std::string>& words) {
  BegunWord word = begunWord(app, words);
  Options options = context.options;
  const bool isTimeout = word.timeout && secondsToAnswer()(*word.timeout).empty();
  if (isTimeout) options.timeout = std::stod(*word.timeout);
  std::vector<Candidate> names;
  addNames(word, options, names);
  for (Candidate& name : names) name.text.insert(0, word.before);
  word.candidates.insert(word.candidates.end(), names.begin(), names.end());

  context.output.print(kindOf(word.value) + "\n");
  for (const auto& [text, help] : word.candidates) {
    if (text.find_first_of("\n\t") != std::string::npos) continue;  // no line could carry it
    context.output.print(text + "\t" + help + "\n");
  }
  return kDone;
}

struct Arguments {
  std::string shell;
  bool next = false;
};

Exit complete(Context& context, const CLI::App& app, const Arguments& arguments,
              const std::vector<std::string>& words) {
  if (arguments.next) {
    if (!words.empty()) return showNext(context, app, words);
    complain("after --next come \"--\" and the words of a line, the last of which is begun.");
    return kUsage;
  }
  const std::string& shell = arguments.shell;
  context.output.print(shell == "bash"  ? kBashCompletion
                       : shell == "zsh" ? kZshCompletion
                                        : kFishCompletion);
  return kDone;
}

}  // namespace

void addCompletion(CLI::App& app, Context& context, Command& chosen,
                   const std::vector<std::string>& words) {
  CLI::App* command =
      app.add_subcommand("completion", "A script that completes what is typed after miscdisc");
  const auto arguments = std::make_shared<Arguments>();
  command->add_option("SHELL", arguments->shell, "bash, zsh or fish")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}))
      ->required();
  command->add_flag("--next", arguments->next)->group("");  // for the scripts
  command->footer(
      "bash:  source <(miscdisc completion bash), in ~/.bashrc\n"
      "zsh:   source <(miscdisc completion zsh), in ~/.zshrc, after compinit\n"
      "fish:  miscdisc completion fish >~/.config/fish/completions/miscdisc.fish");
  command->callback([&app, &context, &chosen, &words, arguments] {
    chosen = [&app, &context, &words, arguments] {
      return complete(context, app, *arguments, words);
    };
  });
}

}  // namespace console
