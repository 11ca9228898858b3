#include "tests/host/home.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/settings.h"

namespace test {
namespace {

std::string makeHome() {
  std::string name = std::filesystem::temp_directory_path() / "miscdisc-home-XXXXXX";
  if (!mkdtemp(name.data())) std::abort();
  setenv("MISCDISC_HOME", name.c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "", 1);
  setenv("XDG_RUNTIME_DIR", "", 1);
  return name;
}

}  // namespace

const std::string& home() {
  static const std::string folder = makeHome();
  return folder;
}

void writeFile(const std::string& path, const std::string& bytes) {
  makeFolder(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {};
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void makeFolder(const std::string& path) { std::filesystem::create_directories(path); }

void configure(const std::string& toml) {
  writeFile(home() + "/config.toml", toml);
  host::reloadSettings();
}

HomeTest::HomeTest() {
  std::filesystem::remove_all(home());
  makeFolder(home());
  host::reloadSettings();
}

}  // namespace test

int main(int argc, char** argv) {
  test::home();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(test::home());
  return result;
}
