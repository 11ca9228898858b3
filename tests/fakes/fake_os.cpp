#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct FakeAllocator final : iAllocator {
  void* allocate(size_t size) override { return allocateAligned(size, alignof(std::max_align_t)); }

  void* allocateAligned(size_t size, size_t alignment) override {
    if (fake_allocator::throwsOther) throw std::runtime_error("no allocator");
    if (fake_allocator::left == 0) throw std::bad_alloc();
    if (fake_allocator::left > 0) --fake_allocator::left;
    ++fake_allocator::allocations;
    void* memory = nullptr;
    if (posix_memalign(&memory, std::max(alignment, sizeof(void*)), std::max<size_t>(size, 1))) {
      throw std::bad_alloc();
    }
    return memory;
  }

  void release(void* memory) noexcept override {
    ++fake_allocator::releases;
    std::free(memory);
  }
};

struct FakeNetworkService final : iNetworkService {
  struct Messager : iNetMessager {
    void send(const std::string& text) override { fakePlatform().sent.push_back(text); }
    ~Messager() override { fakePlatform().receiver = nullptr; }
  };

  Qx::Ptr<iNetMessager> getMessager(Qx::Ptr<iNetMessageReceiver> receiver) override {
    FakePlatform& platform = fakePlatform();
    ++platform.messengersAsked;
    if (!platform.hasMessenger) return nullptr;
    platform.receiver = receiver;
    return new Messager;
  }
};

// Files that are locks: -1 in FakePlatform::locks is an exclusive holder, n are n shared ones.
// A shared lock stays with the path until the path is removed.
class FakeFile final : public iFile {
 public:
  FakeFile(const WString& path, bool writable, bool locksExclusively)
      : path_(path), writable_(writable), locksExclusively_(locksExclusively) {}
  ~FakeFile() override {
    fakePlatform().note("release " + Qx::UTF8FromWString(path_));
    if (locksExclusively_) fakePlatform().locks.erase(path_);
  }

  bool valid() const override { return true; }
  int64_t size() override { return static_cast<int64_t>(node().bytes.size()); }

  size_t read(void* bytes, size_t count) override {
    const String& all = node().bytes;
    count = std::min(count, all.size() - std::min(position_, all.size()));
    std::copy_n(all.data() + position_, count, static_cast<char*>(bytes));
    position_ += count;
    return count;
  }

  bool write(const void* bytes, size_t count) override {
    if (fakePlatform().callFails("write " + Qx::UTF8FromWString(path_))) return false;
    if (!writable_) return false;
    String& all = node().bytes;
    all.resize(std::max(all.size(), position_ + count));
    std::copy_n(static_cast<const char*>(bytes), count, all.data() + position_);
    position_ += count;
    return true;
  }

 private:
  FakePlatform::Node& node() { return fakePlatform().nodes[path_]; }

  WString path_;
  bool writable_;
  bool locksExclusively_;
  size_t position_ = 0;
};

// A list that appears when it is closed.
class FakeNewList final : public iFile {
 public:
  explicit FakeNewList(const WString& path) : path_(path) {}

  ~FakeNewList() override {
    FakePlatform& platform = fakePlatform();
    platform.note("release " + Qx::UTF8FromWString(path_));
    if (!written_ || !platform.has(path_.substr(0, path_.rfind(L'/')))) return;
    if (!platform.has(path_)) {
      platform.nodes[path_].bytes = text_;
    } else if (platform.file(path_)) {
      addLines(platform.nodes[path_].bytes);
    }
  }

  bool valid() const override { return true; }
  int64_t size() override { return static_cast<int64_t>(text_.size()); }
  size_t read(void*, size_t) override { return 0; }

  bool write(const void* bytes, size_t count) override {
    if (fakePlatform().callFails("write " + Qx::UTF8FromWString(path_))) written_ = false;
    if (written_) text_.append(static_cast<const char*>(bytes), count);
    return written_;
  }

 private:
  // Those that the other list lacks; a list that lacks none is left as it is.
  void addLines(String& others) const {
    String all = others.empty() || others.ends_with('\n') ? others : others + '\n';
    const size_t before = all.size();
    std::istringstream lines(text_);
    for (String line; std::getline(lines, line);) {
      line += '\n';
      if (("\n" + all).find("\n" + line) == String::npos) all += line;
    }
    if (all.size() > before) others = all;
  }

