// The messenger with an engine that pretends: what it is given to carry, and what the receiver
// hears of what comes in.
#include "host/messenger/messenger.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/messenger/messenger_core.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/host/home.h"

using namespace std::chrono_literals;
using namespace std::string_literals;
using host::Parcel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A child of fork has not the threads that keep what its parent has.
static bool isChild = false;
extern "C" int __lsan_is_turned_off() { return isChild ? 1 : 0; }

namespace {

constexpr auto kPatience = 60s;
constexpr const char* kRescan = "100 ";

// What several threads write and a test waits for.
template <typename T>
class Heard {
 public:
  void add(T value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    changed_.notify_all();
  }

  // The values, once there are so many; after a minute those that there are.
  std::vector<T> await(size_t count) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return values_.size() >= count; });
    return values_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<T> values_;
};

// What an engine of the tests does and has seen; outlives it.
struct Carrier {
  bool losesUnnoticed = false;
  bool isDead = false;                   // takes nothing, and ends at the last moment
  std::atomic<bool> isSlow = false;      // does not listen yet in the groups that it is told
  std::optional<std::string> listensTo;  // for the engine

  // Handed over by run() itself, in lists: those that came together.
  std::mutex mutex;
  std::vector<std::vector<Parcel>> coming;

  Heard<Parcel> taken;
  Heard<std::thread::id> runners;    // the threads that have called run()
  Heard<std::string> groups;         // each that it was told
  host::Mailbox* mailbox = nullptr;  // while it runs
  std::latch running{1};

  const int bell = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);
  ~Carrier() { close(bell); }

  void come(std::vector<Parcel> parcels) {
    const std::lock_guard lock(mutex);
    coming.push_back(std::move(parcels));
    eventfd_write(bell, 1);
  }

  std::vector<Parcel> nextToCome() {
    const std::lock_guard lock(mutex);
    eventfd_t ignored = 0;
    if (eventfd_read(bell, &ignored) != 0) return {};
    std::vector<Parcel> next = std::move(coming.front());
    coming.erase(coming.begin());
    return next;
  }

  std::vector<Parcel> awaitTexts(size_t count) const {
    for (size_t all = count;; ++all) {
      const std::vector<Parcel> parcels = taken.await(all);
      std::vector<Parcel> texts;
      for (const Parcel& parcel : parcels) {
        if (parcel.kind == Parcel::Kind::kText) texts.push_back(parcel);
      }
      if (texts.size() >= count || parcels.size() < all) return texts;
    }
  }
};

class PretendedEngine final : public host::Engine {
 public:
  explicit PretendedEngine(Carrier& carrier) : carrier_(carrier) {}

  bool mayLoseUnnoticed() const override { return carrier_.losesUnnoticed; }

  void run(host::Mailbox& mailbox) override {
    carrier_.mailbox = &mailbox;
    look(mailbox);
    carrier_.runners.add(std::this_thread::get_id());
    if (!carrier_.running.try_wait()) carrier_.running.count_down();
    while (!mailbox.end()) {
      pollfd ready[] = {{mailbox.descriptor(), POLLIN, 0}, {carrier_.bell, POLLIN, 0}};
      poll(ready, 2, millisecondsTo(mailbox.due()));
      std::vector<Parcel> parcels = carrier_.nextToCome();
      if (!parcels.empty() && !mailbox.arrivedTogether(parcels)) return;
      look(mailbox);
      if (!carrier_.isDead) takeAll(mailbox);
    }
    if (carrier_.isDead) {
      std::this_thread::sleep_until(*mailbox.end());
    } else {
      takeAll(mailbox);
    }
  }

 private:
  void look(host::Mailbox& mailbox) {
    const std::string group = mailbox.group();
    carrier_.groups.add(group);
    if (carrier_.isDead || carrier_.listensTo == group) return;
    carrier_.listensTo = group;
    if (!carrier_.isSlow) mailbox.state(true, "pretends");
  }

  static int millisecondsTo(std::optional<std::chrono::steady_clock::time_point> time) {
    if (!time) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*time - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<int64_t>(left.count(), 0));
  }

  void takeAll(host::Mailbox& mailbox) {
    while (auto parcel = mailbox.take()) carrier_.taken.add(*std::move(parcel));
  }

  Carrier& carrier_;
};

struct Receiver final : iNetMessageReceiver {
  explicit Receiver(Heard<std::string>& texts) : heard(texts) {}
  void receive(const std::string& text) const override {
    if (during) during(text);
    heard.add(text);
  }

  Heard<std::string>& heard;
  std::function<void(const std::string&)> during;
};

// In the lobby Alpha of the share //nas/projects, unless a test goes elsewhere.
class MessengerTest : public test::HomeTest {
 protected:
  MessengerTest() {
    test::configure("[volumes]\ndiscover = false\n[shares]\n'//nas/projects' = '" + test::home() +
                    "/nas'\n");
    enter("nas/Alpha");
  }
  ~MessengerTest() override { setProjectsBaseDirectory(getLocalProjectsDir()); }

  static void enter(const std::string& folder) {
    setProjectsBaseDirectory(Qx::WStringFromUTF8(test::home() + "/" + folder));
  }

  Qx::Ptr<iNetMessager> start(std::function<void(const std::string&)> during = {}) {
    const Qx::Ptr<Receiver> receiver(new Receiver(heard));
    receiver->during = std::move(during);
    Qx::Ptr<iNetMessager> messenger(new host::Messenger(std::make_unique<PretendedEngine>(carrier),
                                                        "pretended", receiver.get(), timing));
    carrier.running.wait();
    return messenger;
  }

  void awaitTold(const std::string& group) const {
    std::vector<std::string> groups;
    for (size_t i = 1; groups.empty() || groups.back() != group; ++i) {
      groups = carrier.groups.await(i);
      ASSERT_GE(groups.size(), i);
    }
  }

  void arrive(const std::string& sender, uint64_t number, const std::string& text,
              const std::string& group = R"(\\nas\projects\Alpha)") {
    carrier.mailbox->arrived({Parcel::Kind::kText, group, sender, number, text});
  }

