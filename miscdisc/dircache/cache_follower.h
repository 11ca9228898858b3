// Keeps this process's directory cache up to date with the files that other machines of the lobby
// add and remove.
//
// It hears the notification server on the messenger's thread, and only keeps the texts there.  The
// application's user-interface thread applies them:
//
//   messenger's thread   a text comes in --> it waits --> wake()
//   application          wakes up --> apply() --> listings patched, file by file
//
// No folder is read for a text.  A listing that was never read needs no patch, and a cache that
// was never filled is not filled.  Where a file cannot be patched, the listings of its volume are
// forgotten, and read again when somebody asks for them: when it was removed and is gone from the
// disk already, or when its volume cannot be reached.  When texts were lost, on the way or because
// too many waited here, all listings are.
//
// What is no text about a file of this machine's volumes (dircache/cache_text.h) counts as ignored;
// the first one of a follower is logged.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "miscdisc/platform/values/net_message.h"
#include "miscdisc/platform/values/val_server.h"

struct CacheEvent {
  enum class Kind {
    kAdded,
    kRemoved,
    kRescan,   // without a path: every listing was forgotten
    kIgnored,  // on no volume of this machine
  };
  Kind kind;
  // The layer file name; of what is ignored, the path as it came.
  WString path{};
};

class MISCDISC_EXPORT CacheFollower : private ValClientBase {
 public:
  // What apply() does at most in one call.
  static constexpr size_t kMostEvents = 64;
  // What may wait; beyond either, all of it becomes one rescan.
  static constexpr size_t kMostWaiting = 65536;  // texts
  static constexpr size_t kMostBytes = size_t{64} * 1024 * 1024;

  // wake is called when apply() has something to do: on the messenger's thread with the first text
  // that waits, and by apply() itself when that leaves something for its next call.  It only makes
  // the user-interface thread call apply() soon, for example by writing to an eventfd: it must
  // not wait for that thread, nor destroy the follower.
  explicit CacheFollower(std::function<void()> wake);

  // Waits for a wake() in progress; none follows.  What waits is dropped.
  ~CacheFollower() override;

  // Applies what waits, the oldest first, and says what it was; empty when nothing waits.  On the
  // thread that uses the cache.
  std::vector<CacheEvent> apply();

  uint64_t ignored() const { return ignored_; }  // texts so far; from any thread

  void notify(const NotifyMsg& msg) override;  // for the notification server

 private:
  class WakeForRest;
  using Presence = std::map<wchar_t, bool>;  // of volumes, as asked during one apply()

  void keep(NetMessage message);
  void ignore(const String& text, const char* why);
  std::optional<NetMessage> takeNext();
  bool isWaiting();
  CacheEvent applied(const NetMessage& message, Presence& presence);

  const std::function<void()> wake_;
  std::mutex mutex_;  // of what follows
  std::deque<NetMessage> waiting_;
  size_t waitingBytes_ = 0;
  std::atomic<uint64_t> ignored_{0};
};
