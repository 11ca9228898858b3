#include "console/messages.h"

#include <algorithm>
#include <thread>

#include "console/drives.h"
#include "console/folders.h"
#include "console/holding.h"
#include "console/space.h"
#include "host/volumes.h"
#include "miscdisc/dircache/cache_text.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/values/net_message.h"

namespace console {
namespace {

constexpr std::chrono::seconds kPatience{5};  // for the messenger to connect and to send
constexpr std::chrono::milliseconds kMoment{250};
constexpr std::chrono::milliseconds kAttempt{3000};  // to connect to a server
constexpr std::chrono::milliseconds kBeat{2};
constexpr size_t kMostTexts = 65536;

Exit sayUnsent(const host::MessengerFacts& facts) {
  complain("the others were not told: " + facts.state);
  return kFailed;
}

Exit waitUntilSent(size_t texts, const Options& options) {
  const auto end = std::chrono::steady_clock::now() +
                   std::max<std::chrono::milliseconds>(kPatience, options.deadline());
  for (host::MessengerFacts facts = host::messengerFacts(); facts.sent < texts;
       facts = host::messengerFacts()) {
    const bool none = facts.group.empty();
    if (none || facts.dropped > 0 || std::chrono::steady_clock::now() >= end) {
      return sayUnsent(facts);
    }
    std::this_thread::sleep_for(kBeat);
  }
  return kDone;
}

}  // namespace

Notifications::Notifications() { BeginNotify(); }

Notifications::~Notifications() { EndNotify(); }

bool workInLobby(const std::optional<std::string>& lobby, const Options& options, Exit& exit) {
  exit = kUsage;
  if (configurationIsBroken()) return false;
  host::keepVolumeLetters(false);
  host::setVolumeDeadline(options.deadline());
  const std::string name =
      lobby.value_or(Qx::UTF8FromWString(LobbyUtils::getCurrentNetworkLobbyName()));
  if (name.empty()) {
    complain(
        "there are no other machines: this one works in no lobby.  Name one with --lobby, or "
        "choose "
        "it with \"miscdisc lobby use\"");
    return false;
  }
  if (!lobbyNamed(name, options, exit)) return false;
  layOverConfiguration(Qx::WStringFromUTF8(name));
  workInConfiguredSpace();
  return true;
}

WString networkPath(const WString& path) { return FsysConvertLocalToUNC(absoluteFolder(path)); }

Exit sendTexts(Context& context, const std::vector<std::string>& texts) {
  const Options& options = context.options;
  Exit exit = kDone;
  if (!options.dryRun) {
    const Notifications notifications;
    for (const std::string& text : texts) SendNotify(text);
    exit = waitUntilSent(texts.size(), options);
  }
  if (exit != kDone) return exit;
  const WString lobby = LobbyUtils::getCurrentNetworkLobbyName();
  Json document{{"schema", "miscdisc.notify/1"}, {"dry_run", options.dryRun}};
  addText(document, "lobby", lobby);
  document["texts"] = Json::array();
  for (const std::string& text : texts) {
    Json sent;
    addText(sent, "text", Qx::WStringFromUTF8(text));
    document["texts"].push_back(std::move(sent));
    if (options.json) continue;
    context.output.print((options.dryRun ? "would tell lobby " : "told lobby ") + printable(lobby) +
                         ": " + printable(text) + "\n");
  }
  if (options.json) context.output.printDocument(document);
  return kDone;
}

std::string messengerInWords(const host::MessengerFacts& facts) {
  return facts.engine + ": " + facts.state;
}

Json asJson(const host::MessengerFacts& facts) {
  Json object{{"engine", facts.engine}, {"connected", facts.connected}};
  addText(object, "state", Qx::WStringFromUTF8(facts.state));
  object["group"] = nullptr;
  if (!facts.group.empty()) addText(object, "group", Qx::WStringFromUTF8(facts.group));
  return object;
}

host::MessengerFacts lookAtMessenger(const Options& options) {
  if (!LobbyUtils::machineIsInNetworkMode()) {
    host::MessengerFacts facts = host::messengerFacts();
    facts.state = "not used: this machine works in no lobby";
    return facts;
  }
  const Notifications notifications;
  host::MessengerFacts facts = host::messengerFacts();
  // Releasing waits for an attempt with a server anyway, so its outcome is waited for.
  const auto patience = facts.engine == "nats" ? std::max(kAttempt, options.deadline())
                                               : std::min(kMoment, options.deadline());
  const auto end = std::chrono::steady_clock::now() + patience;
  // Without a group there is no messenger.
  while (!facts.tried && !facts.group.empty() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kBeat);
    facts = host::messengerFacts();
  }
  return facts;
}

Heard heard(const std::string& text) {
  const Heard otherwise{"text", Qx::WStringFromUTF8(text)};
  const char* ignored = nullptr;
  const auto message = cacheMessage(text, ignored);
  if (!message) return otherwise;
  if (message->type() == NetMessage::Rescan) return {"rescan", {}};
  const WString file = fileOfNetworkPath(Qx::WStringFromUTF8(message->text()));
  if (file.empty()) return otherwise;
  return {message->type() == NetMessage::FileAdded ? "added" : "removed",
          FsysFilenameToWin32Filename(file)};
}

Json asJson(const Heard& heard, const std::string& text) {
  const bool file = heard.kind == "added" || heard.kind == "removed";
  Json event = eventDocument((file ? "file_" : "") + heard.kind);
  if (file) addText(event, "path", heard.text);
  addText(event, "text", Qx::WStringFromUTF8(text));
  return event;
}

Listener::Listener(Wakeup& wakeup) : wakeup_(wakeup) { registerWith(*getNetMessageServer()); }

Listener::~Listener() { stopListening(); }

void Listener::notify(const NotifyMsg& msg) {
  if (msg.type() != ValServerBase::valChangedMsgType_) return;
  {
    const std::lock_guard lock(mutex_);
    texts_.push_back(getNetMessageServer()->getVal());
    if (texts_.size() > kMostTexts) {
      texts_.pop_front();
      ++dropped_;
    }
  }
  wakeup_.wake();
}

std::optional<std::string> Listener::next() {
  const std::lock_guard lock(mutex_);
  if (texts_.empty()) return {};
  std::string text = std::move(texts_.front());
  texts_.pop_front();
  return text;
}

uint64_t Listener::dropped() {
  const std::lock_guard lock(mutex_);
  return dropped_;
}

}  // namespace console