  // What a dead engine leaves.
  std::vector<Parcel> takeAll() {
    std::vector<Parcel> parcels;
    while (auto parcel = carrier.mailbox->take()) parcels.push_back(*std::move(parcel));
    return parcels;
  }

  static Parcel parcel(const std::string& sender, uint64_t number, const std::string& text) {
    return {Parcel::Kind::kText, R"(\\nas\projects\Alpha)", sender, number, text};
  }

  void mark(const std::string& sender, uint64_t number) {
    carrier.mailbox->arrived({Parcel::Kind::kMark, R"(\\nas\projects\Alpha)", sender, number, ""});
  }

  static std::string log() { return test::readFile(test::home() + "/miscdisc.log").value_or(""); }

  Carrier carrier;
  Heard<std::string> heard;
  host::MessengerTiming timing{.settling = 1h, .marks = {1h, 1h}, .flush = 2s};
};

// An engine that may lose texts without noticing.
class LossyMessengerTest : public MessengerTest {
 protected:
  LossyMessengerTest() { carrier.losesUnnoticed = true; }
};

std::vector<std::string> textsOf(const std::vector<Parcel>& parcels) {
  std::vector<std::string> texts;
  for (const Parcel& parcel : parcels) texts.push_back(parcel.text);
  return texts;
}

size_t threads() {
  // A sanitizer may have a thread of its own, from the process's first one on.
  static const pid_t first = [] {
    pid_t id = 0;
    std::thread([&id] { id = gettid(); }).join();
    return id;
  }();
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    if (entry.path().filename() != std::to_string(first)) ++count;  // it may linger
  }
  return count;
}

// Within a minute: a thread that has ended may be seen for a moment more.
bool threadsBecome(size_t count) {
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (threads() != count && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return threads() == count;
}

// An engine that the end meets between its question for it and its taking of texts.
class InterruptedEngine final : public host::Engine {
 public:
  InterruptedEngine(std::latch& asked, bool& rings) : asked_(asked), rings_(rings) {}

  bool mayLoseUnnoticed() const override { return false; }

  void run(host::Mailbox& mailbox) override {
    mailbox.group();
    asked_.count_down();
    while (!mailbox.end()) std::this_thread::yield();
    while (mailbox.take()) continue;
    pollfd ready{mailbox.descriptor(), POLLIN, 0};
    rings_ = poll(&ready, 1, 0) == 1;
  }

 private:
  std::latch& asked_;
  bool& rings_;
};

}  // namespace

