#include "host/nats/session.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "host/nats/names.h"

namespace host::nats {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// Published and not confirmed, at any time.
constexpr size_t kWindow = 4096;
constexpr size_t kWindowBytes = size_t{8} << 20;

constexpr milliseconds kRequest = 2s;        // connecting, and each request of JetStream
constexpr milliseconds kConfirmation = 20s;  // that the server takes for a text
constexpr milliseconds kInspection = 30s;    // between two looks at the stream
constexpr int kMostRefusals = 10;            // with the pauses between them, in some 15 seconds
constexpr int64_t kHeartbeat = 2000000000;   // nanoseconds between signs of life of the deliveries

milliseconds until(Clock::time_point when) {
  return std::chrono::ceil<milliseconds>(when - Clock::now());
}

// The bytes of the message's header, as the server counts them into its limit.
size_t headerSize(const std::string& id) {
  return sizeof("NATS/1.0\r\n: \r\n\r\n") - 1 + sizeof(kIdHeader) - 1 + id.size();
}

}  // namespace

void Traffic::look(Mailbox& mailbox) {
  std::string wanted = mailbox.group();
  if (wanted == group) return;
  group = std::move(wanted);
  next.reset();
}

void Traffic::wait(Mailbox& mailbox, int line, milliseconds wait) {
  std::array<pollfd, 2> both = {{{mailbox.descriptor(), POLLIN, 0}, {line, POLLIN, 0}}};
  poll(both.data(), line < 0 ? 1 : 2,
       static_cast<int>(std::clamp<int64_t>(wait.count(), 0, INT32_MAX)));
}

Traffic::Outgoing* Traffic::fetch(Mailbox& mailbox) {
  std::optional<Parcel> parcel = mailbox.take();
  if (!parcel) return nullptr;
  Outgoing outgoing;
  outgoing.id = idOf(*parcel);
  outgoing.parcel = std::move(*parcel);
  return &out.emplace_back(std::move(outgoing));
}

Session::Session(const EngineSettings& settings, Mailbox& mailbox, Traffic& traffic)
    : settings_(settings),
      mailbox_(mailbox),
      traffic_(traffic),
      line_(std::make_shared<Line>(mailbox, traffic.group)) {
  if (traffic.next) line_->startAt(*traffic.next);
}

Session::~Session() {
  line_->stop();
  if (traffic_.next) traffic_.next = line_->next();
  std::erase_if(traffic_.out, [](const Traffic::Outgoing& outgoing) { return outgoing.settled; });
  // Closed first: destroying an open subscription would ask the server, and wait.
  if (connection_) natsConnection_Close(connection_.get());
}

std::optional<std::string> Session::run() {
  if (!open()) return trouble_;
  for (;;) {
    for (const Line::Answer& answer : line_->answers()) {
      if (!settle(answer)) return trouble_;
    }
    if (auto trouble = line_->trouble()) {
      fail(*trouble);
      return trouble_;
    }
    if (inFlight_ > 0 && Clock::now() > traffic_.out.front().published + kConfirmation) {
      fail("the server does not confirm what it is sent");
      return trouble_;
    }
    if (mailbox_.group() != traffic_.group) return std::nullopt;
    if (traffic_.out.empty()) announce();
    if (!publish()) return trouble_;
    if (moved_) return std::nullopt;
    // After publish(), which may have cleared the mailbox's descriptor.
    const auto end = mailbox_.end();
    const bool needed = !traffic_.group.empty() && !end;
    if (traffic_.out.empty() && !needed) return std::nullopt;
    if (end && Clock::now() >= *end) return std::nullopt;
    if (Clock::now() - inspected_ > kInspection && subscription_) {
      StreamInfo info;
      if (!inspect(info)) return trouble_;
      line_->skipTo(info->State.FirstSeq);
    }
    pause(end);
  }
}

// The server does not say which text it means, so only where one was on its way.  After a failure
// one goes ahead.
std::string Session::forbiddenGroup() const {
  const bool isKnown = line_->forbidden() && inFlight_ == 1;
  return isKnown ? traffic_.out.front().parcel.group : "";
}

// How long the server may take for an answer.
milliseconds Session::patience() {
  const auto end = mailbox_.end();
  return std::max(end ? std::min(kRequest, until(*end)) : kRequest, milliseconds(1));
}

bool Session::fail(std::string words) {
  // What the server said about this connection explains more than that an answer did not come.
  if (const auto trouble = line_->trouble()) words = *trouble;
  trouble_ = std::move(words);
  return false;
}

