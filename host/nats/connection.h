// The objects of the client library, and how a connection to the server is made.
#pragma once

#include <nats/nats.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <string>

#include "host/messenger/plugin.h"

namespace host::nats {

template <auto destroy>
struct Destroy {
  template <typename Object>
  void operator()(Object* object) const {
    destroy(object);
  }
};

using Options = std::unique_ptr<natsOptions, Destroy<natsOptions_Destroy>>;
using Connection = std::unique_ptr<natsConnection, Destroy<natsConnection_Destroy>>;
using JetStream = std::unique_ptr<jsCtx, Destroy<jsCtx_Destroy>>;
using Subscription = std::unique_ptr<natsSubscription, Destroy<natsSubscription_Destroy>>;
using Message = std::unique_ptr<natsMsg, Destroy<natsMsg_Destroy>>;
using MetaData = std::unique_ptr<jsMsgMetaData, Destroy<jsMsgMetaData_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroy<jsStreamInfo_Destroy>>;

// The client library while a thread of ours uses it.  That thread and those of the library take no
// signals, so that a connection that breaks while it is written to ends nobody; what the process
// does about SIGPIPE stays what it was.  The last one that goes waits for the library's threads.
class Library {
 public:
  Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

 private:
  sigset_t signals_;
};

// Told from the library's threads, until the library is closed.
struct Listener {
  natsConnectionHandler closed = nullptr;
  natsErrHandler failed = nullptr;
  void* closure = nullptr;
};

// Null: `trouble` says why, for people.  Never connects again by itself.  Answers of the server
// come under `inbox`; empty: where the library has them.  Waits for `wait` at most, unless the name
// of a server is slow to resolve.
Connection connect(const EngineSettings& settings, const std::string& inbox,
                   std::chrono::milliseconds wait, const Listener& listener, std::string& trouble);

// The servers without passwords.
std::string shownUrl(const std::string& url);

// Why JetStream did not do what it was asked to do for a group, for people.
std::string refusal(natsStatus status, jsErrCode code, const std::string& group);

}  // namespace host::nats
