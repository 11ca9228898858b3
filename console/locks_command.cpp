// The locks of the space, and waiting for one of them.
#include <fmt/core.h>

#include <algorithm>
#include <limits>
#include <thread>

#include "console/folders.h"
#include "console/lock_files.h"
#include "console/progress.h"
#include "console/seconds.h"
#include "console/space_commands.h"
#include "console/space_view.h"

namespace console {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBetweenLooks = 0.2;  // seconds

struct Arguments {
  std::string name;
  double seconds = std::numeric_limits<double>::infinity();
};

Exit list(Context& context) {
  const Space space = lookAtConfiguredSpace(context.options);
  if (context.options.json) {
    Json document{{"schema", "miscdisc.locks/1"}};
    addText(document, "space", space.folder);
    document["locks"] = locksOf(space);
    context.output.printDocument(document);
  } else {
    std::vector<std::vector<std::string>> rows;
    const bool people = context.output.forPeople(context.options);
    for (const SpaceLock& lock : space.locks) rows.push_back(cellsOf(lock, people));
    context.output.printTable(context.options, lockHeading(), rows);
  }
  if (space.locks.empty()) {
    sayEmpty("locks", "nobody holds a room or a project", space, context.options);
  }
  for (const std::string& sentence : leftovers(space)) remark(context.options, sentence);
  return reportProblems(space, context.options);
}

// The lock file of what is named; nothing, after saying so, with the exit code.
std::optional<WString> lockMeant(const std::string& name, const Options& options, Exit& exit) {
  const WString given = Qx::WStringFromUTF8(name);
  if (given.starts_with(L'/') && isLockName(given)) return plainFolder(given);
  Space space = lookAtConfiguredSpace(options);
  if (space.answer != Space::Answer::kThere) {
    exit = reportProblems(space, options);
    return {};
  }
  if (cookie::fromWString(given)) {
    exit = kUsage;
    const auto project = projectNamed(name);
    if (!project) return {};
    return lockFileOfProject(space, *project);
  }
  const WString whole = plainFolder(space.folder + given);
  if (isLockName(given) && whole.starts_with(space.folder)) return whole;
  exit = kUsage;
  const auto path = roomPath(space, name);
  if (!path) return {};
  if (const std::string none = whyNoRoom(space, *path, options); !none.empty()) {
    complain(none + ", and \"miscdisc locks list\" which locks");
    exit = kNotFound;
    return {};
  }
  return lockFileOfRoom(worseSpelling(space, *path, options));
}

bool isFree(const LockLook& look) {
  return look.answer == LockLook::Answer::kNoFile ||
         (look.answer == LockLook::Answer::kThere && look.lock.held == Held::kNo);
}

bool mayBecomeFree(const LockLook& look) {
  if (look.answer == LockLook::Answer::kThere) return look.lock.ordinary && !isFree(look);
  return look.answer == LockLook::Answer::kUnknown;
}

std::string waitingFor(const LockLook& look, const std::string& name) {
  const bool known = look.answer == LockLook::Answer::kThere;
  return "waiting for " + printable(name) + (known ? ", held by " + holder(look.lock) : "");
}

// What became of the wait.
Exit sayEnd(const LockLook& look, const std::string& name, const WString& path,
            const Options& options) {
  const std::string shown = printable(path);
  const std::string called = printable(name);  // as whoever waits calls it
  if (look.answer == LockLook::Answer::kNoFolder) {
    complain(shown +
             " cannot be a lock: its folder is not there.  \"miscdisc locks list\", "
             "\"miscdisc room list\" and \"miscdisc project list\" show what there is.");
    return kNotFound;
  }
  if (look.answer == LockLook::Answer::kUnknown) {
    complain(
        fmt::format("{} is not answering, so whether somebody holds it is not known.  Look at "
                    "its mount or server, or give it longer, for example with --timeout 5",
                    shown));
    return kIncomplete;
  }
  if (isFree(look)) {
    if (look.answer == LockLook::Answer::kThere) {
      remark(options, "the lock of " + called + " is a leftover: nobody holds it");
    }
    return kDone;
  }
  if (!look.lock.ordinary) {
    complain(shown +
             " is no ordinary file, so nobody can hold or take it.  Look at it with ls -ld");
    return kFailed;
  }
  if (look.lock.held == Held::kUnknown) {
    complain("whether " + holder(look.lock) + " still holds " + called +
             " cannot be told: the storage does not say, or the file may not be read.  Its end "
             "shows when the file goes.");
    return kIncomplete;
  }
  complain(called + " is still held by " + holder(look.lock) +
           ".  Ask whoever holds it to leave, or wait longer: --for gives the seconds");
  return kHeld;
}

void show(Context& context, const LockLook& look, const WString& path) {
  if (!context.options.json) return;
  const bool there = look.answer == LockLook::Answer::kThere;
  Json document{{"schema", "miscdisc.wait/1"}};
  addText(document, "path", path);
  addHolder(document, there ? &look.lock : nullptr);
  if (look.answer == LockLook::Answer::kUnknown) document["state"] = stateOf(Held::kUnknown);
  context.output.printDocument(document);
}

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Exit wait(Context& context, const Arguments& arguments) {
  const Options& options = context.options;
  const auto start = Clock::now();
  Exit exit = kFailed;
  const auto path = lockMeant(arguments.name, options, exit);
  if (!path) return exit;
  Progress progress(options);
  LockLook look = lookAtLock(*path, options);
  while (mayBecomeFree(look)) {
    const double left = arguments.seconds - secondsSince(start);
    if (left <= 0) break;
    progress.say(waitingFor(look, arguments.name));
    std::this_thread::sleep_for(std::chrono::duration<double>(std::min(kBetweenLooks, left)));
    look = lookAtLock(*path, options);
  }
  progress.finish();
  if (look.answer != LockLook::Answer::kNoFolder) show(context, look, *path);
  return sayEnd(look, arguments.name, *path, options);
}

}  // namespace

void addLocks(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* locks = app.add_subcommand("locks", "The locks of the space, and waiting for them");
  locks->require_subcommand(1);
  addSpaceCommand(*locks, chosen, "list", "Which locks there are, and who holds them",
                  [&context] { return list(context); });
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* waiting =
      addSpaceCommand(*locks, chosen, "wait",
                      "Wait until nobody holds a room or a project.  Exit code 4: there is neither",
                      [&context, arguments] { return wait(context, *arguments); });
  waiting->add_option("LOCK", arguments->name, "A room, a project or the path of a lock file")
      ->required();
  waiting->add_option("--for", arguments->seconds, "Seconds at most: without end unless given")
      ->type_name("SECONDS")
      ->check(Seconds(0, 1e9));
}

}  // namespace console
