// Texts between machines while one of them, what carries the texts, or the network fails: how many
// arrive, how many do not, and whether whoever missed one is told to read its folders again.
//
// The machines are processes that send to each other without a pause.  What each sent and heard,
// and when, stands in memory that they share.  A text that a machine missed is noticed when that
// machine was told of a loss after the text was sent; every other one is a loss unnoticed.  What a
// machine has not sent off when it is killed dies with it: the texts behind the last one that
// anybody heard.  Shortly before the mishap everybody has heard everything.
//
// Exit status: 0 when nothing was lost unnoticed, came twice or out of order, and in each row those
// were told that it says; 1 otherwise; 2 for a bad option or when a row did not get through; 77
// when networks are needed that this process has not the right to make.
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/messenger/messenger.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/machines/session_bus.h"
#include "tests/nats/administrator.h"
#include "tests/nats/networks.h"
#include "tests/nats/server.h"
#include "tests/stress/herd.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr char kGroup[] = R"(\\nas\projects\Alpha)";
constexpr char kRescan[] = "100 ";
constexpr auto kPatience = 60s;
constexpr int kNotPossible = 77;

constexpr size_t kMostMachines = 4;
constexpr uint32_t kMostRuns = 6;
constexpr uint32_t kMostTexts = 60000;  // of one run
constexpr uint32_t kMostHeard = 4 * kMostTexts;
constexpr size_t kPadding = 30'000;  // of a text that is to fill what carries it
constexpr uint32_t kRescanRun = UINT32_MAX;
constexpr uint32_t kNobodysRun = UINT32_MAX - 1;

// Something that a machine heard: a text, or that something is missing.
struct Heard {
  uint32_t run;  // that sent it; or kRescanRun; or kNobodysRun, for what no machine sends
  uint32_t number;
  int64_t when;
};

// A machine from one start to the next.
struct Run {
  size_t machine;
  bool killed;
  std::atomic<int64_t> connected;  // since when it hears the others; 0: it does not yet
  std::atomic<uint32_t> rounds;    // times that it has looked whether it is to send
  std::atomic<uint32_t> sent;
  int64_t sentAt[kMostTexts + 1];  // by number, from 1
  std::atomic<uint32_t> heard;
  Heard sounds[kMostHeard];
};

struct Board {
  std::atomic<bool> end;
  std::atomic<uint32_t> senders;  // a bit for each machine
  std::atomic<uint32_t> askedOf;  // a text of these machines, likewise; taken back when it is sent
  std::atomic<uint32_t> more;     // texts than one that a sender sends at once
  std::atomic<size_t> padding;    // of each text
  int64_t begun;                  // when the mishap was about to happen
  uint32_t runs;
  Run run[kMostRuns];
};

std::string textOf(uint32_t run, uint32_t number, size_t padding) {
  return std::to_string(run) + " " + std::to_string(number) + " " + std::string(padding, 'x');
}

// To the last byte, or it is nobody's.
void read(const std::string& text, Heard& heard) {
  const char* const end = text.data() + text.size();
  const char* const rest = std::from_chars(text.data(), end, heard.run).ptr;
  std::from_chars(std::min(rest + 1, end), end, heard.number);
  const size_t padding = static_cast<size_t>(std::count(text.begin(), text.end(), 'x'));
  const bool isWhole = text == textOf(heard.run, heard.number, padding) &&
                       (padding == 0 || padding == kPadding) && heard.number > 0;
  if (!isWhole) heard.run = kNobodysRun;
}

class Receiver final : public iNetMessageReceiver {
 public:
  explicit Receiver(Run& run) : run_(run) {}

  void receive(const std::string& text) const override {
    const uint32_t count = run_.heard;
    if (count == kMostHeard) std::abort();
    Heard& heard = run_.sounds[count];
    heard = {kRescanRun, 0, nanosecondsNow()};
    if (text != kRescan) read(text, heard);
    run_.heard = count + 1;
  }

 private:
  Run& run_;
};

