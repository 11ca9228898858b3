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

constexpr std::chrono::seconds kPatience{5};  // for the messenger to connect
constexpr std::chrono::milliseconds kMoment{250};
constexpr std::chrono::milliseconds kAttempt{3000};  // to connect to a server
constexpr std::chrono::milliseconds kBeat{2};

std::vector<std::pair<const char*, uint64_t>> countsOf(const host::MessengerFacts& facts) {
  return {{"sent", facts.sent},
          {"received", facts.received},
          {"waiting", facts.waiting},
          {"dropped", facts.dropped},
          {"rescans", facts.rescans}};
}

// Returns when the messenger has taken all texts, or is not worth waiting for: a carrier that
// cannot be reached at once has what the release of the messenger gives it.
host::MessengerFacts waitUntilTaken(size_t texts, const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const auto patience = std::max<std::chrono::milliseconds>(kPatience, options.deadline());
  while (true) {
    host::MessengerFacts facts = host::messengerFacts();
    const auto passed = std::chrono::steady_clock::now() - start;
    const bool failed = facts.tried && !facts.connected && passed >= options.deadline();
    const bool over = facts.group.empty() || facts.dropped > 0 || failed || passed >= patience;
    if (facts.sent >= texts || over) return facts;
    std::this_thread::sleep_for(kBeat);
  }
}

std::string whyNotTold(const host::MessengerFacts& before, const host::MessengerFacts& after,
                       size_t texts) {
  const bool refused = after.dropped > 0 && (before.connected || !before.tried);
  if (!refused) return "the others were not told: " + printable(before.state);
  return "the others were not told: " + std::to_string(after.dropped) + " of " +
         std::to_string(texts) + (texts == 1 ? " text was" : " texts were") +
         " not taken: " + printable(after.whyDropped);
}

// A text that was handed over may be refused afterwards: that is known when the messenger is gone.
Exit send(const std::vector<std::string>& texts, const Options& options) {
  host::MessengerFacts before;
  {
    const Notifications notifications;
    for (const std::string& text : texts) SendNotify(text);
    before = waitUntilTaken(texts.size(), options);
  }
  const host::MessengerFacts after = host::messengerFacts();
  if (after.sent >= texts.size() && after.dropped == 0) return kDone;
  complain(whyNotTold(before, after, texts.size()));
  return kFailed;
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
        "choose it with \"miscdisc lobby use\"");
    return false;
  }
  if (!lobbyNamed(name, options, exit)) return false;
  layOverConfiguration(Qx::WStringFromUTF8(name));
  workInConfiguredSpace();
  return true;
}

std::string fileText(NetMessage::Type type, const WString& file) {
  const WString path = absoluteFolder(file);
  if (path.find(L'\\') != WString::npos) return NetMessage(NetMessage::Rescan, "").asString();
  return NetMessage(type, Qx::UTF8FromWString(FsysConvertLocalToUNC(path))).asString();
}

namespace {

// What the text makes the others do.
std::string told(const std::string& text) {
  const Heard said = heard(text);
  if (said.kind == "rescan") return "read every folder again";
  return (said.kind == "text" ? "" : said.kind + " ") + printable(said.text);
}

}  // namespace

Exit sendTexts(Context& context, const std::vector<std::string>& texts) {
  const Options& options = context.options;
  const Exit exit = options.dryRun ? kDone : send(texts, options);
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
                         ": " + told(text) + "\n");
  }
  if (options.json) context.output.printDocument(document);
  return kDone;
}

std::string messengerInWords(const host::MessengerFacts& facts) {
  std::string words = printable(facts.engine + ": " + facts.state);
  const char* gap = "; ";
  for (const auto& [name, count] : countsOf(facts)) {
    if (count == 0) continue;
    words += gap + (name + (" " + std::to_string(count)));
    gap = ", ";
  }
  return words;
}

Json asJson(const host::MessengerFacts& facts) {
  Json object{{"engine", facts.engine}, {"connected", facts.connected}};
  addText(object, "state", Qx::WStringFromUTF8(facts.state));
  object["group"] = nullptr;
  if (!facts.group.empty()) addText(object, "group", Qx::WStringFromUTF8(facts.group));
  return object;
}

Json withCounts(const host::MessengerFacts& facts) {
  Json object = asJson(facts);
  for (const auto& [name, count] : countsOf(facts)) object[name] = count;
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
    texts_.push(getNetMessageServer()->getVal());
  }
  wakeup_.wake();
}

std::optional<std::string> Listener::next() {
  const std::lock_guard lock(mutex_);
  return texts_.next();
}

uint64_t Listener::leftOut() {
  const std::lock_guard lock(mutex_);
  return texts_.leftOut();
}

}  // namespace console
