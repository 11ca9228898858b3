// Texts between machines over a NATS server that keeps them (JetStream): one stream per group,
// which an administrator has made.
//
// The server numbers the texts of a stream.  A receiver knows which one is due and goes on with it
// after a cut or a restart of the server; a number that the stream no longer has is a loss.  A
// sender keeps what is not confirmed and publishes it again.
#pragma once

#include "host/messenger/plugin.h"

namespace host::nats {

class NatsEngine : public Engine {
 public:
  explicit NatsEngine(EngineSettings settings);

  bool mayLoseUnnoticed() const override { return false; }
  void run(Mailbox& mailbox) override;

 private:
  const EngineSettings settings_;
};

}  // namespace host::nats