void sendOne(iNetMessager& messenger, const Board& board, uint32_t index, Run& run) {
  const uint32_t number = run.sent + 1;
  if (number > kMostTexts) return;
  run.sentAt[number] = nanosecondsNow();
  run.sent = number;
  messenger.send(textOf(index, number, board.padding));
}

// What a machine does from its start on.
[[noreturn]] void live(Board& board, uint32_t index, Clock::duration interval) {
  Run& run = board.run[index];
  const uint32_t bit = 1u << run.machine;
  const std::string home = getenv("MISCDISC_HOME");
  setProjectsBaseDirectory(Qx::WStringFromUTF8(home + "/net/Alpha"));
  {
    const Qx::Ptr<iNetMessageReceiver> receiver(new Receiver(run));
    const Qx::Ptr<iNetMessager> messenger = OSPrivate()->networkService().getMessager(receiver);
    if (!messenger) {
      std::fprintf(stderr, "%s\n", host::messengerFacts().state.c_str());
      _exit(1);
    }
    while (!host::messengerFacts().connected && !board.end) std::this_thread::sleep_for(1ms);
    run.connected = nanosecondsNow();
    while (!board.end) {
      const bool asked = (board.askedOf & bit) != 0;
      if (asked || (board.senders & bit) != 0) {
        for (uint32_t i = 0; i <= board.more; ++i) sendOne(*messenger, board, index, run);
      }
      if (asked) board.askedOf &= ~bit;
      ++run.rounds;
      std::this_thread::sleep_for(interval);
    }
  }
  _exit(0);
}

// What is known of the texts of a row.  Rescans count from the mishap on: a machine that took long
// to connect has one before.
struct Count {
  uint64_t sent = 0, diedWithSender = 0, received = 0;
  uint64_t unnoticed = 0, doubles = 0, outOfOrder = 0;
  uint64_t missed[kMostMachines] = {}, gaps[kMostMachines] = {};  // texts, and runs of them
  uint64_t rescans[kMostMachines] = {};

  uint64_t allMissed() const {
    uint64_t all = 0;
    for (const uint64_t some : missed) all += some;
    return all;
  }
};

// Of one receiver's run and one sender's run.
struct Ear {
  std::vector<bool> has;
  uint32_t last = 0;
};

class Judge {
 public:
  explicit Judge(const Board& board) : board_(board) {
    for (uint32_t run = 0; run < board.runs; ++run) sent_.push_back(board.run[run].sent);
    for (uint32_t run = 0; run < board.runs; ++run) hear(run);
    for (uint32_t sender = 0; sender < board.runs; ++sender) settleDead(sender);
    for (uint32_t receiver = 0; receiver < board.runs; ++receiver) {
      for (uint32_t sender = 0; sender < board.runs; ++sender) compare(receiver, sender);
    }
  }

  const Count& count() const { return count_; }
  uint32_t lastHeard(uint32_t receiver, uint32_t sender) const {
    return ears_[receiver][sender].last;
  }

 private:
  void hear(uint32_t receiver) {
    const Run& run = board_.run[receiver];
    std::vector<Ear>& ears = ears_.emplace_back();
    for (const uint32_t sent : sent_) ears.push_back({std::vector<bool>(sent + 1), 0});
    int64_t& told = told_.emplace_back(0);
    const uint32_t heard = run.heard;
    for (uint32_t i = 0; i < heard; ++i) {
      const Heard& sound = run.sounds[i];
      if (sound.run == kRescanRun) {
        if (sound.when >= board_.begun) ++count_.rescans[run.machine];
        told = sound.when;
      } else if (sound.run < board_.runs && sound.number <= board_.run[sound.run].sent) {
        note(ears[sound.run], sound.number, sound.run == receiver);
      } else {
        throw std::runtime_error("a text came in that nobody sent");
      }
    }
  }

  void note(Ear& ear, uint32_t number, bool isOwn) {
    if (number >= ear.has.size()) return;  // younger than this judgement
    if (ear.has[number] || isOwn) {
      ++count_.doubles;
    } else if (number < ear.last) {
      ++count_.outOfOrder;
    } else {
      ++count_.received;
    }
    ear.has[number] = true;
    ear.last = std::max(ear.last, number);
  }

