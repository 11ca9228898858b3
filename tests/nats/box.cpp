#include "tests/nats/box.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include "tests/nats/server.h"

namespace test {

Box::Box(std::string group, std::string sender)
    : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      sender_(std::move(sender)),
      group_(std::move(group)) {}

Box::~Box() { close(descriptor_); }

void Box::change(const std::function<void()>& change) {
  const std::lock_guard lock(mutex_);
  change();
  eventfd_write(descriptor_, 1);
}

void Box::send(const std::string& text) {
  change([&] {
    waiting_.push_back({host::Parcel::Kind::kText, group_, sender_, ++number_, text});
  });
}

void Box::enter(const std::string& group) {
  change([&] { group_ = group; });
}

void Box::endWithin(std::chrono::milliseconds time) {
  change([&] { end_ = std::chrono::steady_clock::now() + time; });
}

Box::Seen Box::seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

bool Box::await(const std::function<bool(const Seen&)>& condition) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::minutes(1), [&] { return condition(seen_); });
}

bool Box::awaitTexts(size_t count) const {
  return await([&](const Seen& seen) { return seen.texts.size() >= count; });
}

bool Box::awaitConnected() const {
  return await([](const Seen& seen) { return seen.connected; });
}

bool Box::awaitUndelivered() const {
  return await([](const Seen& seen) { return !seen.undelivered.empty(); });
}

bool Box::awaitWords(const std::string& part) const {
  return await([&](const Seen& seen) {
    return !seen.connected && seen.words.find(part) != std::string::npos;
  });
}

std::string Box::group() {
  const std::lock_guard lock(mutex_);
  eventfd_t count = 0;
  eventfd_read(descriptor_, &count);
  return group_;
}

std::optional<host::Parcel> Box::take() {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return std::nullopt;
  host::Parcel parcel = std::move(waiting_.front());
  waiting_.pop_front();
  return parcel;
}

std::optional<std::chrono::steady_clock::time_point> Box::end() {
  const std::lock_guard lock(mutex_);
  return end_;
}

void Box::arrived(host::Parcel parcel) {
  const std::lock_guard lock(mutex_);
  if (parcel.sender == sender_) return;  // ours come back
  seen_.texts.push_back(parcel.text);
  seen_.parcels.push_back(std::move(parcel));
  changed_.notify_all();
}

void Box::stranger() {
  const std::lock_guard lock(mutex_);
  ++seen_.strangers;
  changed_.notify_all();
}

void Box::lost() {
  const std::lock_guard lock(mutex_);
  ++seen_.losses;
  changed_.notify_all();
}

void Box::undeliverable(const host::Parcel& parcel, const std::string& why) {
  const std::lock_guard lock(mutex_);
  seen_.undelivered.emplace_back(parcel.text, why);
  changed_.notify_all();
}

void Box::state(bool connected, const std::string& words) {
  const std::lock_guard lock(mutex_);
  seen_.connected = connected;
  seen_.words = words;
  changed_.notify_all();
}

Member::Member(const host::EngineSettings& settings, const std::string& group,
               const std::string& sender)
    : Box(group, sender), engine_(makeEngine(settings)), thread_([this] { engine_->run(*this); }) {}

Member::~Member() { leave(); }

void Member::leave(std::chrono::milliseconds flush) {
  if (!thread_.joinable()) return;
  endWithin(flush);
  thread_.join();
}

}  // namespace test
