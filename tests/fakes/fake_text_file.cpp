#include <algorithm>
#include <vector>

#include "miscdisc/platform/text_file.h"
#include "tests/fakes/fake_platform.h"

namespace {

std::vector<String> linesOf(String bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  std::vector<String> lines;
  for (size_t from = 0; from < bytes.size();) {
    const size_t end = std::min(bytes.find('\n', from), bytes.size());
    String line = bytes.substr(from, end - from);
    if (line.ends_with('\r') && end < bytes.size()) line.pop_back();
    lines.push_back(line);
    from = end + 1;
  }
  return lines;
}

String bytesOf(const std::vector<String>& lines) {
  String bytes;
  for (const String& line : lines) bytes += line + '\n';
  return bytes;
}

// The index of that occurrence of a line, else of the first; the size when there is none.
size_t find(const std::vector<String>& lines, const String& line, size_t occurrence) {
  size_t first = lines.size();
  for (size_t i = 0, seen = 0; i < lines.size(); ++i) {
    if (lines[i] != line) continue;
    if (seen++ == occurrence) return i;
    first = std::min(first, i);
  }
  return first;
}

}  // namespace

struct TextFile::Contents {
  struct Edit {
    bool append;
    String line;
    size_t occurrence;
  };
  WString path;
  bool loaded;
  bool saveable;
  std::vector<String> lines;
  std::vector<Edit> edits;
};

TextFile::TextFile(const WString& path, bool load)
    : contents_(new Contents{path, load, true, {}, {}}) {
  const FakePlatform::Node* file = fakePlatform().file(path);
  contents_->saveable = !load || file || !fakePlatform().has(path);
  if (load && file) contents_->lines = linesOf(file->bytes);
}

TextFile::~TextFile() = default;

size_t TextFile::getNumLines() const { return contents_->lines.size(); }

const String& TextFile::operator[](size_t line) const { return contents_->lines[line]; }

void TextFile::appendLine(const String& line) {
  contents_->lines.push_back(line);
  contents_->edits.push_back({true, line, 0});
}

void TextFile::removeLine(size_t line) {
  std::vector<String>& lines = contents_->lines;
  if (line >= lines.size()) return;
  const auto at = lines.begin() + static_cast<ptrdiff_t>(line);
  const auto earlier = static_cast<size_t>(std::count(lines.begin(), at, *at));
  contents_->edits.push_back({false, *at, earlier});
  lines.erase(at);
}

bool TextFile::save(const WString& path, eEOLStyle) {
  FakePlatform& platform = fakePlatform();
  const WString target = path.empty() ? contents_->path : path;
  if (platform.callFails("save " + Qx::UTF8FromWString(target))) return false;
  if (!contents_->saveable) return false;
  if (!platform.has(target.substr(0, target.rfind(L'/')))) return false;
  if (platform.has(target) && !platform.file(target)) return false;
  std::vector<String> lines = contents_->lines;
  const FakePlatform::Node* newest = platform.file(target);
  if (path.empty() && contents_->loaded) {
    lines = newest ? linesOf(newest->bytes) : std::vector<String>();
    for (const Contents::Edit& edit : contents_->edits) {
      const size_t at = find(lines, edit.line, edit.occurrence);
      if (edit.append) {
        lines.push_back(edit.line);
      } else if (at < lines.size()) {
        lines.erase(lines.begin() + static_cast<ptrdiff_t>(at));
      }
    }
  }
  platform.nodes[target].bytes = bytesOf(lines);
  if (path.empty()) contents_->edits.clear();
  return true;
}
