// What an administrator does to the streams of a server.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/nats/connection.h"
#include "tests/nats/server.h"

namespace test {

class Administrator {
 public:
  explicit Administrator(const Server& server, const std::string& userAndPassword = "");

  using Limits = std::function<void(jsStreamConfig&)>;
  void makeStream(const std::string& group, const Limits& limits);
  void updateStream(const std::string& group, const Limits& limits);
  void deleteStream(const std::string& group);
  void purge(const std::string& group);

  // As any program may: with bytes of its own, and with the header that tells of a sender, unless
  // null.  Once the stream has it.
  void publish(const std::string& group, const char* id, const std::string& bytes);

  // Whether the stream has numbered so many texts within a minute, kept or not.
  bool awaitLast(const std::string& group, uint64_t number);

 private:
  host::nats::Connection connection_;
  host::nats::JetStream jetStream_;
};

}  // namespace test
