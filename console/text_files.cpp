#include "console/text_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console/changes.h"
#include "console/folders.h"
#include "miscdisc/platform/text_file.h"

namespace console {
namespace {

constexpr size_t kMostBytes = 64 << 20;         // as the library reads lists
constexpr std::chrono::seconds kSavingTime{6};  // TextFile::save() waits five for others

int readAll(int descriptor, std::string& bytes) {
  char block[65536];
  // Until a read gives nothing: a failed one must not pass for the end of the file.
  for (;;) {
    const ssize_t count = read(descriptor, block, sizeof block);
    if (count == 0) return 0;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.append(block, static_cast<size_t>(count));
    if (bytes.size() > kMostBytes) return EFBIG;
  }
}

FileText readWith(const std::string& path, int flags) {
  FileText text;
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags);
  if (descriptor < 0) return {{}, errno};
  text.error = readAll(descriptor, text.bytes);
  close(descriptor);
  return text;
}

FileText readPlain(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return {{}, errno};
  if (S_ISDIR(found.st_mode)) return {{}, EISDIR};
  if (!S_ISREG(found.st_mode)) return {{}, EINVAL};
  if (static_cast<size_t>(found.st_size) > kMostBytes) return {{}, EFBIG};
  return readWith(path, O_NONBLOCK);  // a pipe in its place would wait for a writer
}

}  // namespace

std::optional<FileText> readPlainFile(const WString& file, std::chrono::milliseconds deadline) {
  const std::string path = Qx::UTF8FromWString(file);
  return within<FileText>(deadline, file, [path] { return readPlain(path); });
}

std::optional<FileText> readFileOrPipe(const WString& file, std::chrono::milliseconds deadline) {
  const auto text = readPlainFile(file, deadline);
  if (!text || text->error != EINVAL) return text;
  return readWith(Qx::UTF8FromWString(file), 0);
}

std::string reasonNotRead(int error) {
  return error == EINVAL ? "it is no plain file" : std::strerror(error);
}

std::vector<std::string> linesOf(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  std::vector<std::string> lines;
  while (!bytes.empty()) {
    const size_t end = std::min(bytes.find('\n'), bytes.size());
    const bool ended = end < bytes.size();
    std::string_view line = bytes.substr(0, end);
    if (ended && line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    bytes.remove_prefix(ended ? end + 1 : end);
  }
  return lines;
}

std::vector<WString> wideLinesOf(std::string_view bytes) {
  std::vector<WString> lines;
  for (const std::string& line : linesOf(bytes)) lines.push_back(Qx::WStringFromUTF8(line));
  return lines;
}

std::optional<std::string> writeLines(const WString& file, const std::vector<std::string>& lines,
                                      std::chrono::milliseconds deadline) {
  return within<std::string>(deadline + kSavingTime, file, [file, lines] {
    TextFile written(file, false);
    for (const std::string& line : lines) written.appendLine(line);
    return written.save(WString(), TextFile::eLF) ? std::string() : whyNotWritten(file);
  });
}

}  // namespace console
