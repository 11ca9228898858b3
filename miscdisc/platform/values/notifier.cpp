#include "miscdisc/platform/values/notifier.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace Notification {

const TypeDictionary& typeDictionary() {
  static constexpr TypeDictionary kTypes{1, 2, 3};
  return kTypes;
}

}  // namespace Notification

struct Notifier::Channel {
  // Held for a whole call: that is what makes a removal from another thread wait for it.
  std::recursive_mutex lock;
  std::vector<NotifiableBase*> listeners;  // null: removed during a call
  int callsInProgress = 0;

  bool has(const NotifiableBase* listener) const {
    return std::find(listeners.begin(), listeners.end(), listener) != listeners.end();
  }

  void drop(const NotifiableBase* listener) {
    const std::lock_guard hold(lock);
    std::replace(listeners.begin(), listeners.end(), const_cast<NotifiableBase*>(listener),
                 static_cast<NotifiableBase*>(nullptr));
    tidy();
  }

  void tidy() {
    if (callsInProgress == 0) std::erase(listeners, nullptr);
  }

  // Visits those who are listeners now and still are when their turn comes.
  template <typename Visit>
  void visit(Visit visitListener) {
    const std::lock_guard hold(lock);
    struct InProgress {
      Channel& channel;
      explicit InProgress(Channel& c) : channel(c) { ++channel.callsInProgress; }
      ~InProgress() {
        --channel.callsInProgress;
        channel.tidy();
      }
    } inProgress(*this);
    const size_t count = listeners.size();
    for (size_t i = 0; i < count; ++i) {
      if (listeners[i]) visitListener(*listeners[i]);
    }
  }
};

namespace {

struct Registration : DLListRec {
  explicit Registration(std::shared_ptr<Notifier::Channel> c) : channel(std::move(c)) {}
  std::shared_ptr<Notifier::Channel> channel;
};

}  // namespace

NotifiableBase::NotifiableBase() { registrations_.ownsRecords(true); }

NotifiableBase::~NotifiableBase() { stopListening(); }

void NotifiableBase::notify(const NotifyMsg&) {}

void NotifiableBase::destroy(const NotifyMsg&) {}

void NotifiableBase::stopListening() {
  while (auto* registration = static_cast<Registration*>(*DLListIterator(registrations_))) {
    registration->channel->drop(this);
    delete registration;
  }
}

void Notifiable::bufNotify(const NotifyMsg& msg) { notify(msg); }

Notifier::Notifier() : channel_(std::make_shared<Channel>()) {}

Notifier::~Notifier() {
  NotifyMsg goodbye;
  goodbye.sender_ = this;
  channel_->visit([&](NotifiableBase& listener) {
    remove(listener);
    listener.destroy(goodbye);
  });
}

void Notifier::add(NotifiableBase& listener) {
  const std::lock_guard hold(channel_->lock);
  if (channel_->has(&listener)) return;
  channel_->listeners.push_back(&listener);
  listener.registrations_.append(new Registration(channel_));
}

void Notifier::remove(NotifiableBase& listener) {
  channel_->drop(&listener);
  for (DLListIterator i(listener.registrations_); *i; ++i) {
    auto* registration = static_cast<Registration*>(*i);
    if (registration->channel != channel_) continue;
    delete registration;
    return;
  }
}

bool Notifier::hasListeners() const {
  const std::lock_guard hold(channel_->lock);
  return std::any_of(channel_->listeners.begin(), channel_->listeners.end(),
                     [](const NotifiableBase* listener) { return listener != nullptr; });
}

void Notifier::call(const NotifyMsg& msg, int type) {
  NotifyMsg delivered = msg;
  delivered.type_ = type;
  delivered.sender_ = this;
  const std::shared_ptr<Channel> channel = channel_;  // a listener may destroy the notifier
  channel->visit([&](NotifiableBase& listener) { listener.notify(delivered); });
}
