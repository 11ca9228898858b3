#include "tests/fakes/fake_platform.h"

#include <algorithm>

FakePlatform& fakePlatform() {
  // Never destroyed: the library's own statics may still ask at the end.
  static FakePlatform* platform = new FakePlatform;
  return *platform;
}

void FakePlatform::addFolder(const WString& path) {
  for (size_t slash = path.find(L'/', 1); slash != WString::npos;
       slash = path.find(L'/', slash + 1)) {
    nodes.try_emplace(path.substr(0, slash), Node{.isFolder = true});
  }
  if (!path.ends_with(L'/')) nodes.try_emplace(path, Node{.isFolder = true});
}

void FakePlatform::addFile(const WString& path, const String& bytes) {
  addFolder(path.substr(0, path.rfind(L'/') + 1));
  nodes[path] = Node{.bytes = bytes, .modified = ++clock_};
}

void FakePlatform::addVolume(wchar_t id, const WString& folder, uint64_t freeBytes) {
  addFolder(folder);
  volumes.push_back({.id = id, .folder = folder, .space = {freeBytes, freeBytes}});
}

FakePlatform::Volume* FakePlatform::volume(wchar_t id) {
  const auto it = std::find_if(volumes.begin(), volumes.end(),
                               [&](const Volume& candidate) { return candidate.id == id; });
  return it == volumes.end() ? nullptr : &*it;
}

const FakePlatform::Node* FakePlatform::file(const WString& path) const {
  const auto it = nodes.find(path);
  return it == nodes.end() || it->second.isFolder ? nullptr : &it->second;
}

std::vector<WString> FakePlatform::namesIn(const WString& folder) const {
  const WString prefix = folder.ends_with(L'/') ? folder : folder + L'/';
  std::vector<WString> names;
  for (auto it = nodes.upper_bound(prefix); it != nodes.end(); ++it) {
    if (!it->first.starts_with(prefix)) break;
    const WString name = it->first.substr(prefix.size());
    if (!name.empty() && name.find(L'/') == WString::npos) names.push_back(name);
  }
  return names;
}

void FakePlatform::note(const String& call) {
  {
    const std::lock_guard hold(lock);
    calls.push_back(call);
  }
  if (atCall) atCall(call);
}

bool FakePlatform::callFails(const String& call) {
  note(call);
  return ++callCount_ == failingCall;
}

void FakePlatform::deliver(const String& text) {
  if (receiver) receiver->receive(text);
}

namespace {

constexpr wchar_t kOneOrNone = L'\1';

bool matches(std::wstring_view mask, std::wstring_view name) {
  if (mask.empty()) return name.empty();
  if (name.empty() && mask == L".*") return true;
  const std::wstring_view rest = mask.substr(1);
  const bool mayBeNone = mask[0] == L'*' || mask[0] == kOneOrNone;
  if (mayBeNone && matches(rest, name)) return true;
  if (name.empty()) return false;
  if (mask[0] == L'*') return matches(mask, name.substr(1));
  const bool any = mask[0] == L'?' || mask[0] == kOneOrNone;
  return (any || mask[0] == name[0]) && matches(rest, name.substr(1));
}

}  // namespace

bool fakeMaskMatches(const WString& mask, const WString& name) {
  WString stem = mask.substr(0, mask.rfind(L'.'));
  const WString extension = mask.substr(stem.size());
  if (stem == L"????????") stem = L"*";
  for (size_t i = stem.size(); i > 0 && stem[i - 1] == L'?'; --i) stem[i - 1] = kOneOrNone;
  return matches(stem + extension, name);
}