TEST_F(MessengerTest, TextsGoToTheGroupInOrderWithNumbers) {
  const auto messenger = start();
  messenger->send("8 a");
  messenger->send("9 b");
  const auto parcels = carrier.taken.await(2);
  ASSERT_EQ(parcels.size(), 2u);
  EXPECT_EQ(parcels[0].kind, Parcel::Kind::kText);
  EXPECT_EQ(parcels[0].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(parcels[0].number, 1u);
  EXPECT_EQ(parcels[0].text, "8 a");
  EXPECT_EQ(parcels[1].number, 2u);
  EXPECT_EQ(parcels[1].text, "9 b");
  EXPECT_EQ(parcels[0].sender, parcels[1].sender);
  EXPECT_THAT(parcels[0].sender, testing::MatchesRegex("[0-9a-f]+"));
}

TEST_F(MessengerTest, TakingTextsHidesNoEnd) {
  std::latch asked{1};
  bool rings = false;
  {
    const Qx::Ptr<Receiver> receiver(new Receiver(heard));
    const Qx::Ptr<iNetMessager> messenger(new host::Messenger(
        std::make_unique<InterruptedEngine>(asked, rings), "pretended", receiver.get(), timing));
    asked.wait();
  }
  EXPECT_TRUE(rings);
}

TEST_F(MessengerTest, TextsMayHoldAnyBytes) {
  const std::string every = [] {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    return bytes;
  }();
  const auto messenger = start();
  for (const std::string& text : {""s, "\0"s, "a\0b"s, every, "\xFF\xFE"s}) messenger->send(text);
  EXPECT_THAT(textsOf(carrier.taken.await(5)), ElementsAre("", "\0"s, "a\0b"s, every, "\xFF\xFE"));

  arrive("a", 1, "");
  arrive("a", 2, every);
  EXPECT_THAT(heard.await(2), ElementsAre("", every));
}

TEST_F(MessengerTest, ATextOf64KibibytesIsSentAndARescanInPlaceOfLongerOnes) {
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  messenger->send(std::string(65536, 'x'));
  messenger->send(std::string(65537, 'y'));
  messenger->send(std::string(1 << 20, 'z'));
  messenger->send("8 a");
  messenger->send(std::string(65537, 'y'));
  EXPECT_EQ(host::messengerFacts().waiting, 2u);
  const auto parcels = takeAll();
  ASSERT_EQ(parcels.size(), 4u);
  EXPECT_EQ(parcels[0].text.size(), 65536u);
  EXPECT_EQ(parcels[1].text, kRescan);
  EXPECT_EQ(parcels[1].number, 3u);
  EXPECT_EQ(parcels[2].text, "8 a");
  EXPECT_EQ(parcels[2].number, 4u);
  EXPECT_EQ(parcels[3].text, kRescan);
  EXPECT_EQ(parcels[3].number, 5u);
  EXPECT_EQ(host::messengerFacts().sent, 2u);
  EXPECT_EQ(host::messengerFacts().dropped, 3u);
}

TEST_F(MessengerTest, ATextThatIsTooLongWakesTheEngine) {
  const auto messenger = start();
  messenger->send(std::string(65537, 'y'));
  EXPECT_THAT(textsOf(carrier.taken.await(1)), ElementsAre(kRescan));
}

TEST_F(MessengerTest, AfterATextThatTheEngineGivesUpThereIsARescan) {
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  for (const char* text : {"8 a", "8 b", "8 c"}) messenger->send(text);
  const auto parcels = takeAll();
  ASSERT_EQ(parcels.size(), 3u);
  carrier.mailbox->undeliverable(parcels[0], "it was refused");
  carrier.mailbox->undeliverable(parcels[2], "it was refused");
  const auto instead = takeAll();
  ASSERT_EQ(instead.size(), 1u);
  EXPECT_EQ(instead[0].text, kRescan);
  EXPECT_EQ(instead[0].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(instead[0].sender, parcels[0].sender);
  EXPECT_EQ(instead[0].number, 5u);
  EXPECT_EQ(host::messengerFacts().dropped, 2u);

  carrier.mailbox->undeliverable(instead[0], "that was refused, too");
  EXPECT_THAT(takeAll(), IsEmpty());
  enter("nas/Beta");
  carrier.mailbox->undeliverable(parcels[1], "it was refused");  // of a group that was left
  EXPECT_THAT(takeAll(), IsEmpty());
}

TEST_F(MessengerTest, TheLogTellsOfTextsThatAreTooLongOnce) {
  {
    const auto messenger = start();
    messenger->send(std::string(65537, 'y'));
    EXPECT_EQ(host::messengerFacts().whyDropped,
              "a text of 65537 bytes was not sent: the longest that is sent has 65536, whatever "
              "carries it. Say where to read the rest");
    messenger->send(std::string(65538, 'y'));
    EXPECT_THAT(host::messengerFacts().whyDropped, HasSubstr("a text of 65538 bytes"));
  }
  const std::string said =
      "messenger (pretended): a text of 65537 bytes was not sent: the longest that is sent has "
      "65536, whatever carries it. Say where to read the rest\n";
  EXPECT_THAT(log(), HasSubstr(said));
  EXPECT_THAT(log(), testing::Not(HasSubstr("65538")));
}

TEST_F(MessengerTest, TextsOfOthersAreHandedOverInOrderWithoutALoss) {
  const auto messenger = start();
  arrive("a", 1, "8 a1");
  arrive("b", 1, "8 b1");
  arrive("a", 2, "8 a2");
  arrive("b", 2, "8 b2");
  EXPECT_THAT(heard.await(4), ElementsAre("8 a1", "8 b1", "8 a2", "8 b2"));
}

TEST_F(MessengerTest, TheReceiverIsCalledOneTextAtATimeOnOneThread) {
  std::atomic<int> inside = 0;
  std::atomic<bool> overlapped = false;
  std::mutex mutex;
  std::set<std::thread::id> callers;
  const auto messenger = start([&](const std::string&) {
    if (++inside > 1) overlapped = true;
    const std::lock_guard lock(mutex);
    callers.insert(std::this_thread::get_id());
    --inside;
  });
  std::thread other([&] {
    for (uint64_t i = 1; i <= 500; ++i) arrive("b", i, "b");
  });
  for (uint64_t i = 1; i <= 500; ++i) arrive("a", i, "a");
  other.join();
  EXPECT_EQ(heard.await(1000).size(), 1000u);
  EXPECT_FALSE(overlapped);
  const std::lock_guard lock(mutex);
  EXPECT_EQ(callers.size(), 1u);
  EXPECT_FALSE(callers.contains(std::this_thread::get_id()));
}

TEST_F(MessengerTest, TextsThatCameTogetherAreHandedOverInOrder) {
  const auto messenger = start();
  carrier.come({parcel("a", 1, "8 a1"), parcel("b", 1, "8 b1"), parcel("a", 3, "8 a3")});
  carrier.come({parcel("a", 4, "8 a4")});
  EXPECT_THAT(heard.await(5), ElementsAre("8 a1", "8 b1", kRescan, "8 a3", "8 a4"));
}

TEST_F(MessengerTest, AReceiverThatThrowsIsGivenTheNextTextAndTheLogTellsOnce) {
  {
    const auto messenger = start([](const std::string& text) {
      if (text == "8 a1") throw std::runtime_error("no room");
      if (text == "8 a3") throw 3;
    });
    carrier.come({parcel("a", 1, "8 a1"), parcel("a", 2, "8 a2")});  // the carrier calls
    EXPECT_THAT(heard.await(1), ElementsAre("8 a2"));
    arrive("a", 3, "8 a3");  // the other thread calls
    arrive("a", 4, "8 a4");
    EXPECT_THAT(heard.await(2), ElementsAre("8 a2", "8 a4"));
    messenger->send("8 own");
    EXPECT_THAT(textsOf(carrier.awaitTexts(1)), ElementsAre("8 own"));
    EXPECT_TRUE(host::messengerFacts().connected);
  }
  EXPECT_THAT(log(), HasSubstr("the program's receiver failed at a text, and is given the next: "
                               "no room. Have it catch what it throws\n"));
  EXPECT_THAT(log(), testing::Not(HasSubstr("it threw something")));
}

TEST_F(MessengerTest, WhileTheReceiverTakesItsTimeTextsAreCarriedOn) {
  std::latch on(1);
  const auto messenger = start([&](const std::string& text) {
    if (text == "8 a1") on.wait();
  });
  carrier.come({parcel("a", 1, "8 a1"), parcel("a", 2, "8 a2")});
  EXPECT_EQ(carrier.runners.await(2).size(), 2u);  // the other thread has taken over
  messenger->send("8 own");
  EXPECT_THAT(textsOf(carrier.awaitTexts(1)), ElementsAre("8 own"));
  carrier.come({parcel("a", 3, "8 a3")});
  on.count_down();
  EXPECT_THAT(heard.await(3), ElementsAre("8 a1", "8 a2", "8 a3"));
  carrier.come({parcel("a", 4, "8 a4")});
  EXPECT_EQ(heard.await(4).back(), "8 a4");
}

TEST_F(MessengerTest, TheThreadsMayChangePlacesAgainAndAgain) {
  // Whenever the carrier itself calls, until it is not the carrier any more.
  const auto messenger = start([&](const std::string&) {
    const auto runners = carrier.runners.await(1);
    const bool carries = runners.back() == std::this_thread::get_id();
    if (carries) carrier.runners.await(runners.size() + 1);
  });
  for (uint64_t i = 1; i <= 10; ++i) {
    carrier.come({parcel("a", i, std::to_string(i))});
    ASSERT_EQ(heard.await(i).size(), i);
  }
  EXPECT_THAT(heard.await(10), ElementsAre("1", "2", "3", "4", "5", "6", "7", "8", "9", "10"));
  EXPECT_GE(carrier.runners.await(2).size(), 2u);
}

TEST_F(MessengerTest, WhatWaitsGoesOutWhileTheReceiverIsStillCalled) {
  std::latch inside(1);
  {
    const auto messenger = start([&](const std::string&) {
      inside.count_down();
      carrier.awaitTexts(1);
    });
    carrier.come({parcel("a", 1, "8 a")});
    inside.wait();
    messenger->send("8 own");
  }
  EXPECT_THAT(textsOf(carrier.awaitTexts(1)), ElementsAre("8 own"));
}

TEST_F(MessengerTest, AReceiverThatTheCarrierCallsMayReleaseTheMessenger) {
  const size_t before = threads();
  Qx::Ptr<iNetMessager> messenger;
  std::latch known(1);
  messenger = start([&](const std::string&) {
    known.wait();
    messenger->send("8 own");
    messenger = nullptr;
  });
  carrier.come({parcel("a", 1, "8 a"), parcel("a", 2, "8 b")});
  known.count_down();
  EXPECT_THAT(heard.await(1), ElementsAre("8 a"));
  EXPECT_THAT(textsOf(carrier.awaitTexts(1)), ElementsAre("8 own"));
  EXPECT_TRUE(threadsBecome(before));
}

TEST_F(MessengerTest, OwnTextsDoNotComeBack) {
  const auto messenger = start();
  messenger->send("8 own");
  const auto own = carrier.taken.await(1);
  ASSERT_EQ(own.size(), 1u);
  carrier.mailbox->arrived(own[0]);
  arrive("a", 1, "8 a");
  EXPECT_THAT(heard.await(1), ElementsAre("8 a"));
}

TEST_F(MessengerTest, OwnTextsOfAnEarlierStayDoNotComeBackEither) {
  const auto messenger = start();
  messenger->send("8 own");
  enter("nas/Beta");
  enter("nas/Alpha");
  messenger->send("8 own again");
  const auto own = carrier.taken.await(2);
  ASSERT_EQ(own.size(), 2u);
  EXPECT_NE(own[0].sender, own[1].sender);
  for (const Parcel& parcel : own) carrier.mailbox->arrived(parcel);
  arrive("a", 1, "8 a");
  EXPECT_THAT(heard.await(1), ElementsAre("8 a"));
}

TEST_F(MessengerTest, TextsOfOtherGroupsAreNotHeard) {
  const auto messenger = start();
  arrive("a", 1, "8 beta", R"(\\nas\projects\Beta)");
  arrive("b", 1, "8 none", "");
  arrive("c", 1, "8 alpha");
  EXPECT_THAT(heard.await(1), ElementsAre("8 alpha"));
}

TEST_F(MessengerTest, TheGroupIsTheSameAtAnotherMountPoint) {
  const auto messenger = start();
  EXPECT_EQ(host::messengerFacts().group, R"(\\nas\projects\Alpha)");
  test::configure("[volumes]\ndiscover = false\n[shares]\n'//nas/projects' = '" + test::home() +
                  "/elsewhere/mounted'\n");
  enter("elsewhere/mounted/Alpha/");
  EXPECT_EQ(host::messengerFacts().group, R"(\\nas\projects\Alpha)");
}

TEST_F(MessengerTest, LocallyThereIsNoGroupAndTextsGoNowhere) {
  const auto messenger = start();
  setProjectsBaseDirectory(getLocalProjectsDir());
  EXPECT_EQ(host::messengerFacts().group, "");
  messenger->send("8 nowhere");
  arrive("a", 1, "8 empty group", "");
  arrive("a", 1, "8 old group");
  enter("nas/Alpha");
  messenger->send("8 here");
  arrive("a", 1, "8 heard");
  EXPECT_THAT(textsOf(carrier.awaitTexts(1)), ElementsAre("8 here"));
  EXPECT_THAT(heard.await(1), ElementsAre("8 heard"));
}

TEST_F(MessengerTest, ALocalFolderThatBecomesTheBaseEndsTheGroup) {
  const auto messenger = start();
  setLocalProjectsDir(Qx::WStringFromUTF8(test::home() + "/nas/Alpha"));
  EXPECT_EQ(host::messengerFacts().group, "");
  setLocalProjectsDir(WString());
  EXPECT_EQ(host::messengerFacts().group, R"(\\nas\projects\Alpha)");
}

TEST_F(MessengerTest, AnotherGroupMeansAnotherSenderAndNumbersFromOne) {
  const auto messenger = start();
  messenger->send("8 a");
  messenger->send("8 b");
  enter("nas/Beta");
  messenger->send("8 c");
  const auto parcels = carrier.taken.await(3);
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[1].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(parcels[1].number, 2u);
  EXPECT_EQ(parcels[2].group, R"(\\nas\projects\Beta)");
  EXPECT_EQ(parcels[2].number, 1u);
  EXPECT_NE(parcels[1].sender, parcels[2].sender);
}

TEST_F(MessengerTest, TextsThatWaitForTheOldGroupStillGoThere) {
  carrier.isDead = true;
  timing.flush = 0ms;
  std::vector<std::string> sent;
  {
    const auto messenger = start();
    messenger->send("8 alpha");
    enter("nas/Beta");
    messenger->send("8 beta");
    while (auto parcel = carrier.mailbox->take())
      sent.push_back(parcel->group + " " + parcel->text);
  }
  EXPECT_THAT(sent,
              ElementsAre(R"(\\nas\projects\Alpha 8 alpha)", R"(\\nas\projects\Beta 8 beta)"));
}

TEST_F(MessengerTest, TheEngineHearsOfEachGroup) {
  const auto messenger = start();
  enter("nas/Beta");
  awaitTold(R"(\\nas\projects\Beta)");
}

TEST_F(MessengerTest, ItIsConnectedWhenTheEngineListensInThePresentGroup) {
  const auto messenger = start();
  EXPECT_TRUE(host::messengerFacts().connected);
  carrier.isSlow = true;
  enter("nas/Beta");
  EXPECT_FALSE(host::messengerFacts().connected);
  EXPECT_EQ(host::messengerFacts().state, R"(entering the lobby \\nas\projects\Beta)");
  awaitTold(R"(\\nas\projects\Beta)");
  EXPECT_FALSE(host::messengerFacts().connected);
  carrier.mailbox->state(true, "pretends");
  EXPECT_TRUE(host::messengerFacts().connected);
  EXPECT_EQ(host::messengerFacts().state, "pretends");

  setProjectsBaseDirectory(getLocalProjectsDir());
  EXPECT_EQ(host::messengerFacts().state, "leaving the lobby");
  awaitTold("");
  carrier.mailbox->state(false, "has broken off");
  enter("nas/Beta");
  EXPECT_FALSE(host::messengerFacts().connected);
  EXPECT_EQ(host::messengerFacts().state, "has broken off");
}

// Whether the engine has heard of it is chance.
TEST_F(MessengerTest, WhoGoesAndComesBackAtOnceIsConnectedAgain) {
  const auto messenger = start();
  for (int i = 0; i < 200; ++i) {
    enter("nas/Beta");
    enter("nas/Alpha");
  }
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!host::messengerFacts().connected && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(host::messengerFacts().connected);
  EXPECT_EQ(host::messengerFacts().state, "pretends");
}

TEST_F(MessengerTest, OfAGroupLeftNothingIsHeardThatWaited) {
  std::latch inside(1), left(1);
  const auto messenger = start([&](const std::string& text) {
    if (text != "8 first") return;
    inside.count_down();
    left.wait();
  });
  arrive("a", 1, "8 first");
  inside.wait();
  arrive("a", 2, "8 waits");
  enter("nas/Beta");
  arrive("b", 1, "8 beta", R"(\\nas\projects\Beta)");
  left.count_down();
  EXPECT_THAT(heard.await(2), ElementsAre("8 first", "8 beta"));
}

TEST_F(MessengerTest, AGapIsOneRescanBeforeTheTextThatShowsIt) {
  const auto messenger = start();
  arrive("a", 1, "8 one");
  arrive("a", 4, "8 four");
  arrive("a", 5, "8 five");
  EXPECT_THAT(heard.await(4), ElementsAre("8 one", kRescan, "8 four", "8 five"));
  EXPECT_EQ(host::messengerFacts().rescans, 1u);
}

TEST_F(MessengerTest, ARescanOfTheSenderAndTheGapBeforeItAreOne) {
  const auto messenger = start();
  arrive("a", 1, "8 one");
  arrive("a", 4, kRescan);
  arrive("a", 5, "8 five");
  EXPECT_THAT(heard.await(3), ElementsAre("8 one", kRescan, "8 five"));
  arrive("b", 1, kRescan);
  arrive("b", 2, "8 two");
  EXPECT_THAT(heard.await(5), ElementsAre("8 one", kRescan, "8 five", kRescan, "8 two"));
  EXPECT_EQ(host::messengerFacts().rescans, 2u);
}

TEST_F(MessengerTest, WhatARescanHasCoveredIsNotHandedOver) {
  const auto messenger = start();
  arrive("a", 1, "8 one");
  arrive("a", 3, "8 three");
  arrive("a", 2, "8 two");
  arrive("a", 3, "8 three");
  arrive("a", 4, "8 four");
  EXPECT_THAT(heard.await(4), ElementsAre("8 one", kRescan, "8 three", "8 four"));
}

TEST_F(MessengerTest, WhatTheEngineLostIsOneRescanHoweverOftenItSaysSo) {
  std::latch inside(1), told(1);
  const auto messenger = start([&](const std::string& text) {
    if (text != "8 first") return;
    inside.count_down();
    told.wait();
  });
  arrive("a", 1, "8 first");
  inside.wait();
  carrier.mailbox->lost();
  carrier.mailbox->lost();
  arrive("a", 3, "8 third");
  told.count_down();
  EXPECT_THAT(heard.await(3), ElementsAre("8 first", kRescan, "8 third"));
  carrier.mailbox->lost();
  EXPECT_THAT(heard.await(4), ElementsAre("8 first", kRescan, "8 third", kRescan));
}

TEST_F(MessengerTest, AGapThatTheEngineHasToldOfIsNoSecondRescan) {
  const auto messenger = start();
  arrive("a", 1, "8 one");
  carrier.mailbox->lost();
  EXPECT_THAT(heard.await(2), ElementsAre("8 one", kRescan));
  arrive("a", 4, "8 four");
  EXPECT_THAT(heard.await(3), ElementsAre("8 one", kRescan, "8 four"));
  EXPECT_EQ(host::messengerFacts().rescans, 1u);
}

TEST_F(MessengerTest, AnEngineThatTellsOfLossesNeedsNoHellosAndMarks) {
  timing.marks = {0ms, 0ms};
  timing.settling = 0ms;
  const auto messenger = start();
  messenger->send("8 a");
  carrier.mailbox->arrived({Parcel::Kind::kHello, R"(\\nas\projects\Alpha)", "a", 0, ""});
  arrive("b", 7, "8 b");
  EXPECT_THAT(heard.await(1), ElementsAre("8 b"));
  messenger->send("8 c");
  const auto parcels = carrier.taken.await(2);
  ASSERT_EQ(parcels.size(), 2u);
  EXPECT_EQ(parcels[0].text, "8 a");
  EXPECT_EQ(parcels[1].text, "8 c");
}

TEST_F(LossyMessengerTest, WhoEntersSaysHelloAndIsToldTheMarksOfThoseWhoHaveSent) {
  const auto messenger = start();
  const auto hello = carrier.taken.await(1);
  ASSERT_EQ(hello.size(), 1u);
  EXPECT_EQ(hello[0].kind, Parcel::Kind::kHello);
  EXPECT_EQ(hello[0].group, R"(\\nas\projects\Alpha)");

  carrier.mailbox->arrived({Parcel::Kind::kHello, hello[0].group, "a", 0, ""});  // nothing sent yet
  messenger->send("8 a");
  ASSERT_EQ(carrier.taken.await(2).size(), 2u);
  carrier.mailbox->arrived({Parcel::Kind::kHello, hello[0].group, "b", 0, ""});
  const auto parcels = carrier.taken.await(3);
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[1].kind, Parcel::Kind::kText);
  EXPECT_EQ(parcels[2].kind, Parcel::Kind::kMark);
  EXPECT_EQ(parcels[2].number, 1u);
  EXPECT_EQ(parcels[2].sender, parcels[1].sender);
  EXPECT_EQ(parcels[2].group, R"(\\nas\projects\Alpha)");
}

TEST_F(LossyMessengerTest, EachGroupIsGreeted) {
  const auto messenger = start();
  ASSERT_EQ(carrier.taken.await(1).size(), 1u);
  enter("nas/Beta");
  const auto parcels = carrier.taken.await(2);
  ASSERT_EQ(parcels.size(), 2u);
  EXPECT_EQ(parcels[1].kind, Parcel::Kind::kHello);
  EXPECT_EQ(parcels[1].group, R"(\\nas\projects\Beta)");
}

TEST_F(LossyMessengerTest, ALostLastTextIsNoticedByTheMark) {
  const auto messenger = start();
  arrive("a", 1, "8 one");
  mark("a", 1);
  mark("a", 2);
  mark("a", 2);
  arrive("a", 3, "8 three");
  EXPECT_THAT(heard.await(3), ElementsAre("8 one", kRescan, "8 three"));
}

TEST_F(LossyMessengerTest, AStrangersHighNumberIsNoLossRightAfterEntering) {
  const auto messenger = start();
  mark("a", 4);
  arrive("a", 5, "8 a5");
  arrive("b", 9, "8 b9");
  EXPECT_THAT(heard.await(2), ElementsAre("8 a5", "8 b9"));
}

TEST_F(LossyMessengerTest, AStrangersHighNumberIsALossLater) {
  timing.settling = 0ms;
  const auto messenger = start();
  arrive("a", 1, "8 a1");
  arrive("b", 9, "8 b9");
  EXPECT_THAT(heard.await(3), ElementsAre("8 a1", kRescan, "8 b9"));
}

TEST_F(LossyMessengerTest, TheNumberOfTheLastTextIsToldTwiceWhenNoneFollows) {
  timing.marks = {1ms, 20ms};
  const auto messenger = start();
  messenger->send("8 a");
  messenger->send("8 b");
  // The hello, the texts and two marks; more when marks of the first text came between the two.
  const auto isLastMark = [](const Parcel& parcel) {
    return parcel.kind == Parcel::Kind::kMark && parcel.number == 2 && parcel.text.empty();
  };
  std::vector<Parcel> parcels;
  for (size_t count = 5; count <= 7; ++count) {
    parcels = carrier.taken.await(count);
    if (std::count_if(parcels.begin(), parcels.end(), isLastMark) == 2) break;
  }
  ASSERT_GE(parcels.size(), 5u);
  const auto last = parcels.end() - 3;
  EXPECT_EQ(last[0].kind, Parcel::Kind::kText);
  EXPECT_EQ(last[0].number, 2u);
  EXPECT_TRUE(isLastMark(last[1]));
  EXPECT_TRUE(isLastMark(last[2]));
}

TEST_F(LossyMessengerTest, AReceiverThatTakesItsTimeKeepsNoMarkBack) {
  timing.marks = {1ms, 1h};
  std::latch inside(1), on(1);
  const auto messenger = start([&](const std::string&) {
    inside.count_down();
    on.wait();
  });
  arrive("a", 1, "8 a");
  inside.wait();
  messenger->send("8 own");
  const auto parcels = carrier.taken.await(3);  // a hello, the text, and
  on.count_down();
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[2].kind, Parcel::Kind::kMark);
  EXPECT_EQ(parcels[2].number, 1u);
}

