#include "host/messenger/messenger_core.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/files/open_file.h"
#include "host/messenger/arrivals.h"
#include "host/messenger/messenger.h"
#include "host/settings.h"
#include "host/signals_blocked.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/values/net_message.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// Since the start of the process, of all its messengers.
std::atomic<uint64_t> textsSent, textsReceived, textsDropped, rescansGiven;

// A receiver that takes longer has the thread that called it replaced as carrier.
constexpr std::chrono::milliseconds kPatience{5};

std::string hexDigits(uint64_t value) {
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

// Another one for each messenger on any machine.
std::string randomName() {
  uint64_t value = 0;
  while (getrandom(&value, sizeof value, 0) != sizeof value) continue;
  return hexDigits(value);
}

Descriptor makeBell() {
  Descriptor bell(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!bell) throw std::system_error(errno, std::generic_category(), "eventfd");
  return bell;
}

const std::string& rescan() {
  static const std::string text = NetMessage(NetMessage::Rescan, "").asString();
  return text;
}

// Of the application, not a rescan in its place.
bool isText(const Parcel& parcel) { return parcel.kind == Parcel::Kind::kText && !parcel.standsIn; }

// Who calls has the texts that follow to hand over, and maybe the engine to run.
std::optional<std::string> failureOf(const iNetMessageReceiver& receiver, const std::string& text) {
  try {
    receiver.receive(text);
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "it threw something that is no std::exception";
  }
  return {};
}

}  // namespace

class MessengerCore final : public Mailbox, public std::enable_shared_from_this<MessengerCore> {
 public:
  MessengerCore(std::unique_ptr<Engine> engine, const std::string& engineName,
                Qx::Ptr<iNetMessageReceiver> receiver, const MessengerTiming& timing)
      : engine_(std::move(engine)),
        engineName_(engineName),
        receiver_(std::move(receiver)),
        timing_(timing),
        mayLose_(engine_->mayLoseUnnoticed()),
        arrivals_(mayLose_ ? std::optional(timing.settling) : std::nullopt) {}

  void send(const std::string& text);
  void enter(const std::string& group);
  MessengerFacts facts() const;

  void start();
  void finish();
  // In a child of fork(), where nothing of the parent's threads and mutexes can be ended.
  void stay() { self_ = shared_from_this(); }

  // What the engine calls.
  int descriptor() const override { return bell_.number(); }
  std::string group() override;
  std::optional<Parcel> take() override;
  std::optional<Time> due() override;
  std::optional<Time> end() override;
  void arrived(Parcel parcel) override;
  bool arrivedTogether(std::vector<Parcel>& parcels) override;
  void stranger() override;
  void lost() override;
  void undeliverable(const Parcel& parcel, const std::string& why) override;
  void state(bool connected, const std::string& words) override;

 private:
  struct Item {
    std::string text;
    bool rescan;
  };
  enum class Once { kTooLong, kTooMany, kTooManyCame, kUndeliverable, kReceiver };
  using Lock = std::unique_lock<std::mutex>;

  void work(bool carries);
  bool carry();
  bool standBy();
  void handOver(Lock& lock);
  void writeNotes(Lock& lock);

  bool queue(const std::string& text);

  // With the mutex held.
  bool isConnected() const { return joined_ == group_; }
  void greet();
  void sort(Parcel parcel);
  bool mustTakeOver() const;
  void sleep(Lock& lock);
  void ring();
  void silence();
  void post(Parcel parcel);
  void postRescan();
  Parcel drop();
  void giveUpOldest();
  void scheduleMarks();
  void askForRescan();
  void keep(std::string text);
  bool hasNews() const;
  std::string strangersWords() const;
  void note(const std::string& words);
  void noteOnce(Once what, const std::string& words);
  void noteDropped(Once what, const std::string& words);
  void wake();

  const std::unique_ptr<Engine> engine_;
  const std::string engineName_;
  const Qx::Ptr<iNetMessageReceiver> receiver_;
  const MessengerTiming timing_;
  const bool mayLose_;
  const std::string name_ = randomName();  // each sender's name of ours begins with it
  const Descriptor bell_ = makeBell();

