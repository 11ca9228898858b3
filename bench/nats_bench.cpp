// What a text costs over a NATS server: from sender to receiver, and 20,000 of them at once,
// against the client library alone on the same server, in turn.  Ends with 1 when a ratio is beyond
// its bound.
#include <sys/eventfd.h>

#include <atomic>
#include <cstdio>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/timing.h"
#include "host/nats/connection.h"
#include "host/nats/names.h"
#include "tests/nats/server.h"

namespace {

constexpr char kOurGroup[] = "//bench/Ours";
constexpr char kBareGroup[] = "//bench/Bare";
constexpr int kSingles = 2000;
constexpr int kBurst = 20000;
constexpr int kBursts = 15;
const std::string kText(100, 'x');

// Counts what has arrived.
class Count {
 public:
  void add() {
    if (count_.fetch_add(1) + 1 >= wanted_) count_.notify_all();
  }
  void await(int wanted) {
    wanted_ = wanted;
    for (int now = count_; now < wanted; now = count_) count_.wait(now);
  }
  int now() const { return count_; }

 private:
  std::atomic<int> count_ = 0, wanted_ = 1;
};

// The least that a messenger needs.
class Mailbox final : public host::Mailbox {
 public:
  Mailbox(const host::EngineSettings& settings, std::string sender)
      : sender_(std::move(sender)),
        engine_(test::makeEngine(settings)),
        thread_([this] { engine_->run(*this); }) {}

  ~Mailbox() {
    {
      const std::lock_guard lock(mutex_);
      end_ = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    }
    eventfd_write(descriptor_, 1);
    thread_.join();
  }

  void send() {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({host::Parcel::Kind::kText, kOurGroup, sender_, ++number_, kText});
    if (!std::exchange(rung_, true)) eventfd_write(descriptor_, 1);
  }

  Count arrivals, connections;

  int descriptor() const override { return descriptor_; }
  std::string group() override {
    const std::lock_guard lock(mutex_);
    eventfd_t ignored = 0;
    if (std::exchange(rung_, false)) eventfd_read(descriptor_, &ignored);
    return kOurGroup;
  }
  std::optional<host::Parcel> take() override {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) return std::nullopt;
    host::Parcel parcel = std::move(waiting_.front());
    waiting_.pop_front();
    return parcel;
  }
  std::optional<std::chrono::steady_clock::time_point> end() override {
    const std::lock_guard lock(mutex_);
    return end_;
  }
  void arrived(host::Parcel parcel) override {
    if (parcel.text.size() == kText.size()) arrivals.add();
  }
  void stranger() override { fail("a text of another shape came"); }
  void lost() override { fail("a text was lost"); }
  void undeliverable(const host::Parcel&, const std::string& why) override { fail(why); }
  void state(bool connected, const std::string& words) override {
    if (!connected) fail(words);
    connections.add();
  }

 private:
  static void fail(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::_Exit(2);
  }

  const int descriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const std::string sender_;
  std::mutex mutex_;
  std::deque<host::Parcel> waiting_;
  bool rung_ = false;
  uint64_t number_ = 0;
  std::optional<std::chrono::steady_clock::time_point> end_;
  std::unique_ptr<host::Engine> engine_;
  std::thread thread_;
};

void check(natsStatus status) {
  if (status == NATS_OK) return;
  std::fprintf(stderr, "the client library alone: %s\n", natsStatus_GetText(status));
  std::exit(2);
}

// A connection of the client library.
class Bare {
 public:
  explicit Bare(const std::string& url) {
    natsConnection* connection = nullptr;
    check(natsConnection_ConnectTo(&connection, url.c_str()));
    connection_.reset(connection);
    jsOptions options;
    jsOptions_Init(&options);
    options.PublishAsync.MaxPending = kBurst;
    jsCtx* context = nullptr;
    check(natsConnection_JetStream(&context, connection, &options));
    jetStream_.reset(context);
  }

  void listen() {
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Stream = stream_.c_str();
    options.Ordered = true;
    options.Config.DeliverPolicy = js_DeliverNew;
    natsSubscription* subscription = nullptr;
    check(js_Subscribe(&subscription, jetStream_.get(), subject_.c_str(), onText, &arrivals,
                       nullptr, &options, nullptr));
    subscription_.reset(subscription);
    check(natsSubscription_SetPendingLimits(subscription, -1, -1));
  }

  // Under an id, as whoever wants no text twice has to.
  void send() {
    const std::string id = "bare-" + std::to_string(++number_);
    jsPubOptions options;
    jsPubOptions_Init(&options);
    options.MsgId = id.c_str();
    check(js_PublishAsync(jetStream_.get(), subject_.c_str(), kText.data(),
                          static_cast<int>(kText.size()), &options));
  }

  void awaitConfirmations() { check(js_PublishAsyncComplete(jetStream_.get(), nullptr)); }

  Count arrivals;

 private:
  static void onText(natsConnection*, natsSubscription*, natsMsg* message, void* arrivals) {
    static_cast<Count*>(arrivals)->add();
    natsMsg_Destroy(message);
  }

  const std::string stream_ = host::nats::streamOf(kBareGroup);
  const std::string subject_ = host::nats::subjectOf(kBareGroup);
  host::nats::Connection connection_;
  host::nats::JetStream jetStream_;
  host::nats::Subscription subscription_;
  int number_ = 0;
};

// The time of that many texts from the sender to the receiver.
template <typename Sender, typename Receiver>
double carry(Sender& sender, Receiver& receiver, int texts) {
  const int wanted = receiver.arrivals.now() + texts;
  return microseconds([&] {
    for (int text = 0; text < texts; ++text) sender.send();
    receiver.arrivals.await(wanted);
    return receiver.arrivals.now() == wanted;
  });
}

}  // namespace

int main() {
  const test::Server server;
  const host::EngineSettings settings{server.url(), "", ""};
  for (const char* group : {kOurGroup, kBareGroup}) {
    const std::string why = test::makeStream(settings, group);
    if (!why.empty()) {
      std::fprintf(stderr, "%s\n", why.c_str());
      return 2;
    }
  }
  Mailbox sender(settings, "a1"), receiver(settings, "b1");
  sender.connections.await(1);
  receiver.connections.await(1);
  Bare bareSender(server.url()), bareReceiver(server.url());
  // Who works in a lobby hears it, and the server gives a text back to its sender, too.
  for (Bare* const bareOne : {&bareSender, &bareReceiver}) bareOne->listen();

  std::vector<double> ours, bare;
  for (int single = 0; single < kSingles; ++single) {
    ours.push_back(carry(sender, receiver, 1));
    bare.push_back(carry(bareSender, bareReceiver, 1));
  }
  std::vector<double> ourBursts, bareBursts;
  for (int burst = 0; burst < kBursts; ++burst) {
    ourBursts.push_back(carry(sender, receiver, kBurst));
    bareBursts.push_back(carry(bareSender, bareReceiver, kBurst));
    bareSender.awaitConfirmations();
  }
  printRatioHeading();
  const bool quick = printRatio("send to receive", ours, bare, 1.2);
  return printRatio("20,000 texts", ourBursts, bareBursts, 1.3) && quick ? 0 : 1;
}
