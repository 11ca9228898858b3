// Broadcast of messages to registered listeners.
//
// A call delivers to the listeners in the order in which they registered, one after the other,
// on the caller's thread.  Listeners may register and deregister during a call, themselves or
// others: who is added hears the next call, who is removed hears no more.  Deregistering from
// another thread waits until a call in progress is over, so that afterwards nothing of the
// listener is used.  A listener may be destroyed at any time; one that hears from other threads
// calls stopListening() first thing in its own destructor.
#pragma once

#include <memory>

#include "miscdisc/platform/values/dllist.h"
#include "miscdisc/platform/values/ref_count.h"
#include "miscdisc/platform/values/text.h"

class Notifier;

namespace Notification {

struct TypeDictionary {
  int general;             // messages told apart by their name
  int valueChanged;        // a value server has a new value
  int valueAboutToChange;  // a value server will get one
};

MISCDISC_EXPORT const TypeDictionary& typeDictionary();

}  // namespace Notification

class NotifyMsg {
 public:
  NotifyMsg() = default;
  NotifyMsg(const String& name, Qx::Ptr<iObject> payload)
      : name_(name), payload_(std::move(payload)) {}

  const String& name() const { return name_; }
  const Qx::Ptr<iObject>& payload() const { return payload_; }
  int type() const { return type_; }                  // 0 until it is delivered
  const Notifier* sender() const { return sender_; }  // null until it is delivered

 private:
  friend class Notifier;
  String name_;
  Qx::Ptr<iObject> payload_;
  int type_ = 0;
  const Notifier* sender_ = nullptr;
};

class MISCDISC_EXPORT NotifiableBase {
 public:
  NotifiableBase();
  NotifiableBase(const NotifiableBase&) = delete;
  NotifiableBase& operator=(const NotifiableBase&) = delete;
  virtual ~NotifiableBase();

  // A message of a notifier that this listener is registered with.
  virtual void notify(const NotifyMsg& msg);
  // The notifier, msg.sender(), is being destroyed; the registration is gone already.
  virtual void destroy(const NotifyMsg& msg);

 protected:
  void stopListening();  // deregisters from every notifier

 private:
  friend class Notifier;
  DLList registrations_;
};

class MISCDISC_EXPORT Notifiable : public NotifiableBase {
 public:
  // A message that somebody kept back and hands over now: the same as notify().
  virtual void bufNotify(const NotifyMsg& msg);
};

class MISCDISC_EXPORT Notifier {
 public:
  Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;
  ~Notifier();

  void add(NotifiableBase& listener);     // again: stays registered once
  void remove(NotifiableBase& listener);  // one that is not registered: nothing
  bool hasListeners() const;

  // Hands every listener a copy of msg that carries the type and this notifier.
  void call(const NotifyMsg& msg, int type);

  struct Channel;  // outlives whichever of notifier and listener goes first

 private:
  std::shared_ptr<Channel> channel_;
};