  void settleDead(uint32_t sender) {
    count_.sent += sent_[sender];
    if (!board_.run[sender].killed) return;
    uint32_t known = 0;
    for (const std::vector<Ear>& ears : ears_) known = std::max(known, ears[sender].last);
    count_.diedWithSender += sent_[sender] - known;
    sent_[sender] = known;
  }

  void compare(uint32_t receiver, uint32_t sender) {
    const Run& run = board_.run[receiver];
    if (receiver == sender || run.connected == 0) return;
    const Ear& ear = ears_[receiver][sender];
    const uint32_t due = run.killed ? ear.last : sent_[sender];
    uint32_t lastMissed = 0;
    for (uint32_t number = 1; number <= due; ++number) {
      const int64_t sent = board_.run[sender].sentAt[number];
      if (ear.has[number] || sent < run.connected) continue;
      ++(told_[receiver] > sent ? count_.missed[run.machine] : count_.unnoticed);
      if (lastMissed == 0 || lastMissed + 1 != number) ++count_.gaps[run.machine];
      lastMissed = number;
    }
  }

  const Board& board_;
  std::vector<uint32_t> sent_;  // by run
  std::vector<std::vector<Ear>> ears_;
  std::vector<int64_t> told_;  // when a run was last told of a loss
  Count count_;
};

struct Pace {
  bool isLong;
  Clock::duration interval() const { return isLong ? 2ms : 1ms; }
};

void await(const char* what, const std::function<bool()>& condition) {
  const auto end = Clock::now() + kPatience;
  while (!condition()) {
    if (Clock::now() > end) throw std::runtime_error(std::string("not within a minute: ") + what);
    std::this_thread::sleep_for(1ms);
  }
}

// The machines of a row.  Those that are left end with the object.
class Machines {
 public:
  Machines(size_t count, const Pace& pace, const test::Networks* networks)
      : pace_(pace), networks_(networks), processes_(count) {
    for (size_t machine = 0; machine < count; ++machine) start(machine);
    awaitConnected();
  }

  ~Machines() {
    for (const Process& process : processes_) {
      if (process.id == 0) continue;
      ::kill(process.id, SIGKILL);
      waitpid(process.id, nullptr, 0);
    }
  }

  Board& board() { return board_; }