  WString path_;
  String text_;
  bool written_ = true;  // all that was asked for
};

struct InvalidFile final : iFile {
  ~InvalidFile() override { fakePlatform().note("release invalid"); }
  bool valid() const override { return false; }
  int64_t size() override { return 0; }
  size_t read(void*, size_t) override { return 0; }
  bool write(const void*, size_t) override { return false; }
};

struct FakeFileManager final : iFileManager {
  wchar_t getPathSeparator() override { return L'/'; }

  Qx::Ptr<iFile> open(const WString& given, unsigned access, unsigned sharing, unsigned creation,
                      unsigned flags) override {
    FakePlatform& platform = fakePlatform();
    platform.opened.push_back({given, access, sharing, creation, flags});
    const WString path = inBase(given);
    if (flags == 32) platform.informed.try_emplace(path, false);
    if (platform.callFails("open " + Qx::UTF8FromWString(given))) return new InvalidFile;
    const bool locks = flags == 32 && sharing == 3;
    const bool probes = flags == 32 && sharing == 1;
    const auto existing = platform.nodes.find(path);
    const bool exists = existing != platform.nodes.end();
    const auto folder = platform.nodes.find(path.substr(0, path.rfind(L'/')));
    const bool folderThere = folder != platform.nodes.end() && folder->second.isFolder;
    if (exists ? existing->second.isFolder : !folderThere) return new InvalidFile;
    if (!exists && access == 0 && creation == 1) return new InvalidFile;
    if (access == 1 && creation == 1) return new FakeNewList(path);
    if (probes) return new FakeFile(path, false, false);
    if (locks && !takes(platform, path, creation == 4)) return new InvalidFile;
    if (locks && creation == 0 && exists) forgetInformation(platform, path);
    FakePlatform::Node& node = platform.nodes[path];
    if (creation == 4) node.bytes.clear();
    if (locks && creation == 4) node.marked = false;
    noteInformation(platform, path, access != 0);
    return new FakeFile(path, access != 0, locks && creation == 0);
  }

  bool createDirectory(const WString& given) override {
    FakePlatform& platform = fakePlatform();
    if (platform.callFails("createDirectory " + Qx::UTF8FromWString(given))) return false;
    const WString bare = withoutSeparator(inBase(given));
    if (platform.has(bare) || !platform.has(bare.substr(0, bare.rfind(L'/')))) return false;
    platform.addFolder(bare);
    return true;
  }

  bool copy(const WString& givenSource, const WString& givenDestination, unsigned a, unsigned b,
            unsigned c) override {
    FakePlatform& platform = fakePlatform();
    const WString paths = givenSource + L" " + givenDestination;
    if (platform.callFails("copy " + Qx::UTF8FromWString(paths) + numbers({a, b, c}))) return false;
    const WString source = inBase(givenSource), destination = inBase(givenDestination);
    const FakePlatform::Node* from = platform.file(source);
    if (!from || platform.has(destination)) return false;
    if (!platform.has(destination.substr(0, destination.rfind(L'/')))) return false;
    platform.nodes[destination].bytes = from->bytes;
    return true;
  }

  bool remove(const WString& given) override {
    FakePlatform& platform = fakePlatform();
    platform.removed.push_back(given);
    if (platform.callFails("remove " + Qx::UTF8FromWString(given))) return false;
    const WString path = inBase(given);
    const auto held = platform.locks.find(path);
    if (held != platform.locks.end() && held->second < 0) return false;
    platform.locks.erase(path);
    const std::vector<WString>& elsewhere = platform.heldElsewhere;
    if (std::find(elsewhere.begin(), elsewhere.end(), path) != elsewhere.end()) return false;
    if (removedWithItsLock(platform, path)) return !platform.has(path);
    if (!platform.file(path)) return false;
    platform.nodes.erase(path);
    if (platform.informed.contains(path)) forgetInformation(platform, path);
    return true;
  }

