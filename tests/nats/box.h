// A mailbox that a test fills and empties, and an engine that runs on it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/messenger/plugin.h"

namespace test {

class Box : public host::Mailbox {
 public:
  // What has come out of the engine.
  struct Seen {
    std::vector<host::Parcel> parcels;
    std::vector<std::string> texts;  // of the parcels
    int losses = 0;
    int strangers = 0;
    std::vector<std::pair<std::string, std::string>> undelivered;  // text, why
    bool connected = false;
    std::string words;
  };

  Box(std::string group, std::string sender);
  Box(const Box&) = delete;
  Box& operator=(const Box&) = delete;
  virtual ~Box();

  void send(const std::string& text);
  void enter(const std::string& group);
  void endWithin(std::chrono::milliseconds time);

  Seen seen() const;
  // Whether it comes true within a minute.
  bool await(const std::function<bool(const Seen&)>& condition) const;
  bool awaitTexts(size_t count) const;
  bool awaitConnected() const;
  bool awaitUndelivered() const;                   // at least one
  bool awaitWords(const std::string& part) const;  // while not connected

  int descriptor() const override { return descriptor_; }
  std::string group() override;
  std::optional<host::Parcel> take() override;
  std::optional<std::chrono::steady_clock::time_point> end() override;
  void arrived(host::Parcel parcel) override;
  void stranger() override;
  void lost() override;
  void undeliverable(const host::Parcel& parcel, const std::string& why) override;
  void state(bool connected, const std::string& words) override;

 private:
  void change(const std::function<void()>& change);

  const int descriptor_;
  const std::string sender_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::string group_;
  uint64_t number_ = 0;
  std::deque<host::Parcel> waiting_;
  std::optional<std::chrono::steady_clock::time_point> end_;
  Seen seen_;
};

// A process of its own in all but name: a mailbox and an engine on a thread.
class Member : public Box {
 public:
  Member(const host::EngineSettings& settings, const std::string& group, const std::string& sender);
  ~Member() override;

  void leave(std::chrono::milliseconds flush = std::chrono::seconds(2));  // and wait for it

 private:
  std::unique_ptr<host::Engine> engine_;
  std::thread thread_;
};

}  // namespace test