  void start(size_t machine) {
    const uint32_t index = board_.runs++;
    board_.run[index].machine = machine;
    Process& process = processes_[machine];
    process = {fork(), index, false};
    if (process.id < 0) throw std::runtime_error("no process for a machine");
    if (process.id > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (networks_) networks_->enter(static_cast<int>(machine));
    live(board_, index, pace_.interval());
  }

  void kill(size_t machine) {
    Process& process = processes_[machine];
    ::kill(process.id, SIGKILL);
    waitpid(process.id, nullptr, 0);
    board_.run[process.run].killed = true;
    process.id = 0;
  }

  void stop(size_t machine) {
    ::kill(processes_[machine].id, SIGSTOP);
    processes_[machine].stopped = true;
  }

  void resume(size_t machine) {
    ::kill(processes_[machine].id, SIGCONT);
    processes_[machine].stopped = false;
  }

  void awaitConnected() {
    await("all are connected", [&] {
      return std::all_of(processes_.begin(), processes_.end(), [&](const Process& process) {
        return process.id == 0 || board_.run[process.run].connected != 0;
      });
    });
  }

  // Until that time has passed, in the long form, and whoever can send has done so 200 times.
  void pass(std::chrono::seconds time) {
    const auto end = Clock::now() + (pace_.isLong ? time : 0s);
    std::vector<uint32_t> goals;
    for (const Process& process : processes_) goals.push_back(board_.run[process.run].sent + 200);
    await("texts are sent", [&] {
      for (size_t machine = 0; machine < processes_.size(); ++machine) {
        const Process& process = processes_[machine];
        const bool sends = (board_.senders >> machine & 1) != 0;
        if (!sends || process.id == 0 || process.stopped) continue;
        if (board_.run[process.run].sent < goals[machine]) return false;
      }
      return true;
    });
    std::this_thread::sleep_until(end);
  }

  // One text of that machine's, which the other hears at once.
  void sendOne(size_t machine, size_t heardBy) {
    const uint32_t goal = board_.run[processes_[heardBy].run].heard + 1;
    board_.askedOf |= 1u << machine;
    await("a text is heard",
          [&] { return board_.askedOf == 0 && board_.run[processes_[heardBy].run].heard >= goal; });
  }

  // All hear again what is sent from now on, and nothing is on its way any more.
  void settle() {
    const std::vector<uint32_t> before = sentByRun();
    pass(0s);
    await("all hear each other again", [&] { return allHeard(before); });
    silence();
    await("no text is on its way", [&] { return allHeard(sentByRun()); });
    // Losses that nobody has noticed by now may still be: by the marks that follow a text.
    const auto patience = Clock::now() + kPatience;
    while (Judge(board_).count().unnoticed > 0 && Clock::now() < patience) {
      std::this_thread::sleep_for(20ms);
    }
  }

  void end() {
    board_.end = true;
    for (Process& process : processes_) {
      int status = 0;
      await("a machine ends", [&] { return waitpid(process.id, &status, WNOHANG) != 0; });
      process.id = 0;
      if (status != 0) throw std::runtime_error("a machine ended badly");
    }
  }

 private:
  struct Process {
    pid_t id = 0;  // 0: killed
    uint32_t run = 0;
    bool stopped = false;
  };

  // Nobody sends any more.
  void silence() {
    board_.senders = 0;
    for (const Process& process : processes_) {
      const Run& run = board_.run[process.run];
      const uint32_t goal = run.rounds + 2;  // the round that is underway, and a whole one
      await("a machine is silent", [&] { return run.rounds >= goal; });
    }
  }

  std::vector<uint32_t> sentByRun() const {
    std::vector<uint32_t> sent;
    for (uint32_t run = 0; run < board_.runs; ++run) sent.push_back(board_.run[run].sent);
    return sent;
  }

  // By every machine, these numbers or later ones, of each run that lives.
  bool allHeard(const std::vector<uint32_t>& goals) {
    const Judge judge(board_);
    for (const Process& receiver : processes_) {
      for (const Process& sender : processes_) {
        const uint32_t goal = goals[sender.run];
        if (receiver.run == sender.run || goal == 0) continue;
        if (judge.lastHeard(receiver.run, sender.run) < goal) return false;
      }
    }
    return true;
  }

  const Pace pace_;
  const test::Networks* const networks_;
  Board& board_ = makeShared<Board>();
  std::vector<Process> processes_;
};

// What carries the texts of a row.
class Carrier {
 public:
  virtual ~Carrier() = default;
  virtual std::string settings() const = 0;
  virtual void kill() = 0;
  virtual void restart() = 0;
};

class Bus final : public Carrier {
 public:
  explicit Bus(bool isTight) : bus_(isTight ? 500'000 : 100'000'000) {}
  std::string settings() const override { return "engine = 'dbus'\n"; }
  void kill() override { bus_.kill(); }
  void restart() override { bus_.restart(); }

 private:
  test::SessionBus bus_;
};

// In a process of its own: a client library that has threads does not survive a fork.
void apart(const std::function<void()>& work) {
  const pid_t process = fork();
  if (process == 0) {
    work();
    _exit(0);
  }
  int status = 1;
  waitpid(process, &status, 0);
  if (status != 0) throw std::runtime_error("what a row needs could not be made");
}

class Nats final : public Carrier {
 public:
  Nats(bool isTight, const char* address) : server_("", address) {
    apart([&] {
      test::Administrator(server_).makeStream(
          kGroup, [&](jsStreamConfig& config) { config.MaxBytes = isTight ? 1'000'000 : -1; });
    });
  }
  std::string settings() const override {
    return "engine = 'nats'\nurl = '" + server_.url() + "'\n";
  }
  void kill() override { server_.kill(); }
  void restart() override { server_.start(); }

