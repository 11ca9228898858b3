// Text files, read and written whole.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "miscdisc/platform/values/text.h"

namespace console {

struct FileText {
  std::string bytes;
  int error = 0;  // errno; 0 when everything was read
};

// Nothing when its mount does not answer.  What is no plain file is EISDIR or EINVAL; one that the
// library would not read for its size is EFBIG.
std::optional<FileText> readPlainFile(const WString& file, std::chrono::milliseconds deadline);

// The same, but a pipe or a terminal is read to its end, however long its writer takes.
std::optional<FileText> readFileOrPipe(const WString& file, std::chrono::milliseconds deadline);

// "Permission denied"
std::string reasonNotRead(int error);

// They end in LF or CR LF; a last one without an end counts, a byte order mark does not.
std::vector<std::string> linesOf(std::string_view bytes);
std::vector<WString> wideLinesOf(std::string_view bytes);

// Replaces the file by these lines, or makes it; readers see the old ones or the new ones.  Empty,
// or why not, printable; nothing when its mount stopped answering: then either may be there.  While
// others write it, it takes up to six seconds beyond the deadline.
std::optional<std::string> writeLines(const WString& file, const std::vector<std::string>& lines,
                                      std::chrono::milliseconds deadline);

}  // namespace console
