#include "host/files/list_guard.h"

#include <cerrno>
#include <chrono>
#include <random>
#include <thread>

namespace host {
namespace {

constexpr std::chrono::seconds kPatience{5};

// Of two writers that met, one must come again later than the other.
void pause() {
  thread_local std::minstd_rand random{std::random_device()()};
  std::this_thread::sleep_for(
      std::chrono::microseconds(std::uniform_int_distribution<>(1000, 5000)(random)));
}

}  // namespace

FileLock takeListGuard(const Folder& folder, const std::string& name) {
  const std::string path = folder.path + "/." + name + ".lk";
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (true) {
    int error = 0;
    FileLock guard = FileLock::take(path, LockKind::kExclusive, error);
    if (guard.held() || error != EAGAIN || std::chrono::steady_clock::now() >= end) return guard;
    pause();
  }
}

}  // namespace host
