#include "console/folders.h"

#include <sys/stat.h>
#include <utf8proc.h>

#include <algorithm>
#include <filesystem>
#include <unordered_map>

#include "miscdisc/platform/string_compare.h"

namespace console {
namespace {

// The same for all spellings that differ in letter case; for others it may be.
WString spellingKey(const WString& folder) {
  WString key = folder;
  for (wchar_t& c : key) c = utf8proc_tolower(utf8proc_toupper(c));
  return key;
}

}  // namespace

WString plainFolder(const WString& folder) {
  const auto normal = std::filesystem::path(Qx::UTF8FromWString(folder)).lexically_normal();
  std::string text = normal.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return Qx::WStringFromUTF8(text);
}

WString absoluteFolder(const WString& folder) {
  std::error_code error;  // the working directory may be gone: then it stays relative
  const auto absolute = std::filesystem::absolute(Qx::UTF8FromWString(folder), error);
  return plainFolder(error ? folder : Qx::WStringFromUTF8(absolute.string()));
}

bool isSameSpelling(const WString& a, const WString& b) { return Qx::compareCaseInsensitive(a, b); }

bool isInside(const WString& inner, const WString& outer) {
  const WString folder = outer == L"/" ? outer : outer + L"/";
  return inner.size() > folder.size() && Qx::startsWith(inner, folder, false);
}

std::optional<FolderId> idOf(const WString& folder, std::chrono::milliseconds deadline) {
  using Found = std::optional<FolderId>;
  const std::string path = Qx::UTF8FromWString(folder);
  const auto found = within<Found>(deadline, folder, [path]() -> Found {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return {};
    return FolderId{status.st_dev, status.st_ino};
  });
  return found.value_or(std::nullopt);
}

bool isFolder(const WString& path, std::chrono::milliseconds deadline) {
  const std::string native = Qx::UTF8FromWString(path);
  const auto folder = within<bool>(deadline, path, [native] {
    struct stat found {};
    return stat(native.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
  });
  return folder.value_or(false);
}

std::map<std::string, bool> namesIn(const std::string& folder, std::error_code& error) {
  std::map<std::string, bool> names;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::error_code gone;
    const bool isFolder = !entry->is_symlink(gone) && entry->is_directory(gone);
    names[entry->path().filename().string()] = isFolder;
  }
  return names;
}

std::vector<Listed> distinctFolders(const std::vector<WString>& lines) {
  std::vector<Listed> folders;
  std::unordered_map<WString, std::vector<size_t>> byKey;
  for (const WString& line : lines) {
    if (isBlank(line)) continue;
    const WString folder = plainFolder(line);
    std::vector<size_t>& alike = byKey[spellingKey(folder)];
    const auto same = std::find_if(alike.begin(), alike.end(), [&](size_t i) {
      return isSameSpelling(folders[i].folder, folder);
    });
    if (same != alike.end()) {
      folders[*same].lines.push_back(line);
      continue;
    }
    alike.push_back(folders.size());
    folders.push_back({folder, {line}});
  }
  return folders;
}

bool isBlank(const WString& line) { return line.find_first_not_of(L" \t") == WString::npos; }

bool hasLineEnd(const WString& text) { return text.find_first_of(L"\r\n") != WString::npos; }

}  // namespace console
