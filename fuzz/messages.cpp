// Texts of other machines, one a line, as the cache follows them.
#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "miscdisc/dircache/cache_follower.h"
#include "miscdisc/dircache/cache_text.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/fsys.h"

namespace {

using fuzz::claim;
using Kind = CacheEvent::Kind;

constexpr unsigned kFiles = 3;

void makeVolume() {
  for (const char* name : {"e/Material", "e/Sound"}) fuzz::makeFolderInHome(name);
  for (const char* name : {"e/Material/A001.mxf", "e/Material/what?.mxf", "e/Sound/B002.wav"}) {
    fuzz::writeInHome(name, "");
  }
  fuzz::writeInHome("outside.mxf", "");
  fuzz::settleVolume("[shares]\n'//nas/e' = \"" + fuzz::fileInHome("e") + "\"\n");
}

void parse(const String& text) {
  const auto message = NetMessage::fromString(text);
  if (!message) return;
  claim(message->type() >= 0, "a type is a natural number");
  const auto again = NetMessage::fromString(message->asString());
  claim(again && again->type() == message->type() && again->text() == message->text(),
        "a message comes back from its text");
}

bool partsAreNames(const WString& path) {
  for (size_t from = 0; from <= path.size();) {
    const size_t end = std::min(path.find(L'/', from), path.size());
    const WString part = path.substr(from, end - from);
    if (part.empty() || part == L"." || part == L"..") return false;
    from = end + 1;
  }
  return true;
}

void isOnVolume(const WString& path) {
  claim(path.starts_with(L"E:/") && path.find(L'\0') == path.npos, "a file is on a volume");
  claim(partsAreNames(path.substr(3)), "no part of a path leads elsewhere");
  claim(fileOfNetworkPath(FsysConvertLocalToUNC(path)) == path, "a file has one network path");
}

void isEventOf(const CacheEvent& event, const NetMessage& message) {
  if (message.type() == NetMessage::Rescan) {
    claim(event.kind == Kind::kRescan && event.path.empty(), "a rescan is of everything");
  } else if (event.kind == Kind::kIgnored) {
    claim(event.path == Qx::WStringFromUTF8(message.text()), "what is ignored is told as it came");
  } else {
    const Kind kind = message.type() == NetMessage::FileAdded ? Kind::kAdded : Kind::kRemoved;
    claim(event.kind == kind, "a text says what its number says");
    isOnVolume(event.path);
  }
}

// What a follower lets wait.
std::deque<NetMessage> waitingOf(const std::vector<String>& texts, uint64_t& ignored) {
  std::deque<NetMessage> waiting;
  for (const String& text : texts) {
    const char* why = nullptr;
    const auto message = cacheMessage(text, why);
    claim(bool(message) != bool(why), "what is about no file has a reason");
    if (!message) {
      ++ignored;
    } else if (message->type() == NetMessage::Rescan) {
      waiting = {NetMessage(NetMessage::Rescan, "")};
    } else {
      waiting.push_back(*message);
    }
  }
  return waiting;
}

void follow(const std::vector<String>& texts) {
  uint64_t ignored = 0;
  auto waiting = waitingOf(texts, ignored);
  bool awake = false;
  CacheFollower follower([&] { awake = true; });
  const NetMsgReceiver receiver(NotifyServer::instance());
  for (const String& text : texts) receiver.receive(text);

  while (awake) {
    awake = false;
    const auto events = follower.apply();
    claim(!events.empty() && events.size() <= CacheFollower::kMostEvents,
          "a wake is for something");
    for (const CacheEvent& event : events) {
      claim(!waiting.empty(), "an event is of a text that waited");
      isEventOf(event, waiting.front());
      waiting.pop_front();
      ignored += event.kind == Kind::kIgnored;
    }
  }
  claim(waiting.empty(), "every text that waited is applied");
  claim(follower.ignored() == ignored, "texts that are ignored are counted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool made = (makeVolume(), true);
  const auto texts = fuzz::linesOf({reinterpret_cast<const char*>(data), size});
  for (const String& text : texts) parse(text);

  validate_directory_cache();
  follow(texts);
  claim(getSystemCache()->count() <= kFiles, "a text lists nothing that is not on the disk");
  invalidate_directory_cache();
  validate_directory_cache();
  claim(getSystemCache()->count() == kFiles, "a text changes nothing on the disk");
  fuzz::forgetLog();
  return 0;
}
