#include "console/folders.h"

#include <sys/stat.h>
#include <utf8proc.h>

#include <filesystem>

#include "miscdisc/platform/string_compare.h"

namespace console {

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

WString spellingKey(const WString& folder) {
  WString key = folder;
  for (wchar_t& c : key) c = utf8proc_tolower(utf8proc_toupper(c));
  return key;
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

bool isFolder(const WString& path) {
  struct stat found {};
  return stat(Qx::UTF8FromWString(path).c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

bool isBlank(const WString& line) { return line.find_first_not_of(L" \t") == WString::npos; }

bool hasLineEnd(const WString& text) { return text.find_first_of(L"\r\n") != WString::npos; }

}  // namespace console
