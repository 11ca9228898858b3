#include "host/nats/line.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <charconv>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "host/nats/connection.h"

namespace host::nats {
namespace {

// Between sender and number.
constexpr char kTextsId[] = "-t-";

// Never destroyed: the client library calls back to the last.
struct Lines {
  std::mutex mutex;
  std::unordered_map<uintptr_t, std::weak_ptr<Line>> byNumber;
  uintptr_t last = 0;
};

Lines& lines() {
  static Lines& instance = *new Lines;
  return instance;
}

std::shared_ptr<Line> lineOf(void* closure) {
  const std::lock_guard lock(lines().mutex);
  const auto found = lines().byNumber.find(reinterpret_cast<uintptr_t>(closure));
  return found == lines().byNumber.end() ? nullptr : found->second.lock();
}

const char* idOf(natsMsg& message) {
  const char* value = nullptr;
  return natsMsgHeader_Get(&message, kIdHeader, &value) == NATS_OK ? value : nullptr;
}

// Nothing for what no messenger has sent: administrators may publish by hand, and foreign programs
// what they like.
std::optional<Parcel> parcelOf(natsMsg& message, const std::string& group) {
  const char* const header = idOf(message);
  const int size = natsMsg_GetDataLength(&message);
  if (!header || size < 0 || static_cast<size_t>(size) > kLongestText) return std::nullopt;
  const std::string_view id = header;
  const size_t dash = id.find('-');
  if (dash == std::string_view::npos || !isSender(id.substr(0, dash))) return std::nullopt;
  if (id.substr(dash, 3) != kTextsId) return std::nullopt;

  Parcel parcel;
  const char* const end = id.data() + id.size();
  const auto [last, error] = std::from_chars(id.data() + dash + 3, end, parcel.number);
  if (error != std::errc() || last != end || parcel.number == 0) return std::nullopt;
  parcel.group = group;
  parcel.sender = id.substr(0, dash);
  parcel.text.assign(natsMsg_GetData(&message), static_cast<size_t>(size));
  return parcel;
}

}  // namespace

std::string idOf(const Parcel& parcel) {
  return parcel.sender + kTextsId + std::to_string(parcel.number);
}

Line::Line(Mailbox& mailbox, std::string group)
    : group_(std::move(group)),
      descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mailbox_(&mailbox) {}

Line::~Line() {
  if (id_ != 0) {
    const std::lock_guard lock(lines().mutex);
    lines().byNumber.erase(id_);
  }
  if (descriptor_ >= 0) close(descriptor_);
}

void* Line::closure() {
  const std::lock_guard lock(lines().mutex);
  if (id_ == 0) {
    id_ = ++lines().last;
    lines().byNumber.emplace(id_, weak_from_this());
  }
  return reinterpret_cast<void*>(id_);  // NOLINT(performance-no-int-to-ptr): a number, no address
}

std::vector<Line::Answer> Line::answers() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(awake_, false)) {
    eventfd_t count = 0;
    eventfd_read(descriptor_, &count);
  }
  return std::exchange(answers_, {});
}

std::optional<std::string> Line::trouble() const {
  const std::lock_guard lock(mutex_);
  return trouble_;
}

bool Line::forbidden() const {
  const std::lock_guard lock(mutex_);
  return forbidden_;
}

void Line::wakeAfter(size_t answers) {
  const std::lock_guard lock(mutex_);
  wakeAfter_ = answers;
  if (!answers_.empty() && answers_.size() >= wakeAfter_) wake();
}

void Line::startAt(uint64_t next) {
  const std::lock_guard lock(mutex_);
  next_ = next;
}

void Line::skipTo(uint64_t next) {
  const std::lock_guard lock(mutex_);
  if (next <= next_) return;
  next_ = next;
  if (mailbox_) mailbox_->lost();
}

uint64_t Line::next() const {
  const std::lock_guard lock(mutex_);
  return next_;
}

void Line::stop() {
  const std::lock_guard lock(mutex_);
  mailbox_ = nullptr;
}

void Line::onText(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
  const Message owned(message);
  if (const auto line = lineOf(closure)) line->receive(*message);
}

void Line::onAnswer(jsCtx*, natsMsg* message, jsPubAck* accepted, jsPubAckErr* refused,
                    void* closure) {
  const Message owned(message);
  const auto line = lineOf(closure);
  if (!line) return;
  Answer answer;
  if (const char* id = idOf(*message)) answer.id = id;
  answer.accepted = accepted != nullptr;
  if (refused) {
    answer.status = refused->Err;
    answer.code = refused->ErrCode;
    if (refused->ErrText) answer.words = refused->ErrText;
  }
  line->answer(std::move(answer));
}

void Line::onClosed(natsConnection* connection, void* closure) {
  const auto line = lineOf(closure);
  if (!line) return;
  const char* why = nullptr;
  natsConnection_GetLastError(connection, &why);
  line->breakWith(std::string("the connection is gone") +
                  (why && *why ? std::string(" (") + why + ")" : ""));
}

// Without the server's own words: the library may be writing the next ones where they stand.
void Line::onError(natsConnection*, natsSubscription*, natsStatus status, void* closure) {
  const auto line = lineOf(closure);
  if (!line) return;
  if (status == NATS_NOT_PERMITTED) {
    line->breakWith(
        "the server does not let this user work in the lobby: use the lobby's own credentials, or "
        "have the administrator give them the rights that \"miscdisc notify setup\" shows",
        true);
  } else {
    line->breakWith(std::string("the server's deliveries broke off: ") +
                    natsStatus_GetText(status));
  }
}

void Line::receive(natsMsg& message) {
  jsMsgMetaData* made = nullptr;
  const bool fromTheStream = natsMsg_GetMetaData(&made, &message) == NATS_OK;
  const MetaData facts(made);
  std::optional<Parcel> parcel = parcelOf(message, group_);

  const std::lock_guard lock(mutex_);
  if (!mailbox_ || trouble_) return;
  if (!fromTheStream) return mailbox_->stranger();
  if (facts->Sequence.Consumer != nextDelivery_) {
    trouble_ = "a delivery of the server went astray";
    wake();
    return;
  }
  ++nextDelivery_;
  if (facts->Sequence.Stream < next_) return;
  // The stream did not keep what lies between.
  if (facts->Sequence.Stream > next_) mailbox_->lost();
  next_ = facts->Sequence.Stream + 1;
  if (parcel) {
    mailbox_->arrived(std::move(*parcel));
  } else {
    mailbox_->stranger();
  }
}

void Line::answer(Answer answer) {
  const std::lock_guard lock(mutex_);
  const bool refused = !answer.accepted;
  answers_.push_back(std::move(answer));
  if (refused || answers_.size() >= wakeAfter_) wake();
}

void Line::breakWith(std::string words, bool forbidden) {
  const std::lock_guard lock(mutex_);
  if (!trouble_) {
    trouble_ = std::move(words);
    forbidden_ = forbidden;
  }
  wake();
}

void Line::wake() {
  if (!std::exchange(awake_, true)) eventfd_write(descriptor_, 1);
}

}  // namespace host::nats