  mutable std::mutex mutex_;
  bool rung_ = false;
  bool changed_ = false;  // the group, the end or what is due, and run() has not asked

  std::string group_, sender_;
  uint64_t stays_ = 0;
  uint64_t number_ = 0;  // of the last text of this stay
  std::deque<Parcel> outgoing_;
  size_t outgoingBytes_ = 0;
  std::deque<Parcel> givenUp_;  // what stands for older ones that are not among them any more
  bool helloWanted_ = false, markWanted_ = false;
  std::deque<Time> marksDue_;
  Time carrierWaitsUntil_ = Time::max();
  std::optional<Time> end_;

  Arrivals arrivals_;
  std::deque<Item> incoming_;
  size_t incomingBytes_ = 0;
  bool rescanWaits_ = false;  // among the incoming

  std::optional<std::string> told_;    // the group that the engine knows of
  std::optional<std::string> joined_;  // the group whose texts it brings
  bool engineConnected_ = false, tried_ = false;
  uint64_t strangers_ = 0;
  uint64_t unsentAtEnd_ = 0;
  std::string whyDropped_;
  std::string words_ = kNotConnectedYet;  // the engine's
  std::set<Once> noted_;
  std::vector<std::string> notes_;  // for the log

  bool handing_ = false;       // a call of the receiver is underway
  bool carrierHands_ = false;  // by the thread that carries, so that nobody does, since then:
  Time handingSince_;
  uint64_t handings_ = 0, handingsSeen_ = 0;  // by that thread; when the other last looked
  bool takenOver_ = false;                    // the other carries on instead

  std::condition_variable standBy_;
  Time sleepsUntil_ = Time::min();  // the thread that stands by; min: it does not sleep

  std::thread threads_[2];
  std::shared_ptr<MessengerCore> self_;
};

// While the bell is rung somebody is about to take what waits.
void MessengerCore::send(const std::string& text) {
  if (!queue(text) || engine_->carryNow()) return;
  const std::lock_guard lock(mutex_);
  ring();
}

// True when somebody has to be told.
bool MessengerCore::queue(const std::string& text) {
  const std::lock_guard lock(mutex_);
  if (group_.empty() || end_) return false;
  ++number_;
  if (text.size() > kLongestText) {
    ++textsDropped;
    postRescan();
    noteDropped(Once::kTooLong, "a text of " + std::to_string(text.size()) +
                                    " bytes was not sent: the longest that is sent has " +
                                    std::to_string(kLongestText) +
                                    ", whatever carries it. Say where to read the rest");
    return !rung_;
  }
  post({Parcel::Kind::kText, group_, sender_, number_, text});
  while (outgoing_.size() > kMostTexts || outgoingBytes_ > kMostBytes) {
    giveUpOldest();
    noteDropped(Once::kTooMany,
                "more texts wait than are kept, so the oldest are not sent; " + words_);
  }
  return !rung_;
}

void MessengerCore::post(Parcel parcel) {
  outgoingBytes_ += parcel.text.size();
  outgoing_.push_back(std::move(parcel));
}

// Under the number that was given last.  One that waits is as good: the numbers that it leaves out
// make no second rescan.
void MessengerCore::postRescan() {
  const bool isLast =
      !outgoing_.empty() && outgoing_.back().sender == sender_ && outgoing_.back().standsIn;
  if (isLast) {
    outgoing_.back().number = number_;
  } else {
    post({Parcel::Kind::kText, group_, sender_, number_, rescan(), true});
  }
}

// The oldest that waits.
Parcel MessengerCore::drop() {
  Parcel oldest = std::move(outgoing_.front());
  outgoing_.pop_front();
  outgoingBytes_ -= oldest.text.size();
  if (isText(oldest)) ++textsDropped;
  return oldest;
}

// One rescan stands for all texts of a sender that are given up.
void MessengerCore::giveUpOldest() {
  Parcel oldest = drop();
  if (!givenUp_.empty() && givenUp_.back().sender == oldest.sender) givenUp_.pop_back();
  oldest.kind = Parcel::Kind::kText;
  oldest.text = rescan();
  oldest.standsIn = true;
  givenUp_.push_back(std::move(oldest));
}