  bool list(const WString& pattern, Vector<DirectoryItem>& items, unsigned a, unsigned b) override {
    FakePlatform& platform = fakePlatform();
    items.clear();
    if (platform.callFails("list " + Qx::UTF8FromWString(pattern) + numbers({a, b}))) return false;
    const WString folder = getPath(inBase(pattern));
    if (!directoryUsable(folder)) return false;
    for (const WString& name : platform.namesIn(folder)) {
      const FakePlatform::Node* node = platform.file(folder + name);
      const bool temporary = name.ends_with(L".tmp");
      if (!node || temporary || !matchesCaseBlind(stripPath(pattern), name)) continue;
      items.add({name, node->marked ? 2u : 0u});
    }
    return true;
  }

  bool mark(const WString& path, unsigned value) override {
    FakePlatform& platform = fakePlatform();
    if (platform.callFails("mark " + Qx::UTF8FromWString(path) + numbers({value}))) return false;
    const WString full = inBase(path);
    if (!platform.file(full)) return false;
    platform.nodes[full].marked = (value & 2) != 0;
    return true;
  }

  bool directoryUsable(const WString& path) override {
    const auto it = fakePlatform().nodes.find(withoutSeparator(inBase(path)));
    return it != fakePlatform().nodes.end() && it->second.isFolder;
  }

  WString getDefaultNetworkMaterialFolder() override { return L"/home/ann/network/material/"; }

 private:
  static String numbers(std::initializer_list<unsigned> values) {
    String text;
    for (unsigned value : values) text += " " + std::to_string(value);
    return text;
  }

  static WString inBase(const WString& path) {
    return path.empty() || path.starts_with(L'/') ? path : getProjectsBaseDirectory() + path;
  }

  static WString withoutSeparator(const WString& path) {
    return path.size() > 1 && path.ends_with(L'/') ? path.substr(0, path.size() - 1) : path;
  }

  static bool matchesCaseBlind(const WString& pattern, const WString& name) {
    return fakeMaskMatches(fakeFolded(pattern), fakeFolded(name));
  }

  // Of a former holder: this machine has the lock.
  static void forgetInformation(FakePlatform& platform, const WString& lock) {
    platform.nodes.erase(lock + L".inf");
    platform.informed[lock] = false;
  }

  static void noteInformation(FakePlatform& platform, const WString& path, bool writable) {
    if (!writable || !path.ends_with(L".inf")) return;
    const auto lock = platform.locks.find(path.substr(0, path.size() - 4));
    if (lock != platform.locks.end() && lock->second < 0) platform.informed[lock->first] = true;
  }

  // An information file that went with its lock; what has its name by now is the next holder's.
  static bool removedWithItsLock(FakePlatform& platform, const WString& path) {
    if (!path.ends_with(L".inf")) return false;
    const auto informed = platform.informed.find(path.substr(0, path.size() - 4));
    if (informed == platform.informed.end()) return false;
    return !std::exchange(informed->second, false);
  }

  static bool takes(FakePlatform& platform, const WString& path, bool shared) {
    const std::vector<WString>& elsewhere = platform.heldElsewhere;
    if (std::find(elsewhere.begin(), elsewhere.end(), path) != elsewhere.end()) return false;
    int& holders = platform.locks[path];
    if (holders < 0 || (holders > 0 && !shared)) return false;
    holders = shared ? holders + 1 : -1;
    return true;
  }
};

constinit FakeAllocator theAllocator;
constinit FakeFileManager theFileManager;
constinit FakeNetworkService theNetworkService;

struct FakeOS final : iOS {
  iFileManager& fileManager() override { return theFileManager; }
  iAllocator& allocator() override { return theAllocator; }
  WString getUserName() override { return fakePlatform().userName; }
  WString getDefaultNetworkProjectsFolder(bool) override { return L"/home/ann/network/projects/"; }
  void reportFailure() override {
    fakePlatform().note("report failure");
    ++fakePlatform().failuresReported;
  }
};

struct FakeOSPrivate final : iOSPrivate {
  iNetworkService& networkService() override { return theNetworkService; }
};

constinit FakeOS theOS;
constinit FakeOSPrivate theOSPrivate;

}  // namespace

iOS* OS() { return &theOS; }
iOSPrivate* OSPrivate() { return &theOSPrivate; }
