#include "console/share_test.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sstream>
#include <thread>

#include "console/folders.h"
#include "console/not_answering.h"
#include "console/program.h"
#include "console/progress.h"
#include "host/files/mount_facts.h"
#include "host/files/open_file.h"
#include "host/volumes/mount_table.h"

namespace console {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kContest{2000};
constexpr milliseconds kReplacing{500};
// For one answer of a process, beyond what it was asked to take, and for the folder to go away.
constexpr milliseconds kPatience{5000};

volatile sig_atomic_t interrupted = 0;  // the signal

// What was made goes away first.  A signal that whoever started us wants ignored stays so.
void waitForSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = [](int number) { interrupted = number; };
    sigaction(signal, &action, nullptr);
  }
}

// Why the test cannot go on.
struct Stop {
  Exit exit;
  std::string text;  // empty: whoever stopped it knows why
};

struct Row {
  std::string test;
  std::optional<bool> holds;  // nothing: cannot be told
  std::string text;           // printable
};

// One of the processes; killed with the object.
class Process {
 public:
  explicit Process(const std::string& folder) : folder_(folder) {
    int input[2], output[2];
    if (pipe2(input, O_CLOEXEC) != 0) fail();
    toIt_ = host::Descriptor(input[1]);
    const host::Descriptor itsInput(input[0]);
    if (pipe2(output, O_CLOEXEC) != 0) fail();
    fromIt_ = host::Descriptor(output[0]);
    const host::Descriptor itsOutput(output[1]);
    start(itsInput.number(), itsOutput.number());
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { kill(); }

  void tell(const std::string& line) {
    const std::string text = line + "\n";
    (void)!write(toIt_.number(), text.data(), text.size());  // one that has ended says so below
  }

  std::string answer(milliseconds busy = {}) {
    const auto end = Clock::now() + busy + kPatience;
    while (unread_.find('\n') == std::string::npos) readMore(end);
    const size_t length = unread_.find('\n');
    const std::string line = unread_.substr(0, length);
    unread_.erase(0, length + 1);
    return line;
  }

  std::string ask(const std::string& line) {
    tell(line);
    return answer();
  }
  bool does(const std::string& line) { return ask(line) == "yes"; }

  // What hangs in the folder may not even end: nobody waits for it.
  void kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    const auto end = Clock::now() + milliseconds(500);
    while (waitpid(process_, nullptr, WNOHANG) == 0 && Clock::now() < end) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    process_ = 0;
  }

 private:
  [[noreturn]] static void fail() {
    throw Stop{kFailed, std::string("no second process could be started: ") + std::strerror(errno)};
  }

  // In a process group of its own: an interrupt from the terminal is for this process, which then
  // clears up.
  void start(int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    char* const arguments[] = {const_cast<char*>("miscdisc"),
                               const_cast<char*>("doctor"),
                               const_cast<char*>("share"),
                               const_cast<char*>("--process"),
                               const_cast<char*>("--"),
                               folder_.data(),
                               nullptr};
    const int error =
        posix_spawn(&process_, "/proc/self/exe", &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    errno = error;
    if (error != 0) fail();
  }

  void readMore(Clock::time_point end) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    pollfd waiting{fromIt_.number(), POLLIN, 0};
    // In short steps, for a signal may come in just before the wait.
    const milliseconds step = std::clamp(left, milliseconds(0), milliseconds(100));
    const int ready = poll(&waiting, 1, static_cast<int>(step.count()));
    if (interrupted) throw Stop{exitBySignal(interrupted), {}};
    if (ready <= 0) {
      if (Clock::now() < end) return;
      throw Stop{kIncomplete, printable(folder_) +
                                  " stopped answering during the test.  Look at its mount or "
                                  "server, and try again"};
    }
    char bytes[256];
    const ssize_t count = read(fromIt_.number(), bytes, sizeof bytes);
    if (count > 0) {
      unread_.append(bytes, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      throw Stop{kFailed, "a process of the test ended early.  Try again with -v"};
    }
  }

  std::string folder_;
  host::Descriptor toIt_, fromIt_;
  std::string unread_;
  pid_t process_ = 0;
};

// The folder in which the processes work, made in the one that is tested.
struct Ground {
  std::string folder;
  bool remote = false;
  bool locksStayLocal = false;
  std::string mount;
  int error = 0;  // errno
};

Stop cannotBeUsed(const std::string& folder, int error) {
  // Of a folder that is there: a file system of the kernel's own, such as /proc.
  const std::string why = error == ENOENT ? "no folder can be made there" : std::strerror(error);
  return {kFailed, "nothing can be written in " + printable(folder) + ": " + why +
                       ".  Give a folder in which this user may write, for example the lobby's"};
}

Stop cannotBeLookedAt(const std::string& folder, int error) {
  if (error != ENOENT) return cannotBeUsed(folder, error);
  return {kNotFound, printable(folder) + " is not there.  Mount it, or check the spelling"};
}

Ground lookAtGround(const std::string& folder) {
  Ground ground;
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0) {
    ground.error = errno;
    return ground;
  }
  if (!S_ISDIR(status.st_mode)) ground.error = ENOTDIR;
  const host::MountFacts facts = host::mountFacts(folder, status.st_dev);
  ground.remote = facts.remote;
  ground.locksStayLocal = facts.locksStayLocal;
  std::error_code error;
  const std::string real = std::filesystem::canonical(folder, error).string();
  const auto mounts = host::currentMounts();
  const host::Mount& mount = mounts->holding(error ? folder : real);
  ground.mount = mount.type + " (" + mount.options + ")";
  return ground;
}

