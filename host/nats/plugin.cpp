#include "host/messenger/plugin.h"

#include "host/nats/nats_engine.h"
#include "host/nats/stream.h"
#include "miscdisc/platform/values/export.h"

MISCDISC_EXPORT host::Engine* miscdisc_nats_engine(const host::EngineSettings* settings) {
  return new host::nats::NatsEngine(*settings);
}

MISCDISC_EXPORT bool miscdisc_nats_make_stream(const host::EngineSettings* settings,
                                               const std::string* group, std::string* whyNot) {
  *whyNot = host::nats::makeStream(*settings, *group);
  return whyNot->empty();
}
