// The command miscdisc.
//
// Most commands only look: they log nobody in, take and probe no lock, tell nobody anything, and
// leave nothing on the disk but lines in the log.  The others are asked to change, to write, to
// send or to hold something, and their help says what.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string_view>

#include "console/commands.h"
#include "console/help.h"
#include "console/holding.h"
#include "console/manual.h"
#include "console/program.h"
#include "console/seconds.h"
#include "console/usage.h"
#include "host/log.h"
#include "host/settings.h"

namespace {

using namespace console;
using namespace std::string_view_literals;

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_flag("--json", options.json, "One JSON document on standard output");
  app.add_flag("--plain", options.plain, "As into a pipe: tabs, no colour, no progress");
  app.add_option("--color", options.color, "auto, always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option("--timeout", options.timeout,
                 "Seconds that a mount has to answer: 0.25 unless set")
      ->type_name("SECONDS")
      ->check(secondsToAnswer())
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--yes", options.yes, "Do what would be refused without it");
  app.add_flag("--dry-run", options.dryRun, "Say what would be changed, and change nothing");
  app.add_flag("-q,--quiet", options.quiet, "No words but errors");
  app.add_flag("-v,--verbose", options.verbose, "Show the library's log on standard error");
}

// Help is an answer; anything else that the options' library says is about usage.  The words are
// those that it saw.
Exit explain(const CLI::App& app, const CLI::ParseError& error,
             const std::vector<std::string>& words, bool dashed, Output& output) {
  if (error.get_exit_code() == 0) {
    std::ostringstream help;
    app.exit(error, help, help);
    output.print(help.str());
    return kDone;
  }
  complain(usageProblem(app, error, words, dashed));
  return kUsage;
}

// "with" runs what follows --, and "completion" completes it, as it stands, so the options'
// library, which would take some words apart, does not see it: it ends where this points to.
char** dashesIn(const CLI::App& app, char** argv, char** end) {
  const auto isFamily = [&](const std::string& word) {
    const auto named = [&](const CLI::App* family) { return family->check_name(word); };
    return !app.get_subcommands(named).empty();
  };
  char** const family = std::find_if(argv, end, isFamily);
  if (family == end || (*family != "with"sv && *family != "completion"sv)) return end;
  return std::find(family, end, std::string("--"));
}

// For the commands that a holding command runs: they work in its lobby.
bool enterLobbyOfEnvironment() {
  const char* const name = std::getenv(kLobbyVariable);
  if (!name) return true;
  if (*name && !mayBeLobby(name)) {
    complain(std::string("It is in the environment variable ") + kLobbyVariable);
    return false;
  }
  layOverConfiguration(Qx::WStringFromUTF8(name));
  return true;
}

// They change nothing: a newer program may know them, so that this is no reason to end.
void tellUnknownSettings(const Options& options) {
  for (const std::string& unknown : host::unknownSettings()) remark(options, printable(unknown));
}

Exit run(int argc, char** argv, Context& context) {
  CLI::App app("Looks after the places where media and projects are kept.", "miscdisc");
  app.formatter(std::make_shared<Help>());  // of the commands, too
  app.fallthrough();
  app.require_subcommand(0, 1);
  Command chosen = [&context] { return showStatus(context); };
  addGlobalOptions(app, context.options);
  addStatus(app, context, chosen);
  addFind(app, context, chosen);
  addCache(app, context, chosen);
  addDrives(app, context, chosen);
  addLobby(app, context, chosen);
  addSpace(app, context, chosen);
  addRoom(app, context, chosen);
  addProject(app, context, chosen);
  addLocks(app, context, chosen);
  addNotify(app, context, chosen);
  addWatch(app, context, chosen);
  addReport(app, context, chosen);
  addDoctor(app, context, chosen);
  addDemo(app, context, chosen);
  addConfig(app, context, chosen);
  addVersion(app, context, chosen);
  std::vector<std::string> behindDashes;
  addWith(app, context, chosen, behindDashes);
  addHold(app, context, chosen);
  addShell(app, context, chosen);
  addManual(app, context, chosen);
  addCompletion(app, context, chosen, behindDashes);
  char** const end = argv + argc;
  char** const dashes = dashesIn(app, argv + 1, end);
  if (dashes != end) behindDashes.assign(dashes + 1, end);
  try {
    app.parse(static_cast<int>(dashes - argv), argv);
  } catch (const CLI::ParseError& error) {
    return explain(app, error, {argv + 1, dashes}, dashes != end, context.output);
  }
  host::setVerbose(context.options.verbose);
  if (!enterLobbyOfEnvironment()) return kUsage;
  const CLI::App* const doctor = app.get_subcommand("doctor");
  const bool isFinding = doctor->parsed() && !doctor->got_subcommand("share");
  if (!isFinding) tellUnknownSettings(context.options);
  return chosen();
}

}  // namespace

int main(int argc, char** argv) {
  prepareSignals();
  Context context;
  try {
    const Exit exit = run(argc, argv, context);
    return context.output.flush() ? exit : kFailed;
  } catch (const std::exception& failure) {
    complain(failure.what());
    return kFailed;
  }
}
