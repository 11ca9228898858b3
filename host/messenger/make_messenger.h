// The messenger that the settings want.
#pragma once

#include "miscdisc/platform/messenger.h"

namespace host {

// Null where the settings want none or its engine is not there; then messengerFacts() says why.
Qx::Ptr<iNetMessager> makeMessenger(Qx::Ptr<iNetMessageReceiver> receiver);

}  // namespace host
