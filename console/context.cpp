#include "console/context.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace console {
namespace {

// A file opened later must not become a standard stream.
void openStandardStreams() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
  }
}

// Whatever C++'s and C's own streams print to descriptor 1 goes to standard error from here on.
int takeStandardOutput() {
  openStandardStreams();
  const int data = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return data;
}

bool isInvalidByte(wchar_t c) { return c >= 0xDC80 && c <= 0xDCFF; }

bool isControl(wchar_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

void appendEscaped(std::string& text, wchar_t c) {
  switch (c) {
    case L'\n':
      text += "\\n";
      return;
    case L'\t':
      text += "\\t";
      return;
    case L'\\':
      text += "\\\\";
      return;
    default:
      for (char byte : Qx::UTF8FromWString(WString(1, c))) {
        text += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
      }
  }
}

}  // namespace

std::chrono::milliseconds Options::deadline() const {
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(timeout));
}

Output::Output() : descriptor_(takeStandardOutput()), terminal_(isatty(descriptor_) == 1) {}

bool Output::colored(const Options& options) const {
  if (options.color != "auto") return options.color == "always";
  const char* refusal = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  const bool refused = (refusal && *refusal) || !kind || std::strcmp(kind, "dumb") == 0;
  return forPeople(options) && !refused;
}

void Output::printDocument(const Json& document) { data_ += document.dump(2) + "\n"; }

void Output::printTable(const Options& options, const std::vector<std::string>& heading,
                        const std::vector<std::vector<std::string>>& rows) {
  if (!forPeople(options)) {
    for (const auto& row : rows) {
      for (size_t i = 0; i < row.size(); ++i) data_ += (i ? "\t" : "") + row[i];
      data_ += "\n";
    }
    return;
  }
  if (rows.empty()) return;
  const std::vector<size_t> widths = cellWidths(heading, rows);
  const bool color = colored(options);
  data_ += (color ? "\033[1m" : "") + alignedRow(heading, widths) + "\n" + (color ? "\033[0m" : "");
  for (const auto& row : rows) data_ += alignedRow(row, widths) + "\n";
}

bool Output::flush() {
  size_t done = 0;
  while (done < data_.size()) {
    const ssize_t count = write(descriptor_, data_.data() + done, data_.size() - done);
    if (count >= 0) {
      done += static_cast<size_t>(count);
    } else if (errno == EPIPE) {
      break;
    } else if (errno == EAGAIN) {  // whoever shares it has set it not to wait
      pollfd ready{descriptor_, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      complain(std::string("standard output cannot be written: ") + strerror(errno));
      return false;
    }
  }
  data_.clear();
  return true;
}

void complain(const std::string& text) {
  const std::string line = "miscdisc: " + text + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void remark(const Options& options, const std::string& text) {
  if (!options.quiet) complain(text);
}

std::string printable(const WString& text) {
  std::string result;
  for (wchar_t c : text) {
    if (isControl(c) || isInvalidByte(c) || c == L'\\') {
      appendEscaped(result, c);
    } else {
      result += Qx::UTF8FromWString(WString(1, c));
    }
  }
  return result;
}

std::string printable(std::string_view bytes) { return printable(Qx::WStringFromUTF8(bytes)); }

std::string asUtf8(WString text) {
  std::replace_if(text.begin(), text.end(), isInvalidByte, wchar_t{0xFFFD});
  return Qx::UTF8FromWString(text);
}

void addText(Json& object, const std::string& key, const WString& text) {
  object[key] = asUtf8(text);
  if (std::none_of(text.begin(), text.end(), isInvalidByte)) return;
  std::string hex;
  for (char byte : Qx::UTF8FromWString(text)) {
    hex += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  }
  object[key + "_hex"] = hex;
}

size_t columnsOf(const std::string& text) {
  size_t columns = 0;
  for (wchar_t c : Qx::WStringFromUTF8(text)) {
    columns += static_cast<size_t>(std::max(0, utf8proc_charwidth(c)));
  }
  return columns;
}

std::vector<size_t> cellWidths(const std::vector<std::string>& heading,
                               const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& cell : heading) widths.push_back(columnsOf(cell));
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  return widths;
}

std::string alignedRow(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    line += cells[i];
    if (i + 1 < cells.size()) line += std::string(widths[i] - columnsOf(cells[i]) + 2, ' ');
  }
  return line;
}

std::string withUnit(uint64_t bytes) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < 1024) return fmt::format("{} B", bytes);
  auto amount = static_cast<double>(bytes);
  size_t unit = 0;
  for (; amount >= 1024 && unit + 1 < std::size(kUnits); ++unit) amount /= 1024;
  return fmt::format("{:.1f} {}", amount, kUnits[unit]);
}

std::string rfc3339(int64_t nanosecondsSince1970) {
  constexpr int64_t kSecond = 1'000'000'000;
  std::time_t seconds = nanosecondsSince1970 / kSecond;
  if (nanosecondsSince1970 % kSecond < 0) --seconds;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

}  // namespace console