void MessengerCore::enter(const std::string& group) {
  const std::lock_guard lock(mutex_);
  if (group == group_) return;
  if (hasNews()) post({Parcel::Kind::kMark, group_, sender_, number_, {}});
  marksDue_.clear();
  markWanted_ = false;

  group_ = group;
  sender_ = name_ + hexDigits(++stays_);
  number_ = 0;
  helloWanted_ = false;
  arrivals_.forgetAll();
  greet();
  incoming_.clear();
  incomingBytes_ = 0;
  rescanWaits_ = false;
  changed_ = true;
  ring();
}

MessengerFacts MessengerCore::facts() const {
  const std::lock_guard lock(mutex_);
  MessengerFacts facts;
  facts.engine = engineName_;
  facts.connected = isConnected();
  facts.tried = tried_;
  const std::string words =
      engineConnected_ && strangers_ > 0 ? words_ + "; " + strangersWords() : words_;
  const bool isOnTheWay = engineConnected_ && !isConnected();
  facts.state = !isOnTheWay      ? words
                : group_.empty() ? "leaving the lobby"
                                 : "entering the lobby " + group_;
  facts.group = group_;
  facts.whyDropped = whyDropped_;
  facts.waiting = static_cast<uint64_t>(std::count_if(
      outgoing_.begin(), outgoing_.end(), [](const Parcel& parcel) { return isText(parcel); }));
  return facts;
}

void MessengerCore::ring() {
  if (rung_) return;
  rung_ = true;
  eventfd_write(bell_.number(), 1);
}

void MessengerCore::silence() {
  if (!rung_) return;
  rung_ = false;
  eventfd_t ignored = 0;
  eventfd_read(bell_.number(), &ignored);
}

std::string MessengerCore::group() {
  const std::lock_guard lock(mutex_);
  changed_ = false;
  silence();
  // Whatever it brings from here on it brings for this one, and says so.
  if (told_ != group_) joined_.reset();
  told_ = group_;
  return group_;
}

// While there is something to take the bell stays rung: whoever sends then has nobody to wake.
std::optional<Parcel> MessengerCore::take() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(helloWanted_, false) && !end_) {
    return Parcel{Parcel::Kind::kHello, group_, sender_, number_, {}};
  }
  if (!givenUp_.empty()) {
    Parcel parcel = std::move(givenUp_.front());
    givenUp_.pop_front();
    if (parcel.sender == sender_) scheduleMarks();
    return parcel;
  }
  if (!outgoing_.empty()) {
    Parcel parcel = std::move(outgoing_.front());
    outgoing_.pop_front();
    outgoingBytes_ -= parcel.text.size();
    if (isText(parcel)) ++textsSent;
    if (parcel.kind == Parcel::Kind::kText && parcel.sender == sender_) scheduleMarks();
    return parcel;
  }
  if (!marksDue_.empty() && marksDue_.front() <= Clock::now()) {
    marksDue_.pop_front();
    markWanted_ = true;
  }
  if (std::exchange(markWanted_, false)) {
    return Parcel{Parcel::Kind::kMark, group_, sender_, number_, {}};
  }
  if (!changed_) silence();
  return {};
}

std::optional<Time> MessengerCore::end() {
  const std::lock_guard lock(mutex_);
  return end_;
}

// Texts of this stay that others may have missed, with no later one to tell them so.
bool MessengerCore::hasNews() const {
  return mayLose_ && number_ > 0 && (!marksDue_.empty() || !outgoing_.empty());
}

void MessengerCore::scheduleMarks() {
  if (!mayLose_) return;
  const Time now = Clock::now();
  marksDue_.clear();
  for (const auto delay : timing_.marks) marksDue_.push_back(now + delay);
  if (marksDue_.front() >= carrierWaitsUntil_) return;
  changed_ = true;
  ring();
}

std::optional<Time> MessengerCore::due() {
  const std::lock_guard lock(mutex_);
  carrierWaitsUntil_ = marksDue_.empty() ? Time::max() : marksDue_.front();
  if (marksDue_.empty()) return {};
  return marksDue_.front();
}

void MessengerCore::arrived(Parcel parcel) {
  const std::lock_guard lock(mutex_);
  sort(std::move(parcel));
  if (!incoming_.empty()) wake();
}

