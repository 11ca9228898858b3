// Watching what this machine sees: drives, the project space, and what others say of files.
//
// All of it happens on a thread of its own, so that storage that hangs keeps nobody from reading
// keys or ending the command.  It looks as every reading command does: nobody is logged in, no lock
// is taken or probed, nothing is written.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "console/drives_view.h"
#include "console/events.h"
#include "console/space.h"

namespace console {

// What is watched.
struct Watched {
  bool drives = true;
  bool space = true;
  bool files = true;
};

// One look.
struct Sight {
  std::chrono::steady_clock::time_point time;
  WString user;
  WString lobby;  // empty: none
  DriveList list;
  Formats formats;
  std::vector<DriveView> drives;  // of the list
  Space space;
};

// Ready for people and for programs.
struct Event {
  Json document;
  std::string words;  // of a file: "added /mnt/rushes-a/Material/A001.mxf"; otherwise empty
};

// What happened between two looks.  Nothing is said of people and locks while their space cannot be
// seen: they are where they were.
std::vector<Event> eventsBetween(const Sight* before, const Sight& now, const Watched& watched);

class Observing {
 public:
  // Looks at once and then every second; wakes when there is something new.
  Observing(const Options& options, const Watched& watched, Wakeup& wakeup);
  Observing(const Observing&) = delete;
  Observing& operator=(const Observing&) = delete;
  ~Observing() = default;  // REQUIRES: stop()

  std::shared_ptr<const Sight> latest();  // null before the first look is over
  // After the last ones it throws what has ended the looking, if anything did.
  std::vector<Event> takeEvents();

  // Whoever waits for storage that hangs is left behind: then it is false, and only the end of the
  // process may follow.
  bool stop();

 private:
  class Ear;

  void run();
  void observe();
  bool isEnding();
  void look();
  void post(std::vector<Event> events, std::shared_ptr<const Sight> sight);

  const Options options_;
  const Watched watched_;
  Wakeup& wakeup_;
  Wakeup news_;  // texts came in, or this is the end
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  bool ended_ = false;
  std::exception_ptr failure_;
  std::shared_ptr<const Sight> latest_;
  std::vector<Event> events_;
  std::thread thread_;  // built last: it uses the others
};

}  // namespace console
