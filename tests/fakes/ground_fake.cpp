#include "tests/fakes/fake_platform.h"
#include "tests/platform/ground.h"

namespace ground {

const WString& folder() {
  static const WString path = [] {
    fakePlatform().addFolder(L"/ground");
    return WString(L"/ground/");
  }();
  return path;
}

void makeFolder(const WString& path) { fakePlatform().addFolder(path); }

void writeFile(const WString& path, const String& bytes) { fakePlatform().addFile(path, bytes); }

std::optional<String> readFile(const WString& path) {
  const FakePlatform::Node* file = fakePlatform().file(path);
  return file ? std::optional(file->bytes) : std::nullopt;
}

void removeFile(const WString& path) { fakePlatform().nodes.erase(path); }

void addVolume(wchar_t letter, const WString& folder) { fakePlatform().addVolume(letter, folder); }

}  // namespace ground
