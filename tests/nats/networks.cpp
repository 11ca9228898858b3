#include "tests/nats/networks.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/nats/server.h"

namespace test {
namespace {

// With the rights of a user name space where the process is not root.
bool leaveTheNetwork() {
  if (unshare(CLONE_NEWNET) == 0) return true;
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/gid_map") << group;
  return static_cast<bool>(std::ofstream("/proc/self/uid_map") << user << std::flush);
}

int openNetwork() { return open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC); }

void go(int network) {
  if (setns(network, CLONE_NEWNET) != 0) throw std::runtime_error("a network is out of reach");
}

bool ip(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "ip");
  return runProgram(arguments) == 0;
}

std::string endOf(int machine) { return "to" + std::to_string(machine); }

}  // namespace

std::unique_ptr<Networks> Networks::make(int machines) {
  if (!leaveTheNetwork()) return nullptr;
  std::unique_ptr<Networks> networks(new Networks);
  networks->centre_ = openNetwork();
  bool made = ip({"link", "set", "lo", "up"}) &&
              ip({"addr", "add", std::string(kCentre) + "/32", "dev", "lo"});
  for (int machine = 0; machine < machines && made; ++machine) made = networks->add(machine);
  return made ? std::move(networks) : nullptr;
}

Networks::~Networks() {
  close(centre_);
  for (const int network : machines_) close(network);
}

bool Networks::add(int machine) {
  const std::string net = "10.77." + std::to_string(machine + 1) + ".";
  const std::string centre = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(centre_);
  if (unshare(CLONE_NEWNET) != 0) return false;
  machines_.push_back(openNetwork());
  const bool here = ip({"link", "set", "lo", "up"}) &&
                    ip({"link", "add", "cable", "type", "veth", "peer", "name", endOf(machine),
                        "netns", centre}) &&
                    ip({"addr", "add", net + "2/24", "dev", "cable"}) &&
                    ip({"link", "set", "cable", "up"}) &&
                    ip({"route", "add", "default", "via", net + "1"});
  go(centre_);
  return here && ip({"addr", "add", net + "1/24", "dev", endOf(machine)}) &&
         ip({"link", "set", endOf(machine), "up"});
}

void Networks::enter(int machine) const { go(machines_.at(static_cast<size_t>(machine))); }

void Networks::pull(int machine) const { setCable(machine, "down"); }

void Networks::putBack(int machine) const { setCable(machine, "up"); }

// At the centre's end: the other one would forget its route.
void Networks::setCable(int machine, const char* state) const {
  const int here = openNetwork();
  go(centre_);
  const bool set = ip({"link", "set", endOf(machine), state});
  go(here);
  close(here);
  if (!set) throw std::runtime_error("the cable " + endOf(machine) + " cannot be set " + state);
}

}  // namespace test
