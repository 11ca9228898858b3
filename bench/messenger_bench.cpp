// What a text between programs costs: from send to receive, and a burst of 20,000, against the bare
// session bus in the same run, in turn.  Among 2 and among 20 processes: one sends, and all listen,
// as the bus gives a text back to its sender, too.
//
// Ends with 1 when a text was lost.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/timing.h"
#include "host/messenger/messenger.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace {

constexpr int kMostReceivers = 19;
constexpr int kRounds = 10;
constexpr int kTexts = 200;  // in a round, one after the other
constexpr int kBurst = 20000;
constexpr int kBursts = 5;
constexpr size_t kTextSize = 60;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "messenger_bench: %s\n", what);
  std::_Exit(2);
}

int64_t nanoseconds() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

// The time, and padding.
std::string makeText() {
  std::string text = std::to_string(nanoseconds());
  text.resize(kTextSize, ' ');
  return text;
}

// One of the two: its bus and, behind that, its processes.
struct Kind {
  std::string bus;
  int commands[2], reports[2];  // to the sender; of all
  std::vector<pid_t> processes;
};

// Shared by all processes.
struct Board {
  std::atomic<int> expected;  // texts of the measure that is underway
  double latencies[kMostReceivers][kTexts];
};

Board* board;

void report(const Kind& kind) {
  if (write(kind.reports[1], "x", 1) != 1) fail("nobody listens any more");
}

class Receiver {
 public:
  Receiver(const Kind& kind, int index) : kind_(kind), index_(index) {}

  void hear(const char* text, size_t size) {
    int64_t sent = 0;
    std::from_chars(text, text + size, sent);
    if (count_ < kTexts) {
      board->latencies[index_][count_] = static_cast<double>(nanoseconds() - sent) / 1000;
    }
    const int expected = board->expected;
    ++count_;
    if (expected == kTexts || count_ == expected) report(kind_);
    if (count_ == expected) count_ = 0;
  }

 private:
  const Kind& kind_;
  const int index_;
  int count_ = 0;
};

int textsOf(char command) { return command == 'b' ? kBurst : 1; }

namespace ours {

struct NetReceiver final : iNetMessageReceiver {
  explicit NetReceiver(const Kind& kind, int index) : receiver(kind, index) {}
  void receive(const std::string& text) const override { receiver.hear(text.data(), text.size()); }
  mutable Receiver receiver;
};

[[noreturn]] void run(const Kind& kind, int index) {
  setenv("DBUS_SESSION_BUS_ADDRESS", kind.bus.c_str(), 1);
  setProjectsBaseDirectory(L"/bench/lobby");
  auto messenger = OSPrivate()->networkService().getMessager(new NetReceiver(kind, index));
  if (!messenger) fail(host::messengerFacts().state.c_str());
  while (!host::messengerFacts().connected)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  report(kind);
  while (index >= 0) pause();
  char command = 0;
  while (read(kind.commands[0], &command, 1) == 1) {
    for (int i = 0; i < textsOf(command); ++i) messenger->send(makeText());
  }
  std::_Exit(0);
}

}  // namespace ours

namespace bare {

int onText(sd_bus_message* message, void* receiver, sd_bus_error*) {
  if (!receiver) return 1;
  const void* bytes = nullptr;
  size_t size = 0;
  if (sd_bus_message_read_array(message, 'y', &bytes, &size) < 0) fail("a text cannot be read");
  static_cast<Receiver*>(receiver)->hear(static_cast<const char*>(bytes), size);
  return 1;
}

void send(sd_bus* bus) {
  const std::string text = makeText();
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_signal(bus, &message, "/bench", "org.bench.Bare", "Text") < 0 ||
      sd_bus_message_append_array(message, 'y', text.data(), text.size()) < 0 ||
      sd_bus_send(bus, message, nullptr) < 0) {
    fail("a text cannot be sent");
  }
  sd_bus_message_unref(message);
}

[[noreturn]] void run(const Kind& kind, int index) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0 || sd_bus_set_address(bus, kind.bus.c_str()) < 0 ||
      sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0) {
    fail("no bus");
  }
  Receiver receiver(kind, index);
  const char rule[] = "type='signal',interface='org.bench.Bare',member='Text',path='/bench'";
  if (sd_bus_add_match(bus, nullptr, rule, &onText, index < 0 ? nullptr : &receiver) < 0) {
    fail("no match");
  }
  report(kind);
  while (true) {
    while (const int done = sd_bus_process(bus, nullptr)) {
      if (done < 0) fail("the bus has gone");
    }
    pollfd ready[] = {{index < 0 ? kind.commands[0] : -1, POLLIN, 0},
                      {sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0}};
    poll(ready, 2, -1);
    if (ready[0].revents == 0) continue;
    char command = 0;
    if (read(kind.commands[0], &command, 1) != 1) std::_Exit(0);
    for (int i = 0; i < textsOf(command); ++i) send(bus);
  }
}

}  // namespace bare

