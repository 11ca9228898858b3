// What takes its time, on the terminal of standard error.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "console/context.h"

namespace console {

// Draws the last text and the time since it was made, once half a second is over.  Nothing in a
// pipe, with --plain, or with -q.
class Progress {
 public:
  explicit Progress(const Options& options);
  ~Progress() { finish(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void say(const std::string& text);
  void finish();  // the line is clear again

 private:
  void draw();

  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::condition_variable done_;
  bool finished_ = false;
  std::string text_;
  std::thread thread_;  // built last: it uses the others
};

}  // namespace console