TEST_F(LossyMessengerTest, NorWhenTheCarrierCallsIt) {
  timing.marks = {1ms, 1h};
  std::latch inside(1), on(1);
  const auto messenger = start([&](const std::string&) {
    inside.count_down();
    on.wait();
  });
  carrier.come({parcel("a", 1, "8 a")});
  inside.wait();
  EXPECT_EQ(carrier.runners.await(2).size(), 2u);  // the other thread has taken over
  messenger->send("8 own");
  const auto parcels = carrier.taken.await(3);
  on.count_down();
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[2].kind, Parcel::Kind::kMark);
}

TEST_F(LossyMessengerTest, WhoLeavesAGroupTellsItTheLastNumber) {
  const auto messenger = start();
  ASSERT_EQ(carrier.taken.await(1).size(), 1u);  // the hello
  messenger->send("8 a");
  enter("nas/Beta");
  std::vector<Parcel> marks;
  for (const Parcel& parcel : carrier.taken.await(4)) {
    if (parcel.kind == Parcel::Kind::kMark) marks.push_back(parcel);
  }
  ASSERT_EQ(marks.size(), 1u);
  EXPECT_EQ(marks[0].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(marks[0].number, 1u);
}

TEST_F(LossyMessengerTest, WhoEndsTellsTheLastNumber) {
  {
    const auto messenger = start();
    ASSERT_EQ(carrier.taken.await(1).size(), 1u);  // the hello
    messenger->send("8 a");
  }
  const auto parcels = carrier.taken.await(3);
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[1].text, "8 a");
  EXPECT_EQ(parcels[2].kind, Parcel::Kind::kMark);
  EXPECT_EQ(parcels[2].number, 1u);
}

