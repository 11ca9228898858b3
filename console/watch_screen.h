// The page of "watch" on a terminal, drawn in place.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "console/observing.h"

namespace console {

class WatchScreen {
 public:
  // Throws std::runtime_error when the terminal cannot be drawn on.
  WatchScreen(const Output& output, const Options& options, const Watched& watched);
  WatchScreen(const WatchScreen&) = delete;
  WatchScreen& operator=(const WatchScreen&) = delete;
  ~WatchScreen();  // the terminal is as it was

  void add(std::vector<Event> events);
  // While it is frozen the page stays, whatever is added and shown.
  void show(std::shared_ptr<const Sight> sight);

  // Reads the keys that were pressed; false when the page is to be left.
  bool readKeys();

 private:
  class Terminal;
  enum class Order { kId, kName, kFree };

  void draw();
  void drawDrives(const Sight& sight);
  void drawSpace(const Sight& sight);
  void drawFiles();
  std::vector<const DriveView*> sorted(const Sight& sight) const;

  const Options options_;
  const Watched watched_;
  std::unique_ptr<Terminal> terminal_;
  std::shared_ptr<const Sight> sight_;   // that is shown
  std::shared_ptr<const Sight> latest_;  // while it is frozen, a later one
  std::deque<std::string> files_;        // the newest first
  std::deque<std::string> shownFiles_;
  Order order_ = Order::kId;
  bool frozen_ = false;
};

}  // namespace console
