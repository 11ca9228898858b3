// The command miscdisc.
//
// Every command here only looks, but for "config set", "cache dump" and those of "drives" that say
// what they changed: it logs nobody in, takes and probes no lock, and leaves nothing on the disk
// but lines in the log.
#include <signal.h>
#include <unistd.h>

#include <sstream>

#include "console/commands.h"
#include "host/log.h"

namespace {

using namespace console;

void interrupted(int) {
  if (isatty(STDERR_FILENO)) {
    static const char kClearLine[] = "\r\033[K";
    [[maybe_unused]] const ssize_t w = write(STDERR_FILENO, kClearLine, sizeof kClearLine - 1);
  }
  _exit(kInterrupted);
}

void prepareSignals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a write that fails, and is reported
  struct sigaction interrupt {};
  sigaction(SIGINT, nullptr, &interrupt);
  if (interrupt.sa_handler == SIG_IGN) return;  // whoever started us wants it so
  interrupt.sa_handler = interrupted;
  sigaction(SIGINT, &interrupt, nullptr);
}

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_flag("--json", options.json, "One JSON document on standard output");
  app.add_flag("--plain", options.plain, "As into a pipe: tabs, no colour, no progress");
  app.add_option("--color", options.color, "auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  app.add_option("--timeout", options.timeout,
                 "Seconds that a mount has to answer: 0.25 unless set")
      ->check(CLI::Range(0.001, 3600.0))
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--yes", options.yes, "Do what is refused without");
  app.add_flag("--dry-run", options.dryRun, "Say what would be changed, and change nothing");
  app.add_flag("-q,--quiet", options.quiet, "No words but errors");
  app.add_flag("-v,--verbose", options.verbose, "Show the library's log on standard error");
}

// Help is an answer; anything else that the options' library says is about usage.
Exit explain(const CLI::App& app, const CLI::ParseError& error, Output& output) {
  if (error.get_exit_code() == 0) {
    std::ostringstream help;
    app.exit(error, help, help);
    output.print(help.str());
    return kDone;
  }
  complain(std::string(error.what()) + "\nTry: miscdisc --help");
  return kUsage;
}

Exit run(int argc, char** argv, Context& context) {
  CLI::App app("Looks after the places where media and projects are kept.", "miscdisc");
  app.fallthrough();
  app.require_subcommand(0, 1);
  Command chosen = [&context] { return showStatus(context); };
  addGlobalOptions(app, context.options);
  addStatus(app, context, chosen);
  addFind(app, context, chosen);
  addCache(app, context, chosen);
  addDrives(app, context, chosen);
  addConfig(app, context, chosen);
  addVersion(app, context, chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return explain(app, error, context.output);
  }
  host::setVerbose(context.options.verbose);
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