TEST_F(LossyMessengerTest, AfterALossTheOthersAreToldTheLastNumber) {
  const auto messenger = start();
  messenger->send("8 a");
  ASSERT_EQ(carrier.taken.await(2).size(), 2u);
  carrier.mailbox->lost();
  const auto parcels = carrier.taken.await(3);
  ASSERT_EQ(parcels.size(), 3u);
  EXPECT_EQ(parcels[2].kind, Parcel::Kind::kMark);
  EXPECT_EQ(parcels[2].number, 1u);
}

TEST_F(MessengerTest, AFullQueueGivesTheOldestUpAndARescanStandsForThem) {
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  for (int i = 1; i <= 65536 + 10; ++i) messenger->send(std::to_string(i));
  EXPECT_EQ(host::messengerFacts().waiting, 65536u);
  EXPECT_EQ(host::messengerFacts().dropped, 10u);
  const auto parcels = takeAll();
  ASSERT_EQ(parcels.size(), 65537u);
  EXPECT_EQ(parcels[0].text, kRescan);
  EXPECT_EQ(parcels[0].number, 10u);
  EXPECT_EQ(parcels[1].number, 11u);
  EXPECT_EQ(parcels[1].text, "11");
}

TEST_F(MessengerTest, OfTwoGroupsEachIsToldThatTextsWereGivenUp) {
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  for (int i = 1; i <= 3; ++i) messenger->send("alpha");
  enter("nas/Beta");
  for (int i = 1; i <= 65536 + 2; ++i) messenger->send("beta");
  const auto parcels = takeAll();
  ASSERT_EQ(parcels.size(), 65538u);
  EXPECT_EQ(parcels[0].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(parcels[0].number, 3u);
  EXPECT_EQ(parcels[1].group, R"(\\nas\projects\Beta)");
  EXPECT_EQ(parcels[1].number, 2u);
  EXPECT_THAT(textsOf({parcels[0], parcels[1], parcels[2]}), ElementsAre(kRescan, kRescan, "beta"));
}

TEST_F(MessengerTest, NoMoreThan64MebibytesWait) {
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  for (int i = 0; i < 1030; ++i) messenger->send(std::string(65536, 'x'));
  EXPECT_EQ(host::messengerFacts().waiting, 1024u);
  EXPECT_EQ(host::messengerFacts().dropped, 6u);
}

TEST_F(MessengerTest, AReceiverThatIsTooSlowMissesWhatWaitsAndIsToldOnce) {
  std::latch inside(1), on(1);
  const auto messenger = start([&](const std::string& text) {
    if (text != "first") return;
    inside.count_down();
    on.wait();
  });
  arrive("a", 1, "first");
  inside.wait();
  for (uint64_t i = 2; i <= 65536 + 2; ++i) arrive("a", i, "lost");
  arrive("a", 65536 + 3, "last");
  on.count_down();
  EXPECT_THAT(heard.await(3), ElementsAre("first", kRescan, "last"));
  EXPECT_EQ(host::messengerFacts().dropped, 65537u);
}

TEST_F(MessengerTest, SendWaitsForNobody) {
  carrier.isDead = true;
  timing.flush = 0ms;
  std::latch inside(1), on(1);
  const auto messenger = start([&](const std::string&) {
    inside.count_down();
    on.wait();
  });
  arrive("a", 1, "first");
  inside.wait();
  for (int i = 0; i < 1000; ++i) messenger->send("8 a");
  EXPECT_EQ(host::messengerFacts().waiting, 1000u);
  on.count_down();
}

TEST_F(MessengerTest, TextsMayBeSentFromManyThreads) {
  const auto messenger = start();
  std::vector<std::thread> senders;
  for (int t = 0; t < 8; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) messenger->send(std::to_string(t) + " " + std::to_string(i));
    });
  }
  for (std::thread& sender : senders) sender.join();
  const auto parcels = carrier.taken.await(4000);
  ASSERT_EQ(parcels.size(), 4000u);
  std::vector<int> next(8, 0);
  for (size_t i = 0; i < parcels.size(); ++i) {
    EXPECT_EQ(parcels[i].number, i + 1);
    const int thread = parcels[i].text[0] - '0';
    EXPECT_EQ(parcels[i].text.substr(2), std::to_string(next[thread]++));
  }
}