Ground makeGround(const std::string& folder, const Options& options) {
  const WString wide = Qx::WStringFromUTF8(folder);
  const auto seen =
      within<Ground>(options.deadline(), wide, [folder] { return lookAtGround(folder); });
  if (!seen) throw Stop{kIncomplete, notAnswering(wide, options)};
  if (seen->error != 0) throw cannotBeLookedAt(folder, seen->error);

  // Longer than a look: what is made after the wait nobody would remove.
  const auto made = within<Ground>(kPatience, wide, [folder, ground = *seen]() mutable {
    ground.folder = folder + "/.miscdisc-share-XXXXXX";
    if (!mkdtemp(ground.folder.data())) ground.error = errno;
    return ground;
  });
  if (!made) {
    throw Stop{kIncomplete, printable(folder) + " stopped answering.  Look at its mount or server"};
  }
  if (made->error != 0) throw cannotBeUsed(folder, made->error);
  return *made;
}

void clear(const Ground& ground) {
  const auto cleared =
      within<bool>(kPatience, Qx::WStringFromUTF8(ground.folder), [folder = ground.folder] {
        std::error_code error;
        std::filesystem::remove_all(folder, error);
        return !error;
      });
  if (!cleared.value_or(false)) {
    complain(printable(ground.folder) + " could not be removed.  Delete it when its mount answers");
  }
}

std::vector<int> numbersIn(const std::string& line) {
  std::istringstream text(line);
  std::vector<int> numbers;
  for (int number = 0; text >> number;) numbers.push_back(number);
  numbers.resize(4);
  return numbers;
}

Row testMount(const Ground& ground) {
  const std::string kind = ground.remote ? "remote storage" : "storage of this machine";
  const std::string mount = ground.mount.empty() ? "" : ", " + printable(ground.mount);
  if (!ground.locksStayLocal) return {"mount", true, kind + mount};
  return {"mount", false,
          kind + mount + ": it keeps locks to itself, so no other machine sees them"};
}

// Both want the lock all the time, and whoever has it looks whether it is alone.
Row testExclusion(Process& first, Process& second) {
  const std::string command = "compete " + std::to_string(kContest.count());
  first.tell(command);
  second.tell(command);
  const auto a = numbersIn(first.answer(kContest));
  const auto b = numbersIn(second.answer(kContest));
  const int met = a[2] + b[2];
  const std::string counts =
      fmt::format("{} and {} times held, {} times refused", a[0], b[0], a[1] + b[1]);
  if (met > 0) {
    return {"exclusion", false,
            fmt::format("both held the lock at once, {} times ({}).  Locks cannot be relied on "
                        "here: look at the options of the mount",
                        met, counts)};
  }
  if (a[3] + b[3] > 0) {
    return {"exclusion",
            {},
            "a file that tells could not be written and read back (" + counts +
                ").  Look at df, and try again"};
  }
  if (a[0] == 0 && b[0] == 0) {
    return {"exclusion", false,
            "no lock was ever had.  Look at the options of the mount, and at the log"};
  }
  if (a[0] == 0 || b[0] == 0) {
    return {"exclusion", {}, "one process never got the lock (" + counts + ").  Try again"};
  }
  return {"exclusion", true, counts + ", never by both"};
}

Row failedToLock(const std::string& test, const std::string& answer) {
  const int error = numbersIn(answer.substr(std::min<size_t>(3, answer.size())))[0];
  return {test, false, std::string("the lock was not had: ") + std::strerror(error)};
}

Row testAsking(Process& first, Process& second) {
  const std::string had = first.ask("lock");
  if (had != "yes") return failedToLock("asking", had);
  const std::string held = second.ask("state");
  first.ask("unlock");
  const std::string gone = second.ask("state");
  if (held == "unknown") {
    return {"asking",
            {},
            "the mount does not say whether a lock is held, so nobody can tell a "
            "dead machine's from a live one's"};
  }
  if (held == "held" && gone == "missing") return {"asking", true, "a held lock is seen as held"};
  return {"asking", false,
          "a held lock is seen as " + held + ", and as " + gone + " after it was let go"};
}

Row testDeath(Process& first, Process& second) {
  const std::string test = "death of a holder";
  const std::string had = first.ask("lock");
  if (had != "yes") return failedToLock(test, had);
  if (second.does("lock")) return {test, false, "the second process got a lock that is held"};
  const auto killed = Clock::now();
  first.kill();
  while (!second.does("lock")) {
    if (Clock::now() - killed > kPatience) {
      return {test, false,
              fmt::format("its lock was not free {} s later", kPatience.count() / 1000)};
    }
    std::this_thread::sleep_for(milliseconds(1));
  }
  const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - killed);
  second.ask("unlock");
  return {test, true, fmt::format("its lock was free after {} ms", took.count())};
}

