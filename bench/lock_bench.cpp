// What a lock costs: a cycle of the file manager, as a lock's user makes it, against the bare
// system calls of such a cycle, in turn.  Ends with 1 when the ratio is beyond its bound.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/timing.h"
#include "miscdisc/platform/os.h"

namespace {

constexpr int kCycles = 2000;
constexpr char kName[] = "anna";
constexpr size_t kNameLength = sizeof(kName) - 1;

bool ours(const WString& path, const WString& info) {
  iFileManager& files = OS()->fileManager();
  Qx::Ptr<iFile> lock = files.open(path, 2, 3, 0, 32);
  if (!lock || !lock->valid()) return false;
  Qx::Ptr<iFile> file = files.open(info, 2, 3, 4, 0);
  if (!file || !file->write(kName, kNameLength)) return false;
  file = nullptr;
  lock = nullptr;
  files.remove(path);
  files.remove(info);
  return true;
}

bool bare(const char* path, const char* info) {
  const int lock = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  whole.l_len = 1;
  if (lock < 0 || fcntl(lock, F_OFD_SETLK, &whole) != 0) return false;
  const int file = open(info, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const bool written = file >= 0 && write(file, kName, kNameLength) == ssize_t(kNameLength);
  close(file);
  unlink(info);
  unlink(path);
  close(lock);
  return written;
}

}  // namespace

int main() {
  std::string folder = std::filesystem::temp_directory_path() / "lock_bench-XXXXXX";
  if (!mkdtemp(folder.data())) return 2;
  setenv("MISCDISC_HOME", folder.c_str(), 1);  // the user's own settings would bear on the locks
  const std::string path = folder + "/Lock", info = path + ".inf";
  const WString widePath = Qx::WStringFromUTF8(path), wideInfo = Qx::WStringFromUTF8(info);

  std::vector<double> ourTimes, bareTimes;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    ourTimes.push_back(microseconds([&] { return ours(widePath, wideInfo); }));
    bareTimes.push_back(microseconds([&] { return bare(path.c_str(), info.c_str()); }));
  }
  std::filesystem::remove_all(folder);

  printRatioHeading();
  return printRatio("lock cycle", ourTimes, bareTimes, 2.5) ? 0 : 1;
}
