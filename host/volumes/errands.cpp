#include "host/volumes/errands.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <deque>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "host/signals_blocked.h"

namespace host {
namespace {

constexpr auto kIdle = std::chrono::seconds(1);  // after that long without a question it ends

std::optional<std::string> linkTarget(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t size = readlink(path.c_str(), target, sizeof target);
  if (size <= 0) return {};
  return std::string(target, static_cast<size_t>(size));
}

}  // namespace

Errand::Errand(std::shared_ptr<const MountTable> mounts, const std::string& path, Job job)
    : mounts_(std::move(mounts)),
      job_(std::move(job)),
      ahead_(path),
      heading_(mounts_->holding("/").id) {}

bool Errand::hasMoved() {
  const MountId now = mounts_->holding(walked_.empty() ? "/" : walked_).id;
  if (now == heading_) return false;
  heading_ = now;
  return true;
}

std::string Errand::takeName() {
  const size_t begin = std::min(ahead_.find_first_not_of('/'), ahead_.size());
  const size_t end = std::min(ahead_.find('/', begin), ahead_.size());
  const std::string name = ahead_.substr(begin, end - begin);
  ahead_.erase(0, end);
  return name;
}

void Errand::follow(const std::string& target) {
  if (target[0] == '/') walked_.clear();
  ahead_ = target + ahead_;  // empty, or on from a separator
}

// What a job throws, such as std::bad_alloc, is not to end the program from a thread of ours.
Errand::State Errand::proceed() {
  try {
    return walk();
  } catch (...) {
    return State::kRefused;
  }
}

Errand::State Errand::walk() {
  for (std::string name = takeName(); !name.empty(); name = takeName()) {
    if (name == ".") continue;
    const std::string next = walked_ + "/" + name;
    std::optional<std::string> target;
    if (name == "..") {
      walked_.resize(walked_.empty() ? 0 : walked_.rfind('/'));
    } else if (!mounts_->isMountPoint(next) && (target = linkTarget(next))) {
      if (--linksLeft_ < 0) {
        walked_ = next + ahead_;
        break;
      }
      follow(*target);
    } else {
      walked_ = next;
    }
    if (hasMoved()) return State::kUnderway;
  }
  job_(walked_.empty() ? "/" : walked_);
  return State::kDone;
}

struct Workers::Worker {
  MountId mount;
  std::deque<std::shared_ptr<Errand>> waiting;
  std::shared_ptr<Errand> underway;
  Deadline since{};    // it is underway
  bool hangs = false;  // somebody has given it up
  std::condition_variable wake;
};

Workers::Workers() {
  pthread_atfork([] { ofProcess().mutex_.lock(); }, [] { ofProcess().mutex_.unlock(); },
                 [] {
                   Workers& workers = ofProcess();
                   // Kept, for the condition variables of threads that are not here cannot end.
                   workers.parents_.push_back(std::move(workers.workers_));
                   workers.workers_.clear();
                   workers.mutex_.unlock();
                 });
}

Workers& Workers::ofProcess() {
  static Workers& workers = *new Workers;
  return workers;
}

void Workers::start(const std::shared_ptr<Errand>& errand) {
  const std::lock_guard lock(mutex_);
  send(errand);
}

bool Workers::finish(const std::shared_ptr<Errand>& errand, Deadline deadline) {
  std::unique_lock lock(mutex_);
  const bool over = errand->changed_.wait_until(
      lock, deadline, [&] { return errand->state_ != Errand::State::kUnderway; });
  if (!over) giveUp(errand);
  return errand->state_ == Errand::State::kDone;
}

void Workers::send(const std::shared_ptr<Errand>& errand) {
  errand->at_ = errand->heading_;
  Worker* worker = workerFor(errand->at_);
  if (!worker || worker->hangs) {
    errand->state_ = Errand::State::kRefused;
    errand->changed_.notify_all();
    return;
  }
  errand->sent_ = std::chrono::steady_clock::now();
  worker->waiting.push_back(errand);
  worker->wake.notify_one();
}

// Null when the machine has no thread left.
Workers::Worker* Workers::workerFor(const MountId& mount) {
  const auto known = workers_.find(mount);
  if (known != workers_.end()) return known->second;
  auto worker = std::make_unique<Worker>();
  worker->mount = mount;
  const SignalsBlocked blocked;
  try {
    std::thread([this, &life = *worker] { work(life); }).detach();
  } catch (const std::system_error&) {
    return nullptr;
  }
  return workers_[mount] = worker.release();
}

// The mount hangs when this errand, or one that was there before it, is what takes so long.  None
// that waits behind it need wait any longer.
void Workers::giveUp(const std::shared_ptr<Errand>& errand) {
  errand->state_ = Errand::State::kRefused;
  const auto found = workers_.find(errand->at_);
  if (found == workers_.end()) return;
  Worker& worker = *found->second;
  std::erase(worker.waiting, errand);
  if (!worker.underway) return;
  if (worker.underway != errand && worker.since > errand->sent_) return;
  worker.hangs = true;
  for (const auto& other : worker.waiting) {
    other->state_ = Errand::State::kRefused;
    other->changed_.notify_all();
  }
  worker.waiting.clear();
}

void Workers::work(Worker& worker) {
  std::unique_lock lock(mutex_);
  while (worker.wake.wait_for(lock, kIdle, [&] { return !worker.waiting.empty(); })) {
    worker.underway = std::move(worker.waiting.front());
    worker.waiting.pop_front();
    worker.since = std::chrono::steady_clock::now();
    lock.unlock();
    const Errand::State state = worker.underway->proceed();
    lock.lock();
    worker.hangs = false;
    std::shared_ptr<Errand> errand = std::exchange(worker.underway, nullptr);
    goOn(errand, state);
    lock.unlock();
    errand.reset();  // what its job held may be anybody's
    lock.lock();
  }
  workers_.erase(worker.mount);
  delete &worker;
}

void Workers::goOn(const std::shared_ptr<Errand>& errand, Errand::State state) {
  if (errand->state_ != Errand::State::kUnderway) return;
  if (state == Errand::State::kUnderway) return send(errand);
  errand->state_ = state;
  errand->changed_.notify_all();
}

}  // namespace host