TEST_F(MessengerTest, AReceiverMaySendAndChangeTheGroup) {
  Qx::Ptr<iNetMessager> messenger;
  std::latch known(1);
  messenger = start([&](const std::string&) {
    known.wait();
    messenger->send("8 answer");
    enter("nas/Beta");
    messenger->send("8 from there");
  });
  known.count_down();
  arrive("a", 1, "8 a");
  const auto parcels = carrier.taken.await(2);
  ASSERT_EQ(parcels.size(), 2u);
  EXPECT_EQ(parcels[0].group, R"(\\nas\projects\Alpha)");
  EXPECT_EQ(parcels[1].group, R"(\\nas\projects\Beta)");
  ASSERT_EQ(heard.await(1).size(), 1u);
}

TEST_F(MessengerTest, ReleasingSendsWhatWaitsAndLeavesNoThread) {
  const size_t before = threads();
  {
    const auto messenger = start();
    EXPECT_TRUE(threadsBecome(before + 2));
    for (int i = 0; i < 1000; ++i) messenger->send("8 a");
  }
  EXPECT_TRUE(threadsBecome(before));
  EXPECT_EQ(carrier.taken.await(1000).size(), 1000u);
  EXPECT_EQ(host::messengerFacts().sent, 1000u);
  EXPECT_EQ(host::messengerFacts().dropped, 0u);
}

