#include "console/progress.h"

#include <fmt/core.h>
#include <unistd.h>

namespace console {
namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kBeat = std::chrono::milliseconds(100);

void writeWords(const std::string& text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(const Options& options) {
  if (isatty(STDERR_FILENO) != 1 || options.plain || options.quiet) return;
  thread_ = std::thread([this] { draw(); });
}

void Progress::say(const std::string& text) {
  const std::lock_guard lock(mutex_);
  text_ = text;
}

void Progress::finish() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    finished_ = true;
  }
  done_.notify_one();
  thread_.join();
}

void Progress::draw() {
  std::unique_lock lock(mutex_);
  if (done_.wait_for(lock, kPatience, [this] { return finished_; })) return;
  do {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    writeWords(fmt::format("\r\033[K{} \u2026 {:.1f} s", text_, elapsed.count()));
  } while (!done_.wait_for(lock, kBeat, [this] { return finished_; }));
  writeWords("\r\033[K");
}

}  // namespace console