bool Session::open() {
  const std::string& group =
      traffic_.group.empty() ? traffic_.out.front().parcel.group : traffic_.group;
  Listener listener;
  listener.closed = Line::onClosed;
  listener.failed = Line::onError;
  listener.closure = line_->closure();
  std::string why;
  connection_ = connect(settings_, inboxOf(group), patience(), listener, why);
  if (!connection_) return fail(why);

  jsOptions options;
  jsOptions_Init(&options);
  options.PublishAsync.MaxPending = kWindow + 1;
  options.PublishAsync.AckHandler = Line::onAnswer;
  options.PublishAsync.AckHandlerClosure = line_->closure();
  jsCtx* made = nullptr;
  const natsStatus status = natsConnection_JetStream(&made, connection_.get(), &options);
  jetStream_.reset(made);
  if (status != NATS_OK) return fail(refusal(status, jsErrCode(0), group));
  return traffic_.group.empty() || subscribe();
}

natsStatus Session::ask(const std::string& group, StreamInfo& info, jsErrCode& code) {
  jsOptions options;
  jsOptions_Init(&options);
  options.Wait = patience().count();
  jsStreamInfo* found = nullptr;
  const natsStatus status =
      js_GetStreamInfo(&found, jetStream_.get(), streamOf(group).c_str(), &options, &code);
  info.reset(found);
  return status;
}

bool Session::inspect(StreamInfo& info) {
  jsErrCode code = jsErrCode(0);
  const natsStatus status = ask(traffic_.group, info, code);
  inspected_ = Clock::now();
  return status == NATS_OK || fail(refusal(status, code, traffic_.group));
}

bool Session::subscribe() {
  StreamInfo info;
  if (!inspect(info)) return false;
  // A stream that has never held a text has no first one.
  const uint64_t first = std::max<uint64_t>(info->State.FirstSeq, 1);
  const uint64_t end = info->State.LastSeq + 1;
  if (!traffic_.next) {
    traffic_.next = end;
    // Nobody knows how much of it was sent after we had entered.
    if (end > 1) mailbox_.lost();
  } else if (info->Created != traffic_.streamMade || end < *traffic_.next) {
    // Made anew, or put back to an older state.
    mailbox_.lost();
    traffic_.next = info->Created != traffic_.streamMade ? first : end;
  }
  traffic_.streamMade = info->Created;
  line_->startAt(*traffic_.next);
  line_->skipTo(first);

  jsOptions options;
  jsOptions_Init(&options);
  options.Wait = patience().count();
  const std::string stream = streamOf(traffic_.group);
  jsSubOptions how;
  jsSubOptions_Init(&how);
  how.Stream = stream.c_str();
  how.ManualAck = true;
  how.Config.DeliverPolicy = js_DeliverByStartSequence;
  how.Config.OptStartSeq = line_->next();
  how.Config.AckPolicy = js_AckNone;
  how.Config.FlowControl = true;
  how.Config.Heartbeat = kHeartbeat;
  how.Config.MemoryStorage = true;
  how.Config.Replicas = 1;
  jsErrCode code = jsErrCode(0);
  natsSubscription* made = nullptr;
  const natsStatus status = js_Subscribe(&made, jetStream_.get(), subjectOf(traffic_.group).c_str(),
                                         Line::onText, line_->closure(), &options, &how, &code);
  subscription_.reset(made);
  if (status != NATS_OK) return fail(refusal(status, code, traffic_.group));
  // The mailbox has bounds of its own, and taking from here never blocks.
  natsSubscription_SetPendingLimits(made, -1, -1);
  return true;
}