 private:
  test::Server server_;
};

struct Scene {
  Machines& machines;
  Carrier& carrier;
  const test::Networks* networks;
};

void stopReceiver(const Scene& scene) {
  scene.machines.stop(2);
  scene.machines.pass(10s);
  scene.machines.resume(2);
}

void restart(Machines& machines, size_t machine) {
  machines.pass(2s);
  machines.start(machine);
  machines.awaitConnected();
}

void killReceiver(const Scene& scene) {
  scene.machines.kill(2);
  restart(scene.machines, 2);
}

// In the midst of more texts than it can send at once.
void killSender(const Scene& scene) {
  scene.machines.board().more = 99;
  scene.machines.pass(0s);
  scene.machines.kill(0);
  scene.machines.board().more = 0;
  restart(scene.machines, 0);
}

void killCarrier(const Scene& scene) {
  scene.carrier.kill();
  scene.machines.pass(10s);
  scene.carrier.restart();
}

// Of one who sends and of one who only hears.
void cutNetwork(const Scene& scene) {
  for (const int machine : {0, 2}) scene.networks->pull(machine);
  scene.machines.pass(60s);
  for (const int machine : {0, 2}) scene.networks->putBack(machine);
}

// More than the carrier keeps for two machines that do not read.
void overflow(const Scene& scene, int texts) {
  Machines& machines = scene.machines;
  Board& board = machines.board();
  machines.stop(2);
  machines.stop(3);
  board.padding = kPadding;
  for (int i = 0; i < texts; ++i) machines.sendOne(0, 1);
  board.padding = 0;
  machines.resume(2);
  machines.resume(3);
  await("those that missed something are told", [&] {
    const Count count = Judge(board).count();
    return count.rescans[2] > 0 && count.rescans[3] > 0;
  });
  board.senders = 1;
}

void overflowBus(const Scene& scene) { overflow(scene, 60); }
void overflowStream(const Scene& scene) { overflow(scene, 400); }

// Who is told of a loss.
enum class Told {
  kNobody,
  kWhoMissed,  // once for each gap at most, and no other
  kEverybody,  // at least once
  kAnybody,
};

struct Row {
  const char* group;  // of rows that are asked for together
  const char* mishap;
  bool overNats;
  bool mayMiss;
  Told told;
  void (*happen)(const Scene& scene);
  uint32_t senders = 0b011;
  size_t machines = 3;

