#include "host/os.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/files/file_manager.h"
#include "host/messenger/make_messenger.h"
#include "host/places.h"
#include "host/settings.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/os.h"

namespace host {
namespace {

// Memory of malloc's family, asked for as the standard operators do: the new-handler is called
// until the memory is there, or there is no handler.
template <typename Request>
void* untilGiven(Request request) {
  while (true) {
    if (void* memory = request()) return memory;
    const std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

class Allocator final : public iAllocator {
 public:
  void* allocate(size_t size) override {
    return untilGiven([=] { return std::malloc(std::max<size_t>(size, 1)); });
  }

  void* allocateAligned(size_t size, size_t alignment) override {
    return untilGiven([=] {
      void* memory = nullptr;
      const size_t least = std::max(alignment, sizeof(void*));
      return posix_memalign(&memory, least, std::max<size_t>(size, 1)) == 0 ? memory : nullptr;
    });
  }

  void release(void* memory) noexcept override { std::free(memory); }
};

std::string loginName() {
  std::vector<char> texts(1 << 14);
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found) {
    if (validUserName(entry.pw_name)) return entry.pw_name;
  }
  return "user" + std::to_string(getuid());  // as in a container without a user list
}

WString findUserName() {
  const std::string configured = settings()->user;
  return Qx::WStringFromUTF8(validUserName(configured) ? configured : loginName());
}

class NetworkService final : public iNetworkService {
 public:
  Qx::Ptr<iNetMessager> getMessager(Qx::Ptr<iNetMessageReceiver> receiver) override {
    return makeMessenger(std::move(receiver));
  }
};

// Built before any code runs and, having nothing to destroy, there after the last destructor.
constinit Allocator theAllocator;
constinit NetworkService theNetworkService;

class System final : public iOS {
 public:
  iFileManager& fileManager() override { return host::fileManager(); }
  iAllocator& allocator() override { return theAllocator; }

  WString getUserName() override {
    static const WString& name = *new WString(findUserName());
    return name;
  }

  WString getDefaultNetworkProjectsFolder(bool) override {
    return Qx::WStringFromUTF8(places().data + "/network/projects/");
  }

  void reportFailure() override { Log("could not open %s\n", lastOpenFailure().c_str()); }
};

class PrivateSystem final : public iOSPrivate {
 public:
  iNetworkService& networkService() override { return theNetworkService; }
};

constinit System theSystem;
constinit PrivateSystem thePrivateSystem;

static_assert(std::is_trivially_destructible_v<Allocator>);
static_assert(std::is_trivially_destructible_v<NetworkService>);
static_assert(std::is_trivially_destructible_v<System>);
static_assert(std::is_trivially_destructible_v<PrivateSystem>);

}  // namespace

bool validUserName(std::string_view name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace host

iOS* OS() { return &host::theSystem; }
iOSPrivate* OSPrivate() { return &host::thePrivateSystem; }
