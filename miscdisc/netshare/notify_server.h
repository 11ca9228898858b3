// Texts to and from the other machines of the lobby.
//
// One server for the process, made at its first use.  A text that comes in becomes the server's
// value, and whoever has registered with it is told, before and after, on the messenger's thread;
// also when the text is the one that came before.  What goes out goes to the platform's messenger
// at once: there is no queue here.  Without a messenger texts are dropped.  Nothing is reported.
//
//   no server --BeginNotify(), SendNotify() in network mode, getNetMessageServer()--> server
//   server --EndNotify()--> destroyed; no call of this interface may follow
#pragma once

#include "miscdisc/platform/messenger.h"
#include "miscdisc/platform/values/val_server.h"

class MISCDISC_EXPORT NotifyServer : public ValServer<String> {
 public:
  static NotifyServer* instance();  // made by the first call, from whichever thread

  void queueMessage(String text);
  void destroy();  // releases the messenger and deletes the server

 private:
  friend class NetMsgReceiver;
  NotifyServer();

  Qx::Ptr<iNetMessager> messager;
};

// Turns each incoming text into the server's value.  With the setting "log_incoming_net_messages"
// other than 0, which is read once, each is logged.
class MISCDISC_EXPORT NetMsgReceiver : public iNetMessageReceiver {
 public:
  explicit NetMsgReceiver(NotifyServer* server) : owner(server) {}
  void receive(const std::string& text) const override;

 private:
  NotifyServer* owner;
};

MISCDISC_EXPORT void BeginNotify();
// Lets what waits go out, and returns when no call of a listener is underway but the caller's own.
// A listener may call it when it is told of a new value; told that one is to come, it must not: the
// value that then comes has no place any more.
MISCDISC_EXPORT void EndNotify();

// Sends a text to the other machines, in network mode and unless sending is disabled.
MISCDISC_EXPORT void SendNotify(const String& text);

MISCDISC_EXPORT void DisableNetNotify();
MISCDISC_EXPORT void EnableNetNotify();

// The server, for clients that register with it to hear incoming texts; getVal() is the text.
MISCDISC_EXPORT ValServer<String>* getNetMessageServer();
