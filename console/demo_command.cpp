// Several machines on this one: processes with a home and a user each, on a folder that they share
// and that goes again.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "console/commands.h"
#include "console/holding.h"
#include "console/program.h"

namespace console {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr int kPatience = 10'000;  // milliseconds, for a machine to hold what it is told to

// A folder that is removed at the end.
class Stage {
 public:
  Stage() : folder_(fs::temp_directory_path() / "miscdisc-demo-XXXXXX") {
    if (mkdtemp(folder_.data())) return;
    throw std::runtime_error("no folder for the demo could be made in " +
                             fs::temp_directory_path().string() + ": " + std::strerror(errno) +
                             ".  Say another one with TMPDIR");
  }
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  ~Stage() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  void makeFolder(const std::string& name) const { fs::create_directories(path(name)); }
  void write(const std::string& name, const std::string& text) const {
    makeFolder(fs::path(name).parent_path());
    std::ofstream(path(name)) << text;
  }

 private:
  std::string folder_;
};

// Machines that go on until they are ended, at the latest with the object.
class Running {
 public:
  Running() = default;
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() {
    for (const auto& [user, process] : processes_) kill(process, SIGTERM);
    for (const auto& [user, process] : processes_) console::end(process);
  }

  void add(const std::string& user, pid_t process) { processes_[user] = process; }
  pid_t of(const std::string& user) const { return processes_.at(user); }
  void end(const std::string& user, int signal) {
    const pid_t process = of(user);
    kill(process, signal);
    codeOf(process);
    processes_.erase(user);
  }

 private:
  std::map<std::string, pid_t> processes_;
};

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
    out = ends[0];
    in = ends[1];
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    noMoreIn();
    close(out);
  }
  void noMoreIn() {
    if (in >= 0) close(std::exchange(in, -1));
  }

  int out, in;
};

