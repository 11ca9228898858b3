#include "host/nats/nats_engine.h"

#include <algorithm>
#include <utility>

#include "host/messenger/pauses.h"
#include "host/nats/session.h"

namespace host::nats {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// False: the end has come, with nothing to send or no time left.
bool goesOn(Mailbox& mailbox, Traffic& traffic) {
  const auto end = mailbox.end();
  if (!end) return true;
  return Clock::now() < *end && (!traffic.out.empty() || traffic.fetch(mailbox));
}

// A lobby that we have left, and may not work in with these credentials, keeps nobody waiting.
void giveUp(Mailbox& mailbox, Traffic& traffic, const std::string& group,
            const std::string& words) {
  while (!traffic.out.empty() && traffic.out.front().parcel.group == group) {
    mailbox.undeliverable(traffic.out.front().parcel, words);
    traffic.out.pop_front();
  }
}

}  // namespace

NatsEngine::NatsEngine(EngineSettings settings) : settings_(std::move(settings)) {}

void NatsEngine::run(Mailbox& mailbox) {
  const Library library;
  Traffic traffic;
  Pauses pauses;
  std::string words;
  for (traffic.look(mailbox); goesOn(mailbox, traffic); traffic.look(mailbox)) {
    if (traffic.group.empty() && traffic.out.empty() && !traffic.fetch(mailbox)) {
      mailbox.state(false, "in no lobby: nothing to connect for");
      traffic.wait(mailbox, -1, milliseconds::max());
      continue;
    }

    std::optional<std::string> trouble;
    std::string forbidden;
    {
      Session session(settings_, mailbox, traffic);
      trouble = session.run();
      forbidden = session.forbiddenGroup();
      if (session.worked()) pauses.startAnew();
    }
    if (!trouble) continue;
    words = *trouble;
    mailbox.state(false, words);
    if (forbidden != traffic.group) giveUp(mailbox, traffic, forbidden, words);

    const auto again = Clock::now() + pauses.next();
    while (Clock::now() < again && mailbox.group() == traffic.group && goesOn(mailbox, traffic)) {
      auto wait = std::chrono::ceil<milliseconds>(again - Clock::now());
      if (const auto end = mailbox.end()) {
        wait = std::min(wait, std::chrono::ceil<milliseconds>(*end - Clock::now()));
      }
      traffic.wait(mailbox, -1, wait);
    }
  }
  if (words.empty()) words = "the server did not confirm it in time";
  for (const Traffic::Outgoing& outgoing : traffic.out) {
    mailbox.undeliverable(outgoing.parcel, words);
  }
}

}  // namespace host::nats
