#include "host/volumes/inquiry.h"

#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "host/volumes/space.h"
#include "miscdisc/platform/log.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

// What is known of the folders that this process has asked.  Never destroyed: an answer may come
// in after main.
class Answers {
 public:
  struct Known {
    Clock::time_point firstAsked;
    std::optional<Clock::time_point> answered{};
    std::optional<VOLUME_INFO> space{};
    bool quotaMissed = false;
  };

  static Answers& ofProcess() {
    static Answers& answers = *new Answers;
    return answers;
  }

  void asked(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    known_.try_emplace(folder, Known{.firstAsked = Clock::now()});
  }

  void answered(const std::string& folder, const std::optional<VOLUME_INFO>& space) {
    const std::lock_guard lock(mutex_);
    Known& known = known_[folder];
    known.answered = Clock::now();
    if (space) known.space = space;
  }

  Known of(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    return known_[folder];
  }

  // True the first time.
  bool missQuota(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    return !std::exchange(known_[folder].quotaMissed, true);
  }

 private:
  Answers() {  // a child must find the mutex free
    pthread_atfork([] { ofProcess().mutex_.lock(); }, [] { ofProcess().mutex_.unlock(); },
                   [] { ofProcess().mutex_.unlock(); });
  }

  std::mutex mutex_;
  std::map<std::string, Known> known_;
};

// 0, or the error; ENOTDIR for anything else that is there.
int errorOfFolder(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return errno;
  return S_ISDIR(found.st_mode) ? 0 : ENOTDIR;
}

std::string nearestFolder(std::string path) {
  while (path.size() > 1 && errorOfFolder(path) != 0) {
    const size_t slash = path.rfind('/');
    path.resize(slash == 0 || slash == std::string::npos ? 1 : slash);
  }
  return path;
}

}  // namespace

struct Inquiry::Finding {
  std::optional<VOLUME_INFO> space;  // nothing: not present
  bool quotaMissed = false;          // asked for, without an answer
};

Inquiry::Finding Inquiry::inspect(const Volume& volume, const std::string& folder) {
  const int error = errorOfFolder(folder);
  // An absent volume of the user's own is merely empty: its folder is made at the first write.
  const bool merelyEmpty = volume.ownMedia && error == ENOENT;
  if (error != 0 && !merelyEmpty) return {};
  const std::string measured = merelyEmpty ? nearestFolder(folder) : folder;
  // The folder's facts may come from a cache; its room comes from whoever keeps it.
  Finding finding{.space = measureSpace(measured)};
  if (!finding.space || !volume.quota) return finding;
  const auto quota = quotaOfUser(measured);
  finding.quotaMissed = !quota;
  if (quota) finding.space = withinQuota(*finding.space, *quota);
  return finding;
}

Inquiry::Inquiry(std::shared_ptr<const MountTable> mounts, const Volume& volume)
    : folder_(volume.folder), finding_(std::make_shared<Finding>()) {
  Answers::ofProcess().asked(folder_);
  const auto job = [finding = finding_, volume](const std::string& folder) {
    *finding = inspect(volume, folder);
    Answers::ofProcess().answered(volume.folder, finding->space);
  };
  errand_ = std::make_shared<Errand>(std::move(mounts), folder_, job);
  Workers::ofProcess().start(errand_);
}

VolumeState Inquiry::finish(Deadline deadline) {
  using std::chrono::milliseconds;
  const bool answered = Workers::ofProcess().finish(errand_, deadline);
  const Answers::Known known = Answers::ofProcess().of(folder_);
  const Clock::time_point since = known.answered.value_or(known.firstAsked);
  VolumeState state{.answer = VolumeState::Answer::kNotAnswering,
                    .space = known.space,
                    .age = std::chrono::duration_cast<milliseconds>(Clock::now() - since)};
  if (!answered) return state;
  state.answer = finding_->space ? VolumeState::Answer::kPresent : VolumeState::Answer::kAbsent;
  if (finding_->quotaMissed && Answers::ofProcess().missQuota(folder_)) {
    LogBoth("no quota of this user is kept for %s: its free space is that of the file system\n",
            folder_.c_str());
  }
  return state;
}

}  // namespace host
