// Hears what the disk manager tells, and notes it among the calls of the platform as well.
#pragma once

#include "miscdisc/media/disk_manager.h"
#include "tests/fakes/fake_platform.h"

struct DriveListener : Notifiable {
  DriveListener() { DiskManager::notifier_.add(*this); }
  void notify(const NotifyMsg& msg) override {
    heard.push_back(msg.name());
    fakePlatform().note("told " + msg.name());
    types.push_back(msg.type());
    payloads += msg.payload() ? 1 : 0;
  }
  std::vector<String> heard;
  std::vector<int> types;
  int payloads = 0;
};