TEST_F(MessengerTest, ReleasingWaitsForTheCallThatIsUnderwayAndThereIsNoOther) {
  std::latch inside(1);
  std::atomic<bool> over = false;
  {
    const auto messenger = start([&](const std::string&) {
      inside.count_down();
      while (!carrier.mailbox->end()) std::this_thread::yield();
      over = true;
    });
    arrive("a", 1, "8 a");
    arrive("a", 2, "8 b");
    inside.wait();
  }
  EXPECT_TRUE(over);
  EXPECT_THAT(heard.await(1), ElementsAre("8 a"));
}

TEST_F(MessengerTest, ReleasingWithADeadEngineTakesAsLongAsItMayAndNoLonger) {
  carrier.isDead = true;
  timing.flush = 100ms;
  auto messenger = start();
  messenger->send("8 a");
  const auto begin = std::chrono::steady_clock::now();
  messenger = nullptr;
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, 100ms);
  EXPECT_LT(took, kPatience);
  EXPECT_EQ(host::messengerFacts().dropped, 1u);
}

TEST_F(MessengerTest, TheLogTellsHowManyTextsWereNotSentAtTheRelease) {
  carrier.isDead = true;
  timing.flush = 0ms;
  {
    const auto messenger = start();
    for (int i = 0; i < 5; ++i) messenger->send("8 a");
    const auto taken = carrier.mailbox->take();
    ASSERT_TRUE(taken);
    carrier.mailbox->undeliverable(*taken, "it was refused");  // which the log tells by itself
  }
  EXPECT_THAT(log(), HasSubstr("messenger (pretended): texts that were not sent when the messenger "
                               "was released: 4; not connected yet\n"));
  EXPECT_EQ(host::messengerFacts().dropped, 5u);
  EXPECT_EQ(host::messengerFacts().whyDropped,
            "texts that were not sent when the messenger was released: 4; not connected yet");
}

