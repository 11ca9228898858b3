#include "miscdisc/platform/values/val_server.h"

#include <algorithm>
#include <atomic>

namespace {

std::atomic<LastValServer*> lastBuilt{nullptr};

void announce(Notifier& notifier, int type) {
  if (notifier.hasListeners()) notifier.call(NotifyMsg(), type);
}

}  // namespace

const int ValServerBase::valChangedMsgType_ = Notification::typeDictionary().valueChanged;
const int ValServerBase::preValChangedMsgType_ = Notification::typeDictionary().valueAboutToChange;

ValServerBase::~ValServerBase() = default;

void ValServerBase::notifyValChanged() { announce(notifier_, valChangedMsgType_); }

void ValServerBase::preNotifyValChanged() { announce(notifier_, preValChangedMsgType_); }

LastValServer::LastValServer() { lastBuilt = this; }

LastValServer::~LastValServer() {
  LastValServer* self = this;
  lastBuilt.compare_exchange_strong(self, nullptr);
}

LastValServer* LastValServer::getLastValServer() { return lastBuilt; }

void ValClientBase::registerWith(ValServerBase& server) {
  if (std::find(servers_.begin(), servers_.end(), &server) != servers_.end()) return;
  servers_.push_back(&server);
  server.notifier().add(*this);
}

void ValClientBase::deregisterFrom(ValServerBase* server) {
  if (std::erase(servers_, server) > 0) server->notifier().remove(*this);
}

ValServerBase* ValClientBase::getValServer(int index) const {
  const auto at = static_cast<size_t>(index);
  return at < servers_.size() ? servers_[at] : nullptr;
}

void ValClientBase::destroy(const NotifyMsg& msg) {
  std::erase_if(servers_,
                [&](ValServerBase* server) { return &server->notifier() == msg.sender(); });
}

ValObserverClient::~ValObserverClient() = default;

void ValObserverClient::valueAboutToChange(ValClientBase&) {}