// Handing over on another thread would cost two switches for each text.  A receiver that takes its
// time has the two threads change places.
bool MessengerCore::arrivedTogether(std::vector<Parcel>& parcels) {
  Lock lock(mutex_);
  for (Parcel& parcel : parcels) sort(std::move(parcel));
  parcels.clear();
  if (handing_ || incoming_.empty()) return true;
  handing_ = carrierHands_ = true;
  handingSince_ = Clock::now();
  ++handings_;
  if (sleepsUntil_ > handingSince_ + 2 * kPatience) wake();
  while (!incoming_.empty() && !end_) handOver(lock);
  handing_ = carrierHands_ = false;
  return !std::exchange(takenOver_, false);
}

void MessengerCore::sort(Parcel parcel) {
  const bool isOwn = parcel.sender.starts_with(name_);
  if (isOwn || group_.empty() || parcel.group != group_ || end_) return;
  Arrivals::Verdict verdict{false, false};
  switch (parcel.kind) {
    case Parcel::Kind::kHello:
      if (!mayLose_ || number_ == 0) return;
      markWanted_ = true;
      ring();
      return;
    case Parcel::Kind::kMark:
      verdict = arrivals_.mark(parcel.sender, parcel.number, Clock::now());
      break;
    case Parcel::Kind::kText:
      if (parcel.number == 0) return;  // texts are numbered from 1
      verdict = arrivals_.text(parcel.sender, parcel.number, Clock::now());
      break;
  }
  // What the sender says about a loss is the same loss that the numbers show.
  const bool saysSo = verdict.deliver && parcel.text == rescan();
  if (verdict.rescan || saysSo) askForRescan();
  if (verdict.deliver && !saysSo) keep(std::move(parcel.text));
}

// Told at 1, 2, 4, 8, ... of them.
void MessengerCore::stranger() {
  const std::lock_guard lock(mutex_);
  if (std::has_single_bit(++strangers_)) note(strangersWords());
}

std::string MessengerCore::strangersWords() const {
  return "texts of another shape that were ignored: " + std::to_string(strangers_);
}

void MessengerCore::lost() {
  const std::lock_guard lock(mutex_);
  if (end_) return;
  // What others may not have heard of us, they hear of now.
  markWanted_ = mayLose_ && number_ > 0;
  if (markWanted_) ring();
  if (!group_.empty()) {
    arrivals_.lossTold();
    askForRescan();
    wake();
  }
}

// One that still waits to be handed over covers this loss, too: the receiver reads again only then.
void MessengerCore::askForRescan() {
  if (std::exchange(rescanWaits_, true)) return;
  ++rescansGiven;
  incoming_.push_back({rescan(), true});
}

void MessengerCore::keep(std::string text) {
  if (incoming_.size() >= kMostTexts || incomingBytes_ + text.size() > kMostBytes) {
    textsDropped +=
        1 + static_cast<uint64_t>(std::count_if(incoming_.begin(), incoming_.end(),
                                                [](const Item& item) { return !item.rescan; }));
    noteDropped(Once::kTooManyCame, "more texts came in than are kept until they are handed over");
    incoming_.clear();
    incomingBytes_ = 0;
    rescanWaits_ = false;
    askForRescan();
    return;
  }
  incomingBytes_ += text.size();
  incoming_.push_back({std::move(text), false});
}

void MessengerCore::undeliverable(const Parcel& parcel, const std::string& why) {
  const std::lock_guard lock(mutex_);
  if (isText(parcel)) ++textsDropped;
  if (isText(parcel) && end_) ++unsentAtEnd_;
  noteDropped(Once::kUndeliverable, "a text could not be sent: " + why);
  // A rescan that cannot be sent is followed by no other, which would fare no better.
  if (!isText(parcel) || parcel.group != group_ || group_.empty() || end_) return;
  ++number_;
  postRescan();
  ring();
}

void MessengerCore::state(bool connected, const std::string& words) {
  const std::lock_guard lock(mutex_);
  const bool wasConnected = isConnected();
  engineConnected_ = connected;
  joined_ = connected ? told_ : std::nullopt;
  if (!wasConnected) greet();
  if (words != words_) note(words);
  tried_ = true;
  words_ = words;
}

