#include "tests/machines/session_bus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr int kPatience = 60'000;  // milliseconds

}  // namespace

SessionBus::SessionBus(long mostOutgoingBytes) {
  folder_ = fs::temp_directory_path() / "miscdisc-bus-XXXXXX";
  if (!mkdtemp(folder_.data())) throw std::runtime_error("no folder for the bus at " + folder_);
  address_ = "unix:path=" + folder_ + "/bus";
  std::ofstream(folder_ + "/bus.conf")
      << "<busconfig><type>session</type><listen>" << address_ << "</listen>"
      << "<auth>EXTERNAL</auth><policy context='default'><allow send_destination='*'/>"
      << "<allow receive_sender='*'/><allow own='*'/></policy>"
      << "<limit name='max_outgoing_bytes'>" << mostOutgoingBytes << "</limit></busconfig>";
  start();
  setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

SessionBus::~SessionBus() {
  kill();
  setenv("DBUS_SESSION_BUS_ADDRESS", "", 1);
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

// Ready as soon as it has said where it listens.
void SessionBus::start() {
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the bus");
  const std::string configuration = "--config-file=" + folder_ + "/bus.conf";
  const pid_t test = getpid();
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("no process for the bus");
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != test) _exit(1);
    dup2(output[1], STDOUT_FILENO);
    dup2(open((folder_ + "/bus.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666), STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--print-address=1",
           nullptr);
    _exit(127);
  }
  close(output[1]);
  pollfd ready{output[0], POLLIN, 0};
  char byte = 0;
  const bool said = poll(&ready, 1, kPatience) == 1 && read(output[0], &byte, 1) == 1;
  close(output[0]);
  if (!said) throw std::runtime_error("dbus-daemon does not start; is it installed?");
}

void SessionBus::kill() {
  if (process_ == 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
}

void SessionBus::restart() { start(); }

void SessionBus::stop() { ::kill(process_, SIGSTOP); }

void SessionBus::resume() { ::kill(process_, SIGCONT); }

}  // namespace test
