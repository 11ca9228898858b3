// A session bus of a test's own, which the machines that start afterwards use.
#pragma once

#include <sys/types.h>

#include <string>

namespace test {

class SessionBus {
 public:
  // The bus drops what is for a program that has this many bytes to read already.
  explicit SessionBus(long mostOutgoingBytes = 100'000'000);
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;
  ~SessionBus();

  void kill();     // without a word to anybody
  void restart();  // after kill(), at the same address
  void stop();     // it takes connections and says nothing, until
  void resume();

  const std::string& address() const { return address_; }

 private:
  void start();

  std::string folder_, address_;
  pid_t process_ = 0;
};

}  // namespace test
