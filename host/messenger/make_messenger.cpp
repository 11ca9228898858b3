#include "host/messenger/make_messenger.h"

#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "host/messenger/dbus_engine.h"
#include "host/messenger/engine.h"
#include "host/messenger/messenger_core.h"
#include "host/messenger/nats_plugin.h"
#include "host/settings.h"

namespace host {
namespace {

// Null, and why.
std::unique_ptr<Engine> makeEngine(const Settings::Messenger& wanted, std::string& why) {
  if (wanted.engine == "none") {
    why = "the settings want no messenger: engine is \"none\" in [messenger]";
    return nullptr;
  }
  if (wanted.engine == "nats") {
    return makeNatsEngine({wanted.url, wanted.credentials, wanted.ca}, why);
  }
  const auto address = sessionBusAddress();
  if (!address) {
    why =
        "there is no session bus: start this from a desktop or with dbus-run-session, or set "
        "[messenger] engine";
    return nullptr;
  }
  return std::make_unique<DbusEngine>(*address);
}

}  // namespace

Qx::Ptr<iNetMessager> makeMessenger(Qx::Ptr<iNetMessageReceiver> receiver) {
  const Settings::Messenger wanted = settings()->messenger;
  std::string why;
  std::unique_ptr<Engine> engine = makeEngine(wanted, why);
  if (engine) {
    try {
      return new Messenger(std::move(engine), wanted.engine, std::move(receiver));
    } catch (const std::system_error& error) {
      why = std::string("the machine has nothing left for a messenger: ") + error.what();
    }
  }
  setNoMessenger(wanted.engine, why);
  return nullptr;
}

}  // namespace host