pid_t startProcess(const std::function<void()>& work) {
  const pid_t process = fork();
  if (process < 0) fail("no process");
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    std::_Exit(2);
  }
  return process;
}

pid_t startBus(const std::string& folder, const std::string& address) {
  std::ofstream(folder + "/bus.conf")
      << "<busconfig><type>session</type><listen>" << address << "</listen><auth>EXTERNAL</auth>"
      << "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/>"
      << "<allow own='*'/></policy></busconfig>";
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0) fail("no pipe");
  const pid_t process = startProcess([&] {
    dup2(output[1], STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + folder + "/bus.conf").c_str(),
           "--nofork", "--print-address=1", nullptr);
  });
  close(output[1]);
  char byte = 0;
  if (read(output[0], &byte, 1) != 1) fail("dbus-daemon does not start; is it installed?");
  close(output[0]);
  return process;
}

// False when they are not there after a minute.
bool awaitReports(const Kind& kind, int count) {
  char bytes[64];
  while (count > 0) {
    pollfd ready{kind.reports[0], POLLIN, 0};
    if (poll(&ready, 1, 60'000) != 1) return false;
    const ssize_t got = read(kind.reports[0], bytes, std::min<size_t>(sizeof bytes, count));
    if (got <= 0) return false;
    count -= static_cast<int>(got);
  }
  return true;
}

void command(const Kind& kind, char what) {
  if (write(kind.commands[1], &what, 1) != 1) fail("the sender has gone");
}

bool oneByOne(const Kind& kind, int receivers, std::vector<double>& times) {
  board->expected = kTexts;
  for (int i = 0; i < kTexts; ++i) {
    command(kind, 'o');
    if (!awaitReports(kind, receivers)) return false;
  }
  for (int r = 0; r < receivers; ++r) {
    times.insert(times.end(), board->latencies[r], board->latencies[r] + kTexts);
  }
  return true;
}

bool burst(const Kind& kind, int receivers, std::vector<double>& times) {
  board->expected = kBurst;
  const int64_t begin = nanoseconds();
  command(kind, 'b');
  if (!awaitReports(kind, receivers)) return false;
  times.push_back(static_cast<double>(nanoseconds() - begin) / 1000);
  return true;
}

void startAll(Kind& kind, const std::string& folder, int receivers,
              const std::function<void(const Kind&, int)>& run) {
  std::filesystem::create_directories(folder);
  kind.bus = "unix:path=" + folder + "/bus";
  if (pipe2(kind.commands, O_CLOEXEC) != 0 || pipe2(kind.reports, O_CLOEXEC) != 0) fail("no pipe");
  kind.processes.push_back(startBus(folder, kind.bus));
  // One after the other: the bus serves them in the order in which they came.
  for (int i = -1; i < receivers; ++i) {
    kind.processes.push_back(startProcess([&] { run(kind, i); }));
    if (!awaitReports(kind, 1)) fail("not all have come");
  }
}

void stopAll(const Kind& kind) {
  for (auto process = kind.processes.rbegin(); process != kind.processes.rend(); ++process) {
    kill(*process, SIGKILL);
    waitpid(*process, nullptr, 0);
  }
}

// False when texts were lost, or a bound is exceeded.
bool measure(const std::string& root, int processes) {
  const int receivers = processes - 1;
  Kind our, bareOne;
  startAll(our, root + "/ours", receivers, ours::run);
  startAll(bareOne, root + "/bare", receivers, bare::run);

  std::vector<double> ourTimes, bareTimes, ourBursts, bareBursts;
  bool complete = true;
  for (int i = 0; i < kRounds && complete; ++i) {
    complete = oneByOne(our, receivers, ourTimes) && oneByOne(bareOne, receivers, bareTimes);
  }
  for (int i = 0; i < kBursts && complete; ++i) {
    complete = burst(our, receivers, ourBursts) && burst(bareOne, receivers, bareBursts);
  }
  stopAll(our);
  stopAll(bareOne);
  if (!complete) {
    std::puts("texts were lost");
    return false;
  }
  const std::string among = ", " + std::to_string(processes) + " processes";
  const bool quick = printRatio(("send to receive" + among).c_str(), ourTimes, bareTimes, 1.2);
  return printRatio(("20000 texts" + among).c_str(), ourBursts, bareBursts, 1.3) && quick;
}

}  // namespace

int main() {
  std::string root = std::filesystem::temp_directory_path() / "messenger_bench-XXXXXX";
  if (!mkdtemp(root.data())) return 2;
  setenv("MISCDISC_HOME", root.c_str(), 1);
  void* const shared =
      mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 2;
  board = new (shared) Board;

  printRatioHeading();
  bool holds = measure(root, 2);
  holds = measure(root, 20) && holds;
  std::filesystem::remove_all(root);
  return holds ? 0 : 1;
}