TEST_F(MessengerTest, TheLogSaysNothingOfARelease) {
  {
    const auto messenger = start();
    for (int i = 0; i < 5; ++i) messenger->send("8 a");
  }
  EXPECT_THAT(log(), testing::Not(HasSubstr("released")));
}

TEST_F(MessengerTest, TheReceiverIsLetGo) {
  struct Watched final : iNetMessageReceiver {
    explicit Watched(bool& flag) : gone(flag) {}
    ~Watched() override { gone = true; }
    void receive(const std::string&) const override {}
    bool& gone;
  };
  bool gone = false;
  {
    const Qx::Ptr<iNetMessager> messenger(new host::Messenger(
        std::make_unique<PretendedEngine>(carrier), "pretended", new Watched(gone), timing));
    EXPECT_FALSE(gone);
  }
  EXPECT_TRUE(gone);
}

TEST_F(MessengerTest, AReceiverMayReleaseTheMessenger) {
  const size_t before = threads();
  Qx::Ptr<iNetMessager> messenger;
  std::latch known(1);
  messenger = start([&](const std::string&) {
    known.wait();
    messenger = nullptr;
  });
  arrive("a", 1, "8 a");
  arrive("a", 2, "8 b");
  known.count_down();
  EXPECT_THAT(heard.await(1), ElementsAre("8 a"));
  EXPECT_TRUE(threadsBecome(before));
}

TEST_F(MessengerTest, AChildOfForkDoesNotUseIt) {
  auto messenger = start();
  const pid_t child = fork();
  if (child == 0) {
    messenger->send("8 child");
    enter("nas/Beta");
    const bool none = host::messengerFacts().group.empty();
    messenger = nullptr;
    _exit(none ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  messenger->send("8 parent");
  EXPECT_THAT(textsOf(carrier.taken.await(1)), ElementsAre("8 parent"));
}

TEST_F(MessengerTest, WhatNoMessengerSendsIsCountedAndTheLogTellsSometimes) {
  {
    const auto messenger = start();
    EXPECT_EQ(host::messengerFacts().state, "pretends");
    for (int i = 0; i < 3; ++i) carrier.mailbox->stranger();
    EXPECT_EQ(host::messengerFacts().state,
              "pretends; texts of another shape that were ignored: 3");
    carrier.mailbox->stranger();
  }
  EXPECT_THAT(log(), HasSubstr("texts of another shape that were ignored: 1\n"));
  EXPECT_THAT(log(), HasSubstr("texts of another shape that were ignored: 2\n"));
  EXPECT_THAT(log(), testing::Not(HasSubstr("ignored: 3\n")));
  EXPECT_THAT(log(), HasSubstr("texts of another shape that were ignored: 4\n"));
}

TEST_F(MessengerTest, AChildOfForkMayExitWithIt) {
  const auto messenger = start();
  const pid_t child = fork();
  if (child == 0) {
    isChild = true;
    exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
}

TEST_F(MessengerTest, TheFactsTellWhatHappened) {
  {
    const auto messenger = start();
    messenger->send("8 a");
    messenger->send("8 b");
    ASSERT_EQ(carrier.taken.await(2).size(), 2u);
    arrive("a", 1, "8 c");
    arrive("a", 3, "8 d");
    ASSERT_EQ(heard.await(3).size(), 3u);
    carrier.mailbox->undeliverable(Parcel(), "it was refused");
    const host::MessengerFacts facts = host::messengerFacts();
    EXPECT_EQ(facts.engine, "pretended");
    EXPECT_TRUE(facts.connected);
    EXPECT_EQ(facts.state, "pretends");
    EXPECT_EQ(facts.group, R"(\\nas\projects\Alpha)");
    EXPECT_EQ(facts.sent, 2u);
    EXPECT_EQ(facts.received, 2u);
    EXPECT_EQ(facts.waiting, 0u);
    EXPECT_EQ(facts.dropped, 1u);
    EXPECT_EQ(facts.rescans, 1u);
  }
  EXPECT_FALSE(host::messengerFacts().connected);
  EXPECT_EQ(host::messengerFacts().state, "the messenger was released");
  EXPECT_THAT(log(), HasSubstr("messenger (pretended): pretends\n"));
  EXPECT_THAT(log(),
              HasSubstr("messenger (pretended): a text could not be sent: it was refused\n"));
}

TEST_F(MessengerTest, AnApplicationIsToldWhetherTheOthersAreHeard) {
  EXPECT_FALSE(messengerState().tried);
  EXPECT_EQ(messengerState().words, "nothing in this program has asked for a messenger");
  carrier.isDead = true;
  timing.flush = 0ms;
  const auto messenger = start();
  EXPECT_FALSE(messengerState().connected);
  EXPECT_FALSE(messengerState().tried);
  EXPECT_EQ(messengerState().words, "not connected yet");
  carrier.mailbox->state(false, "nobody answers");
  EXPECT_FALSE(messengerState().connected);
  EXPECT_TRUE(messengerState().tried);
  EXPECT_EQ(messengerState().words, "nobody answers");
  carrier.mailbox->state(true, "pretends");
  EXPECT_TRUE(messengerState().connected);
}

TEST_F(MessengerTest, WithoutAMessengerTheFactsSaySo) {
  EXPECT_EQ(host::messengerFacts().engine, "dbus");
  EXPECT_EQ(host::messengerFacts().state, "nothing in this program has asked for a messenger");
}