bool Session::settle(const Line::Answer& answer) {
  const auto published = traffic_.out.begin();
  const auto end = published + static_cast<std::ptrdiff_t>(inFlight_);
  const auto asked = std::find_if(
      published, end, [&](const Traffic::Outgoing& outgoing) { return outgoing.id == answer.id; });
  if (asked == end) return true;
  if (answer.accepted) {
    asked->settled = true;
    traffic_.refusals = 0;
    dropSettled();
    announce();
    return true;
  }

  const std::string& group = asked->parcel.group;
  std::string why = "the server refuses a text: " + answer.words;
  if (answer.code == JSStreamStoreFailedErr) {
    why += ": an administrator raises the limits of the stream " + streamOf(group) +
           ", or lets it discard its oldest texts";
  }
  bool isFinal = answer.code == JSStreamMessageExceedsMaximumErr;
  const bool hasLeft = group != traffic_.group;
  const bool nobody = answer.status == NATS_NO_RESPONDERS;
  if (!isFinal && (nobody || hasLeft)) {
    // Nobody takes a text that has no stream, nor any while the server starts or ends.
    StreamInfo info;
    jsErrCode code = jsErrCode(0);
    const natsStatus status = ask(group, info, code);
    if (nobody && status != NATS_OK) why = refusal(status, code, group);
    // A lobby that we have left keeps nobody waiting, once the server works and still says no, or
    // has had the time to start and to choose who answers for the stream.
    isFinal = hasLeft && (status == (nobody ? NATS_NOT_FOUND : NATS_OK) ||
                          ++traffic_.refusals >= kMostRefusals);
  }
  if (isFinal) {
    mailbox_.undeliverable(asked->parcel, why);
    asked->settled = true;
    dropSettled();
    return true;
  }
  return fail(why);
}

void Session::dropSettled() {
  while (inFlight_ > 0 && traffic_.out.front().settled) {
    inFlightBytes_ -= traffic_.out.front().parcel.text.size();
    --inFlight_;
    traffic_.out.pop_front();
  }
}

bool Session::publish() {
  bool full = false;
  for (;;) {
    // After a failure one text goes ahead: were the first refused and those behind it taken, they
    // would overtake it.
    const size_t window = worked_ || traffic_.out.empty() ? kWindow : 1;
    full = inFlight_ >= window || inFlightBytes_ >= kWindowBytes;
    if (full || (inFlight_ == traffic_.out.size() && !traffic_.fetch(mailbox_))) break;
    Traffic::Outgoing& outgoing = traffic_.out[inFlight_];
    // Who sends into a new group listens there first, so that no answer is missed.
    const std::string& group = outgoing.parcel.group;
    moved_ = group != traffic_.group && mailbox_.group() != traffic_.group;
    if (moved_) return true;
    if (!publish(outgoing)) return false;
  }
  // Confirmations are settled by the hundreds, unless somebody waits for them.
  const bool last = mailbox_.end() || traffic_.group.empty();
  line_->wakeAfter(last ? inFlight_ : full ? (inFlight_ + 1) / 2 : kWindow / 4);
  return true;
}

bool Session::publish(Traffic::Outgoing& outgoing) {
  const Parcel& parcel = outgoing.parcel;
  const int64_t most = natsConnection_GetMaxPayload(connection_.get());
  const size_t size = parcel.text.size() + headerSize(outgoing.id);
  if (most > 0 && size > static_cast<size_t>(most)) {
    mailbox_.undeliverable(parcel, "the server takes " + std::to_string(most) +
                                       " bytes at most, and this text needs " +
                                       std::to_string(size) +
                                       ": raise max_payload in its configuration");
    traffic_.out.erase(traffic_.out.begin() + static_cast<std::ptrdiff_t>(inFlight_));
    return true;
  }

  if (subject_.empty() || subjectsGroup_ != parcel.group) {
    subjectsGroup_ = parcel.group;
    subject_ = subjectOf(parcel.group);
  }
  natsMsg* message = nullptr;
  natsStatus status = natsMsg_Create(&message, subject_.c_str(), nullptr, parcel.text.data(),
                                     static_cast<int>(parcel.text.size()));
  jsPubOptions options;
  jsPubOptions_Init(&options);
  options.MsgId = outgoing.id.c_str();
  if (status == NATS_OK) status = js_PublishMsgAsync(jetStream_.get(), &message, &options);
  natsMsg_Destroy(message);  // null when it was taken over
  if (status != NATS_OK) {
    return fail(std::string("a text cannot be published: ") + natsStatus_GetText(status));
  }
  outgoing.published = Clock::now();
  ++inFlight_;
  inFlightBytes_ += parcel.text.size();
  return true;
}

void Session::announce() {
  if (worked_) return;
  worked_ = true;
  mailbox_.state(true, "connected to " + shownUrl(settings_.url));
}

void Session::pause(std::optional<Clock::time_point> end) {
  milliseconds wait = kInspection;
  if (end) wait = std::min(wait, until(*end));
  if (inFlight_ > 0) wait = std::min(wait, until(traffic_.out.front().published + kConfirmation));
  traffic_.wait(mailbox_, line_->descriptor(), wait);
}

}  // namespace host::nats
