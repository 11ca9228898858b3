#include "miscdisc/netshare/notify_server.h"

#include <atomic>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/values/critical_section.h"

namespace {

std::atomic<NotifyServer*> theInstance{nullptr};
CriticalSection initLock("notify_server");
bool notifyDisable = false;

}  // namespace

NotifyServer* NotifyServer::instance() {
  if (NotifyServer* server = theInstance) return server;
  const EasyCrit hold(initLock);
  if (!theInstance) theInstance = new NotifyServer;
  return theInstance;
}

NotifyServer::NotifyServer() {
  const Qx::Ptr<iNetMessageReceiver> receiver(new NetMsgReceiver(this));
  messager = OSPrivate()->networkService().getMessager(receiver);
}

void NotifyServer::queueMessage(String text) {
  if (messager) messager->send(text);
}

void NotifyServer::destroy() {
  messager = nullptr;  // first: no text may arrive at a server that is going away
  delete this;
}

void NetMsgReceiver::receive(const std::string& text) const {
  static const bool Cfg_logIncomingNetMessages = config_int("log_incoming_net_messages", 0) != 0;
  if (Cfg_logIncomingNetMessages) Log("Received: %s\n", text.c_str());

  owner->preNotifyValChanged();
  owner->value_ = text;
  owner->notifyValChanged();
}

void BeginNotify() { NotifyServer::instance(); }

// theInstance keeps its value: this is the last call of the interface.
void EndNotify() { NotifyServer::instance()->destroy(); }

void SendNotify(const String& text) {
  if (notifyDisable) return;
  if (!LobbyUtils::machineIsInNetworkMode()) return;
  NotifyServer::instance()->queueMessage(text);
}

void DisableNetNotify() { notifyDisable = true; }

void EnableNetNotify() { notifyDisable = false; }

ValServer<String>* getNetMessageServer() { return NotifyServer::instance(); }
