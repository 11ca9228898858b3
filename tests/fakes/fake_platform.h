// A pretended platform: files, volumes, settings and machines that exist in memory only.
//
// A test tells it facts and reads back what it saw, in order.  There is one in each process; every
// test is a process of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/messenger.h"
#include "miscdisc/platform/values/text.h"

struct FakePlatform {
  struct Node {
    bool isFolder = false;
    String bytes{};
    bool marked = false;
    int64_t modified = 0;  // nanoseconds
  };
  struct Volume {
    wchar_t id;
    WString folder;
    bool present = true;
    uint32_t presentFrom = 0;  // of the clock; absent before
    VOLUME_INFO space{};
    bool discovered = true;  // false: mounted by FsysAddMaterialVolume
    bool answers = true;     // false: its storage hangs; the space was measured before that
  };
  struct Open {
    WString path;
    unsigned access, sharing, creation, flags;
    bool operator==(const Open&) const = default;
  };

  // Facts.  Folders are native paths without a separator at their end; making a file or a volume
  // makes the folders above it.
  void addVolume(wchar_t id, const WString& folder, uint64_t freeBytes = 0);
  Volume* volume(wchar_t id);
  void addFolder(const WString& path);
  void addFile(const WString& path, const String& bytes = "");
  bool has(const WString& path) const { return nodes.contains(path); }
  const Node* file(const WString& path) const;                // null: no such ordinary file
  std::vector<WString> namesIn(const WString& folder) const;  // sorted

  std::map<WString, Node> nodes{{L"/", {.isFolder = true}}};
  std::vector<Volume> volumes;
  bool walksBackwards = false;  // the walk of the volumes goes from the last id to the first
  std::vector<WString> pathsGivenOnce;  // answers of volumes about their path, before the true one
  std::map<std::pair<String, String>, String> settings;  // by section and key
  std::map<String, WString> preferences;
  WString userName = L"ann";
  WString localProjects = L"/home/ann/projects/";
  WString baseDirectory = L"/home/ann/projects/";
  uint32_t clock = 0;         // milliseconds
  uint32_t clockStep = 0;     // added at each reading
  unsigned clockRepeats = 0;  // not 0: every value is read so often, and then the next millisecond
  bool hasMessenger = true;
  std::vector<WString> heldElsewhere;  // lock files that another machine holds
  int failingCall = 0;                 // this call that can be made to fail does; 0: none
  bool listingsThrow = false;
  std::map<uint32_t, double> frameRates;      // frames per second
  std::map<uint32_t, uint32_t> playoutCodes;  // by image format
  std::set<uint32_t> mpegFormats;
  uint32_t frameSize = 0;  // bytes, of formats that have one of their own
  // Hears of each call before it is done, to look at the library at that moment.  It may hear of
  // some after the test, when handles go with the process.
  std::function<void(const String& call)> atCall;

  // What it saw.
  std::vector<String> log;   // Log, LogBoth and tolv_printf
  std::vector<String> sent;  // texts to other machines
  std::vector<Open> opened;
  std::vector<WString> removed;
  std::vector<std::vector<unsigned>> listingArguments;  // what stood behind each listing's path
  std::vector<WString> listed;          // native paths of the listings that were read
  std::vector<WString> existenceAsked;  // paths, as they were given
  // With the text and numbers that were given: what the file manager was asked, files and listings
  // that were let go, changes of volumes, of project folders and of settings.
  std::vector<String> calls;
  WString measured;  // the volumes whose space was asked, in order
  std::map<wchar_t, unsigned> presenceAsked;
  int frameSizesAsked = 0;
  std::vector<WString> ownersSet;  // of login files
  int failuresReported = 0;
  int messengersAsked = 0;
  std::map<String, void (*)(void*)> commands;
  std::vector<std::vector<unsigned>> commandNumbers;  // given with each registration

  // A text from another machine, delivered on the calling thread.
  void deliver(const String& text);

  void note(const String& call);
  bool callFails(const String& call);  // notes the call; true when it is the failing one
  void failNextCall() { failingCall = callCount_ + 1; }

  Qx::Ptr<iNetMessageReceiver> receiver;
  std::recursive_mutex lock;         // listings and texts come from several threads
  std::map<WString, bool> informed;  // by lock ever opened: its information file is there, and ours
  std::map<WString, int> locks;      // held by this process: -1 exclusively, n > 0 shared n times
  std::vector<Volume> forgotten;     // discovered, until the next FsysReInitialize

 private:
  int callCount_ = 0;
  int64_t clock_ = 1'600'000'000'000'000'000;  // of modification times
};

FakePlatform& fakePlatform();

WString fakeFolded(const WString& text);  // letter case taken out

// The wildcards of Directory.
bool fakeMaskMatches(const WString& mask, const WString& name);

// The allocator's facts stand apart, for it answers before the platform is built.
namespace fake_allocator {
inline thread_local int left = -1;             // allocations until std::bad_alloc; -1: no end
inline thread_local bool throwsOther = false;  // something that is no std::bad_alloc
inline thread_local int allocations = 0;
inline thread_local int releases = 0;
}  // namespace fake_allocator