Row testNewFiles(Process& first, Process& second) {
  const bool before = second.does("exists made");
  const bool made = first.does("make made");
  const bool seen = second.does("exists made");
  const bool removed = first.does("remove made");
  const bool after = second.does("exists made");
  if (!made || !removed) return {"new files", false, "a file could not be made and removed"};
  if (before || after) return {"new files", false, "a file that is not there is still seen"};
  if (!seen) return {"new files", false, "a new file is not seen at once"};
  return {"new files", true, "seen at once, and when they go"};
}

Row testReplacing(Process& first, Process& second) {
  const auto start = numbersIn(first.ask("replace 0"));
  if (start[0] == 0) return {"replacing", false, "no file could be renamed over another"};
  const std::string time = std::to_string(kReplacing.count());
  first.tell("replace " + time);
  second.tell("watch " + time);
  const auto replaced = numbersIn(first.answer(kReplacing));
  const auto read = numbersIn(second.answer(kReplacing));
  if (read[1] > 0 || replaced[1] > 0) {
    return {"replacing", false,
            fmt::format("of {} reads, {} found no file or half of one; {} renames failed", read[0],
                        read[1], replaced[1])};
  }
  return {"replacing", true,
          fmt::format("replaced {} times, read whole {} times", replaced[0], read[0])};
}

Row testMarks(Process& first, Process& second) {
  const bool set = first.does("make marked") && first.does("mark 2");
  const bool seen = second.does("marked");
  const bool cleared = first.does("mark 1");
  const bool still = second.does("marked");
  if (set && seen && cleared && !still) return {"marks", true, "kept, and taken away"};
  return {"marks", false,
          "a mark on a login is not kept, so it is not seen who is outside any room: the mount has "
          "neither user attributes nor modes of its own"};
}

std::vector<Row> runTests(const Ground& ground, Progress& progress) {
  Process first(ground.folder), second(ground.folder);
  std::vector<Row> rows;
  rows.push_back(testMount(ground));
  progress.say("two processes compete for a lock");
  rows.push_back(testExclusion(first, second));
  progress.say("asking, renaming, marking");
  rows.push_back(testAsking(first, second));
  rows.push_back(testNewFiles(first, second));
  rows.push_back(testReplacing(first, second));
  rows.push_back(testMarks(first, second));
  rows.push_back(testDeath(first, second));  // the last: one process is gone then
  return rows;
}

std::string resultOf(const Row& row) {
  return !row.holds ? "cannot tell" : *row.holds ? "ok" : "FAILED";
}

void show(Context& context, const std::string& folder, const Ground& ground,
          const std::vector<Row>& rows) {
  if (context.options.json) {
    Json document{{"schema", "miscdisc.share/1"}};
    addText(document, "path", Qx::WStringFromUTF8(folder));
    document["remote"] = ground.remote;
    addText(document, "mount", Qx::WStringFromUTF8(ground.mount));
    document["tests"] = Json::array();
    for (const Row& row : rows) {
      Json test{{"test", row.test}, {"ok", nullptr}, {"text", row.text}};
      if (row.holds) test["ok"] = *row.holds;
      document["tests"].push_back(test);
    }
    context.output.printDocument(document);
    return;
  }
  std::vector<std::vector<std::string>> cells;
  for (const Row& row : rows) cells.push_back({row.test, resultOf(row), row.text});
  context.output.printTable(context.options, {"TEST", "RESULT", "SEEN"}, cells);
}

Exit exitOf(const std::vector<Row>& rows) {
  const auto has = [&](std::optional<bool> holds) {
    return std::any_of(rows.begin(), rows.end(),
                       [&](const Row& row) { return row.holds == holds; });
  };
  if (has(false)) return kProblems;
  return has(std::nullopt) ? kIncomplete : kDone;
}

}  // namespace

Exit testShare(Context& context, const std::string& given) {
  if (given.empty()) {
    complain("DIR is empty: a folder's path was expected");
    return kUsage;
  }
  if (context.options.dryRun) {
    complain(
        "the test is the change: it writes in a folder that it makes in DIR and removes again.  "
        "Leave --dry-run out");
    return kUsage;
  }
  const std::string folder = Qx::UTF8FromWString(absoluteFolder(Qx::WStringFromUTF8(given)));
  waitForSignals();
  std::optional<Ground> ground;
  std::vector<Row> rows;
  std::optional<Stop> stop;
  try {
    ground = makeGround(folder, context.options);
    Progress progress(context.options);
    rows = runTests(*ground, progress);
  } catch (const Stop& reason) {
    stop = reason;
  }
  if (ground) clear(*ground);
  if (stop) {
    if (!stop->text.empty()) complain(stop->text);
    return stop->exit;
  }
  show(context, folder, *ground, rows);
  remark(context.options,
         "both processes ran on this machine.  Whether locks reach other machines only the mount "
         "tells; run this on each of them.");
  return exitOf(rows);
}

}  // namespace console
