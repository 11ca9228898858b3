#include "miscdisc/dircache/cache_text.h"

#include "miscdisc/platform/fsys.h"

namespace {

constexpr std::wstring_view kStart = L"\\\\";

// By backslashes, and by slashes: the path keeps those on its way to a layer file name.
bool partsAreNames(std::wstring_view path) {
  while (true) {
    const size_t end = path.find_first_of(L"\\/");
    const std::wstring_view part = path.substr(0, end);
    if (part.empty() || part == L"." || part == L"..") return false;
    if (end == path.npos) return true;
    path.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<NetMessage> cacheMessage(const String& text, const char*& why) {
  if (text.size() > kLongestCacheText) {
    why = "it is too long";
    return {};
  }
  auto message = NetMessage::fromString(text);
  if (!message) {
    why = "it has no number";
    return {};
  }
  switch (message->type()) {
    case NetMessage::FileAdded:
    case NetMessage::FileRemoved:
    case NetMessage::Rescan:
      return message;
  }
  why = "its number is not known";
  return {};
}

WString fileOfNetworkPath(const WString& networkPath) {
  if (!networkPath.starts_with(kStart) || networkPath.find(L'\0') != WString::npos) return {};
  if (!partsAreNames(std::wstring_view(networkPath).substr(kStart.size()))) return {};
  const WString path = FsysConvertUNCtoFsysFilename(networkPath);
  return path.starts_with(kStart) ? WString() : path;
}