// A hello when somebody listens for the answers; until then state() has it to do.
void MessengerCore::greet() {
  if (!isConnected()) return;
  helloWanted_ = mayLose_ && !group_.empty();
  arrivals_.settle(Clock::now());
  if (helloWanted_) ring();
}

// The delivering thread writes it: the log's storage keeps nobody else waiting.
void MessengerCore::note(const std::string& words) {
  notes_.push_back(words);
  wake();
}

void MessengerCore::noteOnce(Once what, const std::string& words) {
  if (noted_.insert(what).second) note(words);
}

void MessengerCore::noteDropped(Once what, const std::string& words) {
  whyDropped_ = words;
  noteOnce(what, words);
}

void MessengerCore::writeNotes(Lock& lock) {
  const std::vector<std::string> notes = std::exchange(notes_, {});
  lock.unlock();
  for (const std::string& words : notes)
    Log("messenger (%s): %s\n", engineName_.c_str(), words.c_str());
  lock.lock();
}

void MessengerCore::wake() {
  if (sleepsUntil_ == Time::min()) return;
  sleepsUntil_ = Time::min();
  standBy_.notify_one();
}

// Of the two threads one carries and the other stands by.
void MessengerCore::work(bool carries) {
  while (true) {
    if (carries && !carry()) return;
    if (!standBy()) return;
    carries = true;
  }
}

// True when the other thread carries now.
bool MessengerCore::carry() {
  try {
    engine_->run(*this);
  } catch (const std::exception& error) {
    state(false, std::string("the messenger has ended: ") + error.what());
    return false;
  }
  const std::lock_guard lock(mutex_);
  return !end_;
}

// Does what is not the engine's, until it is to carry: true; or everything is over.
bool MessengerCore::standBy() {
  Lock lock(mutex_);
  while (!end_ || carrierHands_) {
    if (mustTakeOver()) {
      takenOver_ = true;
      carrierHands_ = false;
      return true;
    }
    if (!notes_.empty()) {
      writeNotes(lock);
    } else if (!incoming_.empty() && !handing_) {
      handing_ = true;
      handOver(lock);
      handing_ = false;
    } else {
      sleep(lock);
    }
  }
  return false;
}

bool MessengerCore::mustTakeOver() const {
  return carrierHands_ && (end_ || Clock::now() >= handingSince_ + kPatience);
}

// While texts come in it looks again now and then, which costs less than being woken for each.
void MessengerCore::sleep(Lock& lock) {
  sleepsUntil_ = Time::max();
  if (carrierHands_) {
    sleepsUntil_ = std::min(sleepsUntil_, handingSince_ + kPatience);
  } else if (std::exchange(handingsSeen_, handings_) != handings_) {
    sleepsUntil_ = std::min(sleepsUntil_, Clock::now() + kPatience);
  }
  standBy_.wait_until(lock, sleepsUntil_);
  sleepsUntil_ = Time::min();
}

void MessengerCore::handOver(Lock& lock) {
  const Item item = std::move(incoming_.front());
  incoming_.pop_front();
  if (item.rescan) {
    rescanWaits_ = false;
  } else {
    incomingBytes_ -= item.text.size();
    ++textsReceived;
  }
  lock.unlock();
  const std::optional<std::string> failure = failureOf(*receiver_, item.text);
  lock.lock();
  if (failure) {
    noteOnce(Once::kReceiver, "the program's receiver failed at a text, and is given the next: " +
                                  *failure + ". Have it catch what it throws");
  }
}

// The threads hold the core: one that ends later than the messenger still has it.
void MessengerCore::start() {
  const SignalsBlocked blocked;
  try {
    threads_[0] = std::thread([core = shared_from_this()] { core->work(true); });
    threads_[1] = std::thread([core = shared_from_this()] { core->work(false); });
  } catch (const std::system_error&) {
    finish();
    throw;
  }
}

