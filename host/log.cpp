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

bool isControl(unsigned char c) { return c < 0x20 || c == 0x7F; }

// The control characters of U+0080 to U+009F, which some terminals obey like the others.
bool isUpperControl(const std::string& text, size_t at) {
  const auto c = static_cast<unsigned char>(text[at]);
  return c == 0xC2 && at + 1 < text.size() && (text[at + 1] & 0xE0) == 0x80;
}

// What others put into a text makes no line of its own, and does nothing to a terminal on which the
// log is shown.  A line end at the end of the text stays.
std::string asOneLine(const std::string& text) {
  const size_t end = text.ends_with('\n') ? text.size() - 1 : text.size();
  std::string line;
  const auto escape = [&](char c) {
    char escaped[5];
    std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(c));
    line += escaped;
  };
  for (size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      line += "\\n";
    } else if (text[i] == '\t') {
      line += "\\t";
    } else if (isUpperControl(text, i)) {
      escape(text[i]);
      escape(text[++i]);
    } else if (isControl(static_cast<unsigned char>(text[i]))) {
      escape(text[i]);
    } else {
      line += text[i];
    }
  }
  return line + text.substr(end);
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
  std::string line = linePrefix() + asOneLine(text);
  if (line.back() != '\n') line += '\n';
  [[maybe_unused]] const ssize_t written = write(log, line.data(), line.size());
  close(log);
}

void writeToConsole(const std::string& text) {
  if (!verbose) return;
  const std::string line = asOneLine(text);
  std::fwrite(line.data(), 1, line.size(), stderr);
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
