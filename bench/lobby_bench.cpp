// What a lobby costs: entering and leaving one whose list names 200 media locations, against the
// bare system calls for the same files, in turn.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/drive_folders.h"
#include "bench/timing.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/config.h"

namespace {

constexpr int kLocations = 200;
constexpr int kVisits = 40;

struct Ground {
  std::string home;                 // settings and the local projects folder
  std::string lobby;                // Alpha, below the projects root
  std::vector<std::string> drives;  // the machine's own, then the lobby's
};

Ground makeGround(const std::string& root) {
  Ground ground{root + "/home", root + "/network/Alpha", {root + "/home/media"}};
  std::filesystem::create_directories(ground.home + "/projects");
  std::filesystem::create_directories(ground.lobby);
  std::ofstream(ground.home + "/config.toml")
      << "[machine]\nuser = 'ann'\n[volumes]\ndiscover = false\n";
  makeDriveFolder(ground.drives[0], "Own");
  std::ofstream list(ground.lobby + "/DefNetDrive.txt");
  for (int i = 0; i < kLocations; ++i) {
    ground.drives.push_back(root + "/drive" + std::to_string(i));
    makeDriveFolder(ground.drives.back(), "Drive " + std::to_string(i));
    list << ground.drives.back() << "/\n";
  }
  return ground;
}

bool enter() {
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  return LobbyUtils::setupQXProjDirectory() && DiskManager::get_drive(kLocations) != nullptr;
}

bool leave() {
  LobbyUtils::switchFromNetworkToLocal();
  return LobbyUtils::setupQXProjDirectory() && DiskManager::get_drive(1) == nullptr;
}

bool lockByte(int file, short type) {
  struct flock byte = {};
  byte.l_type = type;
  byte.l_whence = SEEK_SET;
  byte.l_len = 1;
  return fcntl(file, F_OFD_SETLK, &byte) == 0;
}

bool sync(const std::string& path, int flags) {
  const int file = open(path.c_str(), flags | O_CLOEXEC);
  const bool synced = file >= 0 && fsync(file) == 0;
  close(file);
  return synced;
}

// One setting, so that a crash leaves the old settings or the new ones.
bool bareSetting(const Ground& ground) {
  const std::string settings = ground.home + "/bare.toml", next = ground.home + "/.bare.tmp";
  const int guard = open((ground.home + "/.bare.lk").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (guard < 0 || !lockByte(guard, F_WRLCK)) return false;
  const std::string text(200, 'x');
  const int file = open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  const bool written = file >= 0 && write(file, text.data(), text.size()) == ssize_t(text.size()) &&
                       fsync(file) == 0;
  close(file);
  const bool done =
      written && rename(next.c_str(), settings.c_str()) == 0 && sync(ground.home, O_DIRECTORY);
  close(guard);
  return done;
}

// A setting, the list, the login and the drives.
class BareVisit {
 public:
  explicit BareVisit(const Ground& ground) : ground_(ground), name_(ground.lobby + "/bare.cli") {}

  bool enter() {
    if (!bareSetting(ground_) || !bare::readFile(ground_.lobby + "/DefNetDrive.txt")) return false;
    login_ = open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    return login_ >= 0 && lockByte(login_, F_RDLCK) &&
           std::all_of(ground_.drives.begin(), ground_.drives.end(), bare::meetDrive);
  }

  // The lobby left is remembered in a setting of its own.
  bool leave() {
    if (!bareSetting(ground_) || !bareSetting(ground_)) return false;
    const bool removed = lockByte(login_, F_WRLCK) && unlink(name_.c_str()) == 0;
    close(login_);
    return removed && bare::meetDrive(ground_.drives[0]);
  }

 private:
  const Ground& ground_;
  std::string name_;
  int login_ = -1;
};

}  // namespace

int main() {
  std::string root = std::filesystem::temp_directory_path() / "lobby_bench-XXXXXX";
  if (!mkdtemp(root.data())) return 2;
  const Ground ground = makeGround(root);
  setenv("MISCDISC_HOME", ground.home.c_str(), 1);
  UserConfig().setValue(LobbyUtils::NetProjRootRegKey, root + "/network", "Configuration");

  BareVisit visit(ground);
  std::vector<double> entering, leaving, bareEntering, bareLeaving;
  for (int i = 0; i < kVisits; ++i) {
    entering.push_back(microseconds(enter));
    leaving.push_back(microseconds(leave));
    bareEntering.push_back(microseconds([&] { return visit.enter(); }));
    bareLeaving.push_back(microseconds([&] { return visit.leave(); }));
  }
  printRatioHeading();
  printRatio("enter a lobby of 200 locations", entering, bareEntering);
  printRatio("leave it", leaving, bareLeaving);
  std::filesystem::remove_all(root);
}
