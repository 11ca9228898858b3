// Processes that are killed, stopped and started anew while they work.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "tests/stress/exclusion.h"

// One object that all processes of a stress share.
template <typename Shared>
Shared& makeShared() {
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  return *new (memory) Shared{};
}

class Herd {
 public:
  // What a run does in its process, until it is told to end.
  using Work = std::function<void(uint64_t identity)>;

  Herd(size_t size, uint64_t seed, Work work)
      : random_(seed), work_(std::move(work)), members_(size) {
    for (size_t slot = 0; slot < members_.size(); ++slot) start(slot);
  }

  // The herd is left alone for some milliseconds.
  void rest() { std::this_thread::sleep_for(std::chrono::microseconds(500 + random_() % 3000)); }

  // Kills a member, stopped or not, and starts another run in its place.
  template <size_t kLocks>
  void replaceOne(Exclusion<kLocks>& exclusion) {
    const size_t slot = random_() % members_.size();
    Member& member = members_[slot];
    exclusion.doom(member.identity);
    kill(member.process, SIGKILL);
    waitpid(member.process, nullptr, 0);
    if (exclusion.bury(member.identity) > 0) ++holdersKilled;
    ++kills;
    start(slot);
  }

  // Lets a member go on that is stopped, or stops one, now and then.
  void stopOrResumeOne() {
    Member& member = members_[random_() % members_.size()];
    if (member.stopped) {
      kill(member.process, SIGCONT);
      member.stopped = false;
    } else if (random_() % 8 == 0) {
      kill(member.process, SIGSTOP);
      member.stopped = true;
      ++stops;
    }
  }

  // Waits for all, who have been told to end.
  void end() {
    for (const Member& member : members_) kill(member.process, SIGCONT);
    for (const Member& member : members_) waitpid(member.process, nullptr, 0);
  }

  uint64_t kills = 0, holdersKilled = 0, stops = 0;

 private:
  struct Member {
    pid_t process = 0;
    uint64_t identity = 0;
    bool stopped = false;
  };

  void start(size_t slot) {
    Member& member = members_[slot];
    member.identity = identityOf(++runs_, slot);
    member.stopped = false;
    member.process = fork();
    if (member.process < 0) std::abort();
    if (member.process > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work_(member.identity);
    _exit(0);
  }

  std::mt19937_64 random_;
  Work work_;
  std::vector<Member> members_;
  uint64_t runs_ = 0;
};
