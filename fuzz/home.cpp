#include "fuzz/home.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fuzz/claim.h"

namespace fuzz {
namespace {

constexpr const char* kQuietSettings = "messenger.engine = \"none\"\n[volumes]\ndiscover = false\n";

void removeHome() {
  std::error_code ignored;
  std::filesystem::remove_all(home(), ignored);
}

std::string makeHome() {
  std::string name = std::filesystem::temp_directory_path() / "miscdisc-fuzz-XXXXXX";
  claim(mkdtemp(name.data()) != nullptr, "a temporary folder can be made");
  setenv("MISCDISC_HOME", name.c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "", 1);
  setenv("XDG_RUNTIME_DIR", "", 1);
  std::ofstream(name + "/config.toml") << kQuietSettings;
  std::atexit(removeHome);
  return name;
}

}  // namespace

const std::string& home() {
  static const std::string& folder = *new std::string(makeHome());
  return folder;
}

std::string fileInHome(const std::string& name) { return home() + "/" + name; }

WString wideFileInHome(const std::string& name) { return Qx::WStringFromUTF8(fileInHome(name)); }

void makeFolderInHome(const std::string& name) {
  std::filesystem::create_directories(fileInHome(name));
}

void writeInHome(const std::string& name, std::string_view bytes) {
  std::ofstream file(fileInHome(name), std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  claim(bool(file.flush()), "a file can be written");
}

void settleVolume(const std::string& moreSettings) {
  writeInHome("config.toml", kQuietSettings + ("E = \"" + fileInHome("e") + "\"\n") + moreSettings);
}

void forgetLog() {
  std::error_code ignored;
  std::filesystem::remove(fileInHome("miscdisc.log"), ignored);
}

std::vector<std::string> linesOf(std::string_view bytes) {
  std::vector<std::string> lines;
  while (!bytes.empty()) {
    const size_t end = bytes.find('\n');
    lines.emplace_back(bytes.substr(0, end));
    bytes.remove_prefix(end == bytes.npos ? bytes.size() : end + 1);
  }
  return lines;
}

}  // namespace fuzz
