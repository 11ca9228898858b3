// Looking on: a page on a terminal, a line for each event in a pipe.
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>

#include "console/commands.h"
#include "console/drives.h"
#include "console/observing.h"
#include "console/watch_screen.h"

namespace console {
namespace {

constexpr std::chrono::milliseconds kBeat{500};

// The threads that are started meanwhile leave these signals to this one.
class TerminalSignalsHere {
 public:
  TerminalSignalsHere() {
    sigemptyset(&taken_);
    for (const int signal : {SIGWINCH, SIGTSTP, SIGCONT}) sigaddset(&taken_, signal);
    pthread_sigmask(SIG_BLOCK, &taken_, nullptr);
  }
  TerminalSignalsHere(const TerminalSignalsHere&) = delete;
  TerminalSignalsHere& operator=(const TerminalSignalsHere&) = delete;
  ~TerminalSignalsHere() { pthread_sigmask(SIG_UNBLOCK, &taken_, nullptr); }

 private:
  sigset_t taken_;
};

Exit showLines(Context& context, EndSignals& signals, Observing& observing, Wakeup& wakeup) {
  EventLines lines(context.output, signals);
  while (true) {
    if (const auto end = lines.wait(wakeup.descriptor(), kBeat)) return *end;
    wakeup.calm();
    std::string text;
    for (const Event& event : observing.takeEvents()) text += event.document.dump() + "\n";
    if (const auto end = lines.write(text)) return *end;
  }
}

// It is drawn at every beat, and when a key or the terminal wants it: texts may come by the
// thousand.
Exit showPage(WatchScreen& screen, EndSignals& signals, Observing& observing, Wakeup& wakeup) {
  using Clock = std::chrono::steady_clock;
  for (auto next = Clock::now();;) {
    screen.add(observing.takeEvents());
    if (Clock::now() >= next) {
      screen.show(observing.latest());
      next = Clock::now() + kBeat;
    }
    pollfd asked[] = {{signals.descriptor(), POLLIN, 0},
                      {wakeup.descriptor(), POLLIN, 0},
                      {STDIN_FILENO, POLLIN, 0}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    poll(asked, std::size(asked), static_cast<int>(std::max<int64_t>(left.count(), 0)));
    if (const auto signal = signals.next()) return exitBySignal(signal->number);
    wakeup.calm();
    // Also when no key came: the size of the terminal may be another one.
    if (!screen.readKeys()) return kDone;
    if (asked[2].revents & (POLLHUP | POLLERR | POLLNVAL)) return exitBySignal(SIGHUP);
  }
}

Exit watch(Context& context, const Watched& watched) {
  if (configurationIsBroken()) return kUsage;
  EndSignals signals;  // before the first thread
  Wakeup wakeup;
  const Options& options = context.options;
  const bool page = context.output.forPeople(options) && !options.json && isatty(STDIN_FILENO) == 1;
  std::unique_ptr<WatchScreen> screen;
  if (page) screen = std::make_unique<WatchScreen>(context.output, options, watched);
  std::unique_ptr<Observing> observing;
  {
    const TerminalSignalsHere here;
    observing = std::make_unique<Observing>(options, watched, wakeup);
  }
  Exit exit = kFailed;
  std::string failure;
  try {
    exit = screen ? showPage(*screen, signals, *observing, wakeup)
                  : showLines(context, signals, *observing, wakeup);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  screen.reset();  // the words are for the terminal as it was
  if (!failure.empty()) {
    complain("watching has ended, as something failed: " + printable(failure) +
             ".  Start it again, and look at memory and open files when that ends it too");
  }
  if (!observing->stop()) _exit(exit);
  return exit;
}

}  // namespace

void addWatch(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* command =
      app.add_subcommand("watch", "Drives, people, locks and the files of others, as they change");
  command->footer(
      "On a terminal a page: q quits, s sorts the drives, space freezes.  In a pipe, or\n"
      "with --json or --plain, one JSON document a line for each event, first for what is\n"
      "there, until HUP, INT or TERM.");
  const auto what = std::make_shared<std::string>();
  command->add_option("WHAT", *what, "drives, lobby or files: only these")
      ->check(CLI::IsMember({"drives", "lobby", "files"}));
  command->callback([&context, &chosen, what] {
    chosen = [&context, what] {
      const auto wanted = [&](const char* name) { return what->empty() || *what == name; };
      return watch(context, {wanted("drives"), wanted("lobby"), wanted("files")});
    };
  });
}

}  // namespace console
