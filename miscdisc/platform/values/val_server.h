// Observable values.
//
// Setting a value tells its observers, synchronously and on the thread that sets it.  The
// message carries no value: an observer asks for it.  Every set is announced, also of the value
// that is there already.
#pragma once

#include <vector>

#include "miscdisc/platform/values/notifier.h"

class MISCDISC_EXPORT ValServerBase {
 public:
  ValServerBase() = default;
  virtual ~ValServerBase();

  static const int valChangedMsgType_;
  static const int preValChangedMsgType_;

  // Each sends one message without a payload; with no observer nothing is sent.
  void notifyValChanged();
  void preNotifyValChanged();

  Notifier& notifier() { return notifier_; }

 private:
  Notifier notifier_;
};

// Remembers the value server that was built last and still lives, for tools that look at values
// from outside.
class MISCDISC_EXPORT LastValServer {
 public:
  LastValServer();
  LastValServer(const LastValServer&) : LastValServer() {}
  LastValServer& operator=(const LastValServer&) { return *this; }
  ~LastValServer();

  static LastValServer* getLastValServer();  // null when that one is gone
};

template <typename T>
class ValServer;

// May refuse a value before it is taken.  Outlives the server, or uninstalls itself.
template <typename T>
class ValGuard {
 public:
  virtual ~ValGuard() = default;
  virtual bool accepts(ValServer<T>& server, T proposed) = 0;
  virtual void serverGone(ValServer<T>& server) = 0;
};

template <typename T>
class ValServer : public ValServerBase, public LastValServer {
 public:
  // The result is of no use here: the call has every program with a value server refer to the
  // function that tools ask.
  ValServer() { LastValServer::getLastValServer(); }
  ValServer(const ValServer&) = delete;
  ~ValServer() override {
    if (!guard_) return;
    guard_->serverGone(*this);
    guard_ = nullptr;
  }

  virtual ValServer& operator=(const T& value) {
    updateAndNotify(value);
    return *this;
  }
  virtual ValServer& operator=(const ValServer& other) {
    updateAndNotify(other.value_);
    return *this;
  }
  virtual bool operator==(const ValServer& other) const { return value_ == other.value_; }

  // False, with nothing changed and nobody told, only when a guard refuses the value.
  virtual bool updateAndNotify(const T& value) {
    if (guard_ && !guard_->accepts(*this, value)) return false;
    value_ = value;
    notifyValChanged();
    return true;
  }

  const T& getVal() const { return value_; }
  void setGuard(ValGuard<T>* guard) { guard_ = guard; }  // null: none

 protected:
  T value_{};

 private:
  ValGuard<T>* guard_ = nullptr;
};

// Somebody who is registered with value servers.
class MISCDISC_EXPORT ValClientBase : public Notifiable {
 public:
  void registerWith(ValServerBase& server);      // again: stays registered once
  void deregisterFrom(ValServerBase* server);    // null, or one it is not registered with: nothing
  ValServerBase* getValServer(int index) const;  // in order of registration; null past the end

  void destroy(const NotifyMsg& msg) override;

 private:
  std::vector<ValServerBase*> servers_;
};

// Whom an observer reports to.
class MISCDISC_EXPORT ValObserverClient {
 public:
  virtual ~ValObserverClient();
  virtual void valueAboutToChange(ValClientBase& observer);
  virtual void valueChanged(ValClientBase& observer) = 0;
};

// Watches one value server and forwards its changes to a client, which must outlive it or be
// taken away with setClient(nullptr).
template <typename T>
class ValObserver : public ValClientBase {
 public:
  ~ValObserver() override { stopListening(); }

  void setClient(ValObserverClient* client) { client_ = client; }

  void notify(const NotifyMsg& msg) override {
    if (!client_) return;
    if (msg.type() == ValServerBase::valChangedMsgType_) client_->valueChanged(*this);
    if (msg.type() == ValServerBase::preValChangedMsgType_) client_->valueAboutToChange(*this);
  }

 private:
  ValObserverClient* client_ = nullptr;
};
