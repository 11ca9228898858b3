#include "miscdisc/platform/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>

#include "host/log.h"
#include "host/places.h"

namespace {

std::atomic<bool> verbose = false;

std::string formatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  // A wide text that the locale cannot show has no length; the format still says what happened.
  std::string text = format;
  if (length >= 0) {
    text.resize(static_cast<size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

std::string linePrefix() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ ", &utc);
  return text + std::to_string(getpid()) + " ";
}

int openLog() {
  const std::string path = host::places().state + "/miscdisc.log";
  constexpr int kAppend = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const int log = open(path.c_str(), kAppend, 0666);
  if (log >= 0 || errno != ENOENT) return log;
  std::error_code ignored;
  std::filesystem::create_directories(host::places().state, ignored);
  return open(path.c_str(), kAppend, 0666);
}

// Opened for each text: a log that was moved away or deleted goes on under its own name.
void writeToLog(const std::string& text) {
  const int log = openLog();
  if (log < 0) return;
  std::string line = linePrefix() + text;
  if (line.back() != '\n') line += '\n';
  [[maybe_unused]] const ssize_t written = write(log, line.data(), line.size());
  close(log);
}

void writeToConsole(const std::string& text) {
  if (verbose) std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

namespace host {

void setVerbose(bool on) { verbose = on; }

}  // namespace host

void Log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  writeToLog(formatted(format, arguments));
  va_end(arguments);
}

void LogBoth(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  writeToLog(text);
  writeToConsole(text);
}

void tolv_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  writeToConsole(formatted(format, arguments));
  va_end(arguments);
}
