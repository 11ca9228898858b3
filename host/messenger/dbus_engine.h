// Carries texts over the user's session bus: between the programs of one user on one machine.
//
// A text is a signal of the interface org.miscdisc.Messages1, sent from a path that follows from
// its group, so that the bus itself sorts out the groups.  The bus may lose signals: it drops what
// is for a program that does not read.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/messenger/engine.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// Where the environment says that the session bus is; nothing when it does not say, or when the
// usual place of the user's bus is empty.
MISCDISC_EXPORT std::optional<std::string> sessionBusAddress();

class MISCDISC_EXPORT DbusEngine final : public Engine {
 public:
  explicit DbusEngine(const std::string& address);
  ~DbusEngine() override;

  bool mayLoseUnnoticed() const override { return true; }
  void run(Mailbox& mailbox) override;
  bool carryNow() override;

 private:
  class Line;
  const std::unique_ptr<Line> line_;
};

}  // namespace host