void MessengerCore::finish() {
  {
    const std::lock_guard lock(mutex_);
    markWanted_ = hasNews();
    end_ = Clock::now() + timing_.flush;
    incoming_.clear();
    changed_ = true;
    ring();
    wake();
  }
  for (std::thread& thread : threads_) {
    if (!thread.joinable()) continue;
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
    } else {
      thread.join();
    }
  }
  Lock lock(mutex_);
  while (!outgoing_.empty()) unsentAtEnd_ += isText(drop());
  if (unsentAtEnd_ > 0) {
    whyDropped_ = "texts that were not sent when the messenger was released: " +
                  std::to_string(unsentAtEnd_) + "; " + words_;
    note(whyDropped_);
  }
  if (!notes_.empty()) writeNotes(lock);
}

namespace {

// The messengers of this process.  Never destroyed.
class Registry {
 public:
  static Registry& ofProcess() { return *current(); }

  void add(const std::shared_ptr<MessengerCore>& core) {
    const std::lock_guard lock(mutex_);
    std::erase_if(cores_, [](const auto& known) { return known.expired(); });
    cores_.push_back(core);
    core->enter(currentGroup());
  }

  // The group is asked for under the mutex: of two changes at once the last one stays.
  void updateGroup() {
    const std::lock_guard lock(mutex_);
    const bool anybody = std::any_of(cores_.begin(), cores_.end(),
                                     [](const auto& known) { return !known.expired(); });
    if (!anybody) return;
    const std::string group = currentGroup();
    for (const auto& known : cores_) {
      if (const auto core = known.lock()) core->enter(group);
    }
  }

  void setNone(const std::string& engine, const std::string& why,
               const std::string& whyDropped = {}) {
    const std::lock_guard lock(mutex_);
    none_.engine = engine;
    none_.tried = true;
    none_.state = why;
    none_.whyDropped = whyDropped;
  }

  MessengerFacts facts() {
    const std::lock_guard lock(mutex_);
    const auto core = cores_.empty() ? nullptr : cores_.back().lock();
    return core ? core->facts() : none_;
  }

 private:
  // The child of a fork() begins anew: the mutex may be held by a thread that is not there.
  static std::atomic<Registry*>& current() {
    static std::atomic<Registry*> registry = [] {
      pthread_atfork(nullptr, nullptr, [] { current() = new Registry; });
      return new Registry;
    }();
    return registry;
  }

  std::mutex mutex_;
  std::vector<std::weak_ptr<MessengerCore>> cores_;
  MessengerFacts none_;
};

}  // namespace

Messenger::Messenger(std::unique_ptr<Engine> engine, const std::string& engineName,
                     Qx::Ptr<iNetMessageReceiver> receiver, const MessengerTiming& timing)
    : core_(std::make_shared<MessengerCore>(std::move(engine), engineName, std::move(receiver),
                                            timing)),
      process_(getpid()) {
  Registry::ofProcess().add(core_);
  core_->start();
}

Messenger::~Messenger() {
  if (getpid() == process_) {
    core_->finish();
    const MessengerFacts last = core_->facts();
    Registry::ofProcess().setNone(last.engine, "the messenger was released", last.whyDropped);
  } else {
    core_->stay();
  }
}

void Messenger::send(const std::string& text) {
  if (getpid() == process_) core_->send(text);
}

void updateMessengerGroup() { Registry::ofProcess().updateGroup(); }

void setNoMessenger(const std::string& engineName, const std::string& why) {
  Registry::ofProcess().setNone(engineName, why);
}

std::string currentGroup() {
  const WString base = getProjectsBaseDirectory();
  if (base == getLocalProjectsDir()) return {};
  std::string group = Qx::UTF8FromWString(FsysConvertLocalToUNC(base));
  while (!group.empty() && group.back() == '\\') group.pop_back();
  return group;
}

MessengerFacts messengerFacts() {
  MessengerFacts facts = Registry::ofProcess().facts();
  if (facts.engine.empty()) {
    facts.engine = settings()->messenger.engine;
    facts.state = "nothing in this program has asked for a messenger";
  }
  facts.sent = textsSent;
  facts.received = textsReceived;
  facts.dropped = textsDropped;
  facts.rescans = rescansGiven;
  return facts;
}

}  // namespace host

MessengerState messengerState() {
  const host::MessengerFacts facts = host::messengerFacts();
  return {facts.connected, facts.tried, facts.state};
}
