#include "console/program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

namespace console {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kGrace{10};     // for a program that was told to end
constexpr std::chrono::seconds kLastGrace{2};  // for one that was killed
constexpr int kNotExecutable = 126, kNoProgram = 127, kBySignal = 128;

// What whoever started us wants for a program that we start.
struct sigaction pipeBefore, sizeBefore;

void interrupted(int) {
  if (isatty(STDERR_FILENO)) {
    static const char kClearLine[] = "\r\033[K";
    [[maybe_unused]] const ssize_t w = write(STDERR_FILENO, kClearLine, sizeof kClearLine - 1);
  }
  _exit(kInterrupted);
}

void ignore(int signal, struct sigaction& before) {
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  sigaction(signal, &ignored, &before);
}

bool isIgnored(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

// Exec would close them too, but it may wait for a share that is dead: a lock must not last as long
// as that.
void closeWhatExecCloses() {
  const long most = sysconf(_SC_OPEN_MAX);
  for (int number = STDERR_FILENO + 1; number < most && number < 65536; ++number) {
    const int flags = fcntl(number, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC)) close(number);
  }
}

// In the child, where nothing may be called that takes a lock.
[[noreturn]] void become(char* const* command, const std::string& failure, int standardOutput,
                         pid_t parent, const EndSignals& signals) {
  // An interactive shell ignores TERM, and whatever nohup starts HUP.
  const int signal = isIgnored(SIGHUP) ? SIGKILL : SIGHUP;
  prctl(PR_SET_PDEATHSIG, signal);
  if (getppid() != parent) _exit(kBySignal + signal);
  dup2(standardOutput, STDOUT_FILENO);
  closeWhatExecCloses();
  signals.restore();
  execvp(command[0], command);

  const int code = errno == ENOENT ? kNoProgram : kNotExecutable;
  const char* const why = strerrordesc_np(errno);
  for (const char* text : {failure.c_str(), why, "\n"}) {
    [[maybe_unused]] const ssize_t w = write(STDERR_FILENO, text, std::strlen(text));
  }
  _exit(code);
}

int millisecondsTo(const std::optional<Clock::time_point>& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
  return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

}  // namespace

void prepareSignals() {
  ignore(SIGPIPE, pipeBefore);
  ignore(SIGXFSZ, sizeBefore);    // a file that may not grow is a write that fails, and is reported
  signal(SIGCHLD, SIG_DFL);       // else the codes of programs that we start would be lost
  if (isIgnored(SIGINT)) return;  // whoever started us wants it so
  struct sigaction interrupt {};
  interrupt.sa_handler = interrupted;
  sigaction(SIGINT, &interrupt, nullptr);
}

EndSignals::EndSignals() {
  sigset_t taken;
  sigemptyset(&taken);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    if (!isIgnored(signal)) sigaddset(&taken, signal);
  }
  pthread_sigmask(SIG_BLOCK, &taken, &before_);
  descriptor_ = signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "signals cannot be read");
  }
}

EndSignals::~EndSignals() {
  while (next()) {
  }
  close(descriptor_);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

std::optional<EndSignals::Signal> EndSignals::next() {
  signalfd_siginfo info{};
  if (read(descriptor_, &info, sizeof info) != sizeof info) return {};
  return Signal{static_cast<int>(info.ssi_signo), info.ssi_code == SI_KERNEL};
}

EndSignals::Signal EndSignals::wait() {
  while (true) {
    pollfd asked{descriptor_, POLLIN, 0};
    poll(&asked, 1, -1);
    if (const auto signal = next()) return *signal;
  }
}

void EndSignals::restore() const {
  sigaction(SIGPIPE, &pipeBefore, nullptr);
  sigaction(SIGXFSZ, &sizeBefore, nullptr);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

// Not fork: its preparations wait for a thread that looks at a dead share and holds the table of
// locks meanwhile.
pid_t start(const std::vector<std::string>& command, int data, const EndSignals& signals) {
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  const std::string failure = "miscdisc: " + printable(command.front()) + ": ";
  const pid_t parent = getpid();
  const pid_t child = _Fork();
  if (child == 0) become(words.data(), failure, data, parent, signals);
  if (child < 0) throw std::system_error(errno, std::generic_category(), "no program starts");
  return child;
}

int codeOf(pid_t program) {
  int status = 0;
  while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kBySignal + WTERMSIG(status);
}

void end(pid_t program) {
  const auto ending = static_cast<int>(syscall(SYS_pidfd_open, program, 0));
  pollfd asked{ending, POLLIN, 0};
  for (const auto& [signal, grace] : {std::pair(SIGTERM, kGrace), std::pair(SIGKILL, kLastGrace)}) {
    kill(program, signal);
    if (poll(&asked, 1, static_cast<int>(std::chrono::milliseconds(grace).count())) <= 0) continue;
    codeOf(program);
    break;
  }
  close(ending);
}

Ended run(const std::vector<std::string>& command, const Output& output, EndSignals& signals) {
  const pid_t child = start(command, output.descriptor(), signals);
  const auto ending = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  if (ending < 0) {
    kill(child, SIGKILL);
    codeOf(child);
    throw std::system_error(ENOSYS, std::generic_category(), "no program can be waited for");
  }
  Ended ended{};
  std::optional<Clock::time_point> deadline;
  bool killed = false;
  while (true) {
    pollfd asked[] = {{ending, POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    const int events = poll(asked, std::size(asked), millisecondsTo(deadline));
    if (asked[0].revents != 0) break;
    if (events == 0 && killed) {  // it waits for a share that is dead: it ends when that answers
      close(ending);
      ended.code = kBySignal + SIGKILL;
      return ended;
    }
    if (events == 0) {
      kill(child, SIGKILL);
      killed = true;
      deadline = Clock::now() + kLastGrace;
    }
    while (const auto signal = signals.next()) {
      if (signal->number == SIGINT && signal->fromTerminal) continue;
      kill(child, signal->number);
      ended.signal = signal->number;
      if (!deadline) deadline = Clock::now() + kGrace;
    }
  }
  close(ending);
  ended.code = codeOf(child);
  return ended;
}

}  // namespace console