  bool isTight() const { return senders == 0; }
};

const Row kRows[] = {
    {"dbus", "receiver stopped", false, false, Told::kNobody, stopReceiver},
    {"dbus", "receiver killed", false, false, Told::kAnybody, killReceiver},
    {"dbus", "sender killed", false, false, Told::kAnybody, killSender},
    {"dbus", "bus killed", false, true, Told::kEverybody, killCarrier},
    {"dbus", "bus drops texts", false, true, Told::kWhoMissed, overflowBus, 0, 4},
    {"nats", "receiver stopped", true, false, Told::kNobody, stopReceiver},
    {"nats", "receiver killed", true, false, Told::kAnybody, killReceiver},
    {"nats", "sender killed", true, false, Told::kAnybody, killSender},
    {"nats", "server killed", true, false, Told::kNobody, killCarrier},
    {"nats", "stream drops texts", true, true, Told::kWhoMissed, overflowStream, 0, 4},
    {"cut", "network cut", true, false, Told::kNobody, cutNetwork},
};

bool isGood(const Row& row, const Count& count) {
  if (count.unnoticed + count.doubles + count.outOfOrder > 0) return false;
  if (!row.mayMiss && count.allMissed() > 0) return false;
  for (size_t machine = 0; machine < row.machines; ++machine) {
    const uint64_t rescans = count.rescans[machine], missed = count.missed[machine];
    if (row.told == Told::kNobody && rescans != 0) return false;
    if (row.told == Told::kEverybody && rescans == 0) return false;
    if (row.told == Told::kWhoMissed && (rescans == 0) != (missed == 0)) return false;
    if (row.told == Told::kWhoMissed && rescans > count.gaps[machine]) return false;
  }
  // Where nothing was dropped the row has shown nothing.
  return row.told != Told::kWhoMissed || count.allMissed() > 0;
}

void printHeading() {
  std::printf("%-4s %-18s %7s %6s %9s %7s  %-13s  %-13s %9s %7s %12s\n", "over", "what happens",
              "sent", "died", "received", "missed", "in gaps", "rescans", "unnoticed", "doubles",
              "out of order");
  std::fflush(stdout);
}

void print(const Row& row, const Count& count, bool good) {
  std::string rescans, gaps;
  for (size_t machine = 0; machine < row.machines; ++machine) {
    const char* const plus = machine > 0 ? " + " : "";
    gaps += plus + std::to_string(count.gaps[machine]);
    rescans += plus + std::to_string(count.rescans[machine]);
  }
  std::printf("%-4s %-18s %7" PRIu64 " %6" PRIu64 " %9" PRIu64 " %7" PRIu64
              "  %-13s  %-13s %9" PRIu64 " %7" PRIu64 " %12" PRIu64 "%s\n",
              row.overNats ? "nats" : "dbus", row.mishap, count.sent, count.diedWithSender,
              count.received, count.allMissed(), gaps.c_str(), rescans.c_str(), count.unnoticed,
              count.doubles, count.outOfOrder, good ? "" : "  WRONG");
  std::fflush(stdout);
}

// The exit status.
int play(const Row& row, const Pace& pace) {
  const bool isCut = row.happen == cutNetwork;
  const auto networks = isCut ? test::Networks::make(static_cast<int>(row.machines)) : nullptr;
  if (isCut && !networks) return kNotPossible;
  std::unique_ptr<Carrier> carrier;
  if (row.overNats) {
    carrier = std::make_unique<Nats>(row.isTight(), isCut ? test::Networks::kCentre : "127.0.0.1");
  } else {
    carrier = std::make_unique<Bus>(row.isTight());
  }
  const test::Folder home;
  std::filesystem::create_directories(home.path() + "/net/Alpha");
  home.write("config.toml", "[volumes]\ndiscover = false\n[shares]\n'//nas/projects' = '" +
                                home.path() + "/net'\n[messenger]\n" + carrier->settings());
  setenv("MISCDISC_HOME", home.path().c_str(), 1);

  Machines machines(row.machines, pace, networks.get());
  machines.board().senders = row.senders;
  machines.pass(1s);
  machines.settle();
  // Whatever is missing from here on the mishap has to answer for, and nothing from before it.
  const Count calm = Judge(machines.board()).count();
  if (calm.unnoticed + calm.allMissed() + calm.doubles + calm.outOfOrder > 0) {
    throw std::runtime_error("texts went wrong before anything happened");
  }
  machines.board().senders = row.senders;
  machines.pass(0s);
  machines.board().begun = nanosecondsNow();
  row.happen({machines, *carrier, networks.get()});
  machines.settle();
  machines.end();
  const Count count = Judge(machines.board()).count();
  const bool good = isGood(row, count);
  print(row, count, good);
  return good ? 0 : 1;
}

// In a process of its own, so that a network that it has left and settings are no other row's.
int playApart(const Row& row, const Pace& pace) {
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int ending = 2;
    try {
      ending = play(row, pace);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s: %s: %s\n", row.group, row.mishap, error.what());
    }
    _exit(ending);
  }
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

}  // namespace

int main(int count, char** arguments) {
  Pace pace{false};
  std::vector<std::string> groups;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--long") {
      pace.isLong = true;
    } else if (argument == "dbus" || argument == "nats" || argument == "cut") {
      groups.push_back(argument);
    } else {
      std::fprintf(stderr, "usage: message_losses [--long] [dbus] [nats] [cut]\n");
      return 2;
    }
  }
  printHeading();
  int worst = 0;
  bool skipped = false;
  for (const Row& row : kRows) {
    const bool wanted =
        groups.empty() || std::find(groups.begin(), groups.end(), row.group) != groups.end();
    if (!wanted) continue;
    const int ending = playApart(row, pace);
    if (ending == kNotPossible) {
      std::printf("Skipped\nneeds the right to make networks\n");  // as CTest's reports know it
      skipped = true;
    } else {
      worst = std::max(worst, ending);
    }
  }
  return worst == 0 && skipped ? kNotPossible : worst;
}