bool isInstalled(const std::string& program) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((folder + "/" + program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

// How a demo ends before its end: the signal that came.
struct Interrupted {
  int signal;
};

class Demo {
 public:
  explicit Demo(Context& context) : context_(context) {}

  Exit play();

 private:
  void makeMachines();
  void makeLobby();
  void meet();
  void tell();
  void crash();
  void mend();

  void say(const std::string& text);
  void show(const std::string& line);  // before what it prints itself
  Words commandOf(const std::string& user, const Words& words);

  // One command of a machine.  Another exit code than the expected one is said, and fails the demo.
  void run(const std::string& user, const Words& words, int expected = kDone);
  // A command that goes on as soon as it says that it holds what it was told to.
  void keep(const std::string& user, const Words& words);
  bool startBus();
  // The next line that a program prints, with its end; shorter when it says no more.
  std::string lineOf(int data);
  void endIfAsked();

  Context& context_;
  const std::string self_ = fs::read_symlink("/proc/self/exe");
  EndSignals signals_;
  Stage stage_;
  Running running_;  // ends before the stage goes
  bool asExpected_ = true;
};

// As it would be typed.
std::string typed(const Words& words) {
  std::string line;
  for (const std::string& word : words) {
    const bool plain = word.find_first_of(" '\"\\#$&|;<>()*?") == std::string::npos;
    line += " " + (plain ? word : "\"" + word + "\"");
  }
  return line;
}

void Demo::say(const std::string& text) {
  const bool color = context_.output.colored(context_.options);
  context_.output.print((color ? "\n\033[1m# " + text + "\033[0m" : "\n# " + text) + "\n");
  context_.output.flush();
}

void Demo::show(const std::string& line) {
  context_.output.print(line + "\n");
  context_.output.flush();
}

Words Demo::commandOf(const std::string& user, const Words& words) {
  setenv("MISCDISC_HOME", stage_.path(user).c_str(), 1);
  unsetenv(kLobbyVariable);
  Words command{self_};
  if (context_.options.color != "auto") command.push_back("--color=" + context_.options.color);
  command.insert(command.end(), words.begin(), words.end());
  std::replace(command.begin(), command.end(), std::string("miscdisc"), self_);
  return command;
}

void Demo::run(const std::string& user, const Words& words, int expected) {
  show(user + "$ miscdisc" + typed(words));
  const Ended ended = console::run(commandOf(user, words), context_.output, signals_);
  if (ended.signal != 0) throw Interrupted{ended.signal};
  if (ended.code == kInterrupted) throw Interrupted{SIGINT};
  if (expected != kDone) show("(exit code " + std::to_string(ended.code) + ")");
  if (ended.code == expected) return;
  asExpected_ = false;
  complain("that was expected to end with " + std::to_string(expected) + ", not with " +
           std::to_string(ended.code));
}

std::string Demo::lineOf(int data) {
  std::string line;
  pollfd asked[] = {{data, POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}};
  char byte = 0;
  while (byte != '\n' && poll(asked, 2, kPatience) > 0 && asked[1].revents == 0 &&
         read(data, &byte, 1) == 1) {
    line += byte;
  }
  endIfAsked();
  return line;
}

void Demo::keep(const std::string& user, const Words& words) {
  show(user + "$ miscdisc" + typed(words) + " &");
  Pipe pipe;
  running_.add(user, start(commandOf(user, words), pipe.in, signals_));
  pipe.noMoreIn();
  const std::string line = lineOf(pipe.out);
  if (!line.ends_with('\n')) throw std::runtime_error(user + "'s machine did not begin");
  context_.output.print(line);
  context_.output.flush();
}

// A bus of the demo's own, so that nobody else hears of it.  False where there is no program for
// it.
bool Demo::startBus() {
  if (!isInstalled("dbus-daemon")) return false;
  Pipe pipe;
  running_.add("bus",
               start({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address"},
                     pipe.in, signals_));
  pipe.noMoreIn();
  std::string address = lineOf(pipe.out);
  if (!address.ends_with('\n')) return false;
  address.pop_back();
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  return true;
}

void Demo::endIfAsked() {
  if (const auto signal = signals_.next()) throw Interrupted{signal->number};
}

void Demo::makeMachines() {
  say("Three machines, with a home and a user each, share two drives and a folder for lobbies.");
  for (const std::string drive : {"rushes-a", "rushes-b"}) {
    stage_.makeFolder(drive + "/Material");
    stage_.makeFolder(drive + "/Sound");
  }
  stage_.makeFolder("nas");
  for (const std::string user : {"ann", "bob", "cleo"}) {
    stage_.write(user + "/config.toml",
                 "[machine]\nuser = \"" + user + "\"\n[volumes]\ndiscover = false\nE = \"" +
                     stage_.path("rushes-a") + "\"\nF = \"" + stage_.path("rushes-b") + "\"\n");
    run(user, {"-q", "config", "set", "network project root", stage_.path("nas")});
  }
}

void Demo::makeLobby() {
  say("ann names the drives and makes a lobby; all three machines work in it.");
  run("ann", {"drives", "rename", "E", "Rushes A"});
  run("ann", {"drives", "rename", "F", "Rushes B"});
  run("ann", {"lobby", "create", "Alpha"});
  for (const std::string user : {"ann", "bob", "cleo"}) run(user, {"lobby", "use", "Alpha"});
  stage_.makeFolder("nas/Alpha/P0001000");
  stage_.write("nas/Alpha/Edit 1.Room", "");
}

void Demo::meet() {
  say("ann goes into a room, cleo opens a project, bob is in the lobby.");
  keep("ann", {"hold", "--room", "Edit 1"});
  keep("cleo", {"hold", "--project", "P0001000"});
  keep("bob", {"hold"});
  run("bob", {"lobby", "show"});
  say("The room is ann's as long as her machine lives.");
  run("bob", {"room", "check", "Edit 1"}, kHeld);
}

void Demo::tell() {
  if (!startBus()) {
    say("Nobody is told of new files here: that takes the program dbus-daemon.");
    return;
  }
  say("bob watches, and hears at once what ann and cleo record.");
  show("bob$ miscdisc watch files &");
  Pipe pipe;
  running_.add("bob's watch", start(commandOf("bob", {"watch", "files"}), pipe.in, signals_));
  pipe.noMoreIn();
  const auto event = [&] { return Json::parse(lineOf(pipe.out), nullptr, false); };
  Json heard = event();
  while (heard.is_object() && !heard.value("connected", false)) heard = event();
  for (const std::string user : {"ann", "cleo"}) {
    const std::string file = stage_.path("rushes-a/Material/" + user + ".mxf");
    stage_.write("rushes-a/Material/" + user + ".mxf", "media");
    run(user, {"cache", "add", file});
    heard = event();
    const bool told = heard.is_object() && heard.value("path", "") == file;
    if (!told) throw std::runtime_error("bob's machine did not hear of " + file);
    show("bob hears: " + heard.value("event", "") + " " + file);
  }
  run("bob", {"find", "ann.mxf", "cleo.mxf"});
  running_.end("bob's watch", SIGTERM);
}

void Demo::crash() {
  say("ann's machine dies.");
  show("$ kill -9 " + std::to_string(running_.of("ann")));
  running_.end("ann", SIGKILL);
  say("Her files stay, and keep nobody out; the status page tells them from the living.");
  run("bob", {"status"});
}

void Demo::mend() {
  say("The doctor proves that nobody holds them, and clears them away.");
  run("bob", {"doctor"}, kProblems);
  run("bob", {"doctor", "--fix"});
  run("bob", {"doctor"});
  say("bob takes the room for as long as a command runs.");
  run("bob", {"with", "Alpha", "--room", "Edit 1", "--", "miscdisc", "locks", "list"});
  say("Everything that was made for this is removed again.");
}

Exit Demo::play() {
  try {
    makeMachines();
    makeLobby();
    meet();
    tell();
    crash();
    mend();
  } catch (const Interrupted& interrupted) {
    return exitBySignal(interrupted.signal);
  }
  return asExpected_ ? kDone : kFailed;
}

Exit showDemo(Context& context) {
  if (context.options.json) {
    complain("the demo is for people: there is no document of it.  Leave --json out");
    return kUsage;
  }
  if (context.options.dryRun) {
    complain(
        "nobody can try out the demo: it works in a temporary folder, and removes that again.  "
        "Leave --dry-run out");
    return kUsage;
  }
  return Demo(context).play();
}

}  // namespace

void addDemo(CLI::App& app, Context& context, Command& chosen) {
  app.add_subcommand("demo",
                     "Three machines in a temporary folder: a lobby, a locked room, a crash")
      ->callback([&] { chosen = [&context] { return showDemo(context); }; });
}

}  // namespace console
