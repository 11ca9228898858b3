// Threads that ask mounts, one for each mount that is being asked.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/volumes/mount_table.h"
#include "miscdisc/platform/values/export.h"

namespace host {

using Deadline = std::chrono::steady_clock::time_point;

// A job on the mount that holds a path.  To find that mount, links are followed from folder to
// folder, each on the thread of the mount that it lies on: a link that leads into a mount that
// hangs keeps no other mount from answering.
class MISCDISC_EXPORT Errand {
 public:
  // The job gets the path without links; what of it does not exist, and links in a circle, it gets
  // as they stand.
  using Job = std::function<void(const std::string& path)>;

  Errand(std::shared_ptr<const MountTable> mounts, const std::string& path, Job job);

 private:
  friend class Workers;
  enum class State { kUnderway, kDone, kRefused };

  // On the thread of that mount.  Underway: heading_ is another one now.  Refused: the job threw.
  State proceed();
  State walk();
  void follow(const std::string& target);
  std::string takeName();
  bool hasMoved();

  const std::shared_ptr<const MountTable> mounts_;
  const Job job_;
  std::string walked_;  // without links; "" is the root
  std::string ahead_;
  int linksLeft_ = 40;  // as the kernel has it
  MountId heading_;

  // Under the mutex of the workers.
  State state_ = State::kUnderway;
  MountId at_;       // whose thread has it
  Deadline sent_{};  // to that thread
  std::condition_variable changed_;
};

class MISCDISC_EXPORT Workers {
 public:
  // Never destroyed, for a thread may hang to the last.  A child of fork starts without threads.
  static Workers& ofProcess();

  // Never waits.
  void start(const std::shared_ptr<Errand>& errand);

  // True when its job was done.  False when a mount on its way hangs; one whose job is not done at
  // the deadline hangs from then on, until it is.
  bool finish(const std::shared_ptr<Errand>& errand, Deadline deadline);

 private:
  struct Worker;
  Workers();

  // REQUIRE mutex_.
  void send(const std::shared_ptr<Errand>& errand);
  Worker* workerFor(const MountId& mount);
  void giveUp(const std::shared_ptr<Errand>& errand);
  void goOn(const std::shared_ptr<Errand>& errand, Errand::State state);

  void work(Worker& worker);  // a thread's life

  std::mutex mutex_;
  std::map<MountId, Worker*> workers_;
  std::vector<std::map<MountId, Worker*>> parents_;  // of a child: these threads are not here
};

}  // namespace host
