// The ground of the host's tests: real folders, under TMPDIR or /tmp.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "miscdisc/platform/fsys.h"
#include "tests/host/host_ground.h"

namespace ground {
namespace {

namespace fs = std::filesystem;

std::string root;  // of this process; holds the ground and MISCDISC_HOME
std::string groundFolder;
std::string homeFolder;
std::map<char, std::string> volumes;
std::string settingsText;

// Without the machine's own mounts: whatever it has, the tests stand on the same ground.
void writeConfig() {
  std::ofstream config(homeFolder + "config.toml", std::ios::trunc);
  config << settingsText << "\n[volumes]\ndiscover = false\n";
  for (const auto& [letter, folder] : volumes) config << letter << " = '" << folder << "'\n";
}

void makeRoot() {
  root = (fs::temp_directory_path() / "miscdisc-test-XXXXXX").string();
  if (!mkdtemp(root.data())) throw std::runtime_error("no folder for the test at " + root);
  groundFolder = root + "/ground/";
  homeFolder = root + "/home/";
  fs::create_directory(groundFolder);
  fs::create_directory(homeFolder);
  setenv("MISCDISC_HOME", homeFolder.c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "", 1);  // that of whoever runs the tests is none of theirs
  setenv("XDG_RUNTIME_DIR", "", 1);
  writeConfig();
}

std::string native(const WString& path) { return Qx::UTF8FromWString(path); }

}  // namespace

const std::string& nativeFolder() { return groundFolder; }

const std::string& home() { return homeFolder; }

const WString& folder() {
  static const WString wide = Qx::WStringFromUTF8(groundFolder);
  return wide;
}

void makeFolder(const WString& path) { fs::create_directories(native(path)); }

void writeFile(const WString& path, const String& bytes) {
  std::ofstream file(native(path), std::ios::binary | std::ios::trunc);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + native(path));
}

std::optional<String> readFile(const WString& path) {
  std::ifstream file(native(path), std::ios::binary);
  if (!file) return std::nullopt;
  return String(std::istreambuf_iterator<char>(file), {});
}

void removeFile(const WString& path) { fs::remove(native(path)); }

void addVolume(wchar_t letter, const WString& volume) {
  volumes[static_cast<char>(letter)] = native(volume);
  writeConfig();
  FsysReInitialize(false);
}

void writeSettings(const std::string& text) {
  settingsText = text;
  writeConfig();
}

}  // namespace ground

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  ground::makeRoot();
  const int result = RUN_ALL_TESTS();
  std::error_code ignored;
  std::filesystem::remove_all(ground::root, ignored);
  return result;
}
