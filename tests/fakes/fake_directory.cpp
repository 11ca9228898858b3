#include "miscdisc/platform/directory.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct Release {
  void operator()(file_info* entry) const { std::free(entry); }
};
using Entry = std::unique_ptr<file_info, Release>;

constexpr uint32_t kListed = 0;
constexpr uint32_t kUnlisted = 1;

Entry makeEntry(std::wstring_view name, uint64_t size, int64_t modified, uint32_t attributes) {
  void* memory = std::malloc(sizeof(file_info) + (name.size() + 1) * sizeof(wchar_t));
  if (!memory) throw std::bad_alloc();
  auto* entry = new (memory) file_info;
  entry->size = size;
  entry->modified = entry->changed = modified;
  entry->attributes = attributes;
  entry->nameLength = static_cast<uint32_t>(name.size());
  entry->state = kListed;
  entry->nameHash = 0;
  wchar_t* text = reinterpret_cast<wchar_t*>(entry + 1);
  std::copy(name.begin(), name.end(), text);
  text[name.size()] = L'\0';
  return Entry(entry);
}

void noteArguments(std::vector<unsigned> arguments) {
  FakePlatform& platform = fakePlatform();
  const std::lock_guard hold(platform.lock);
  platform.listingArguments.push_back(std::move(arguments));
}

bool hasWildcard(const WString& name) { return name.find_first_of(L"*?") != WString::npos; }

}  // namespace

struct Directory::Listing {
  explicit Listing(const WString& given) : path(given) {}
  ~Listing() {
    // While memory is short too.
    const int left = std::exchange(fake_allocator::left, -1);
    fakePlatform().note("release " + Qx::UTF8FromWString(path));
    fake_allocator::left = left;
  }

  WString path;
  std::vector<Entry> entries;  // also those that are listed no more

  file_info* find(std::wstring_view name) {
    for (const Entry& entry : entries) {
      if (entry->state == kListed && entry->nameView() == name) return entry.get();
    }
    return nullptr;
  }

  void addIfChosen(const WString& folder, const WString& name, unsigned selector) {
    const auto it = fakePlatform().nodes.find(folder + name);
    if (it == fakePlatform().nodes.end()) return;
    uint32_t attributes = 0;
    if (it->second.isFolder) attributes |= file_info::kFolder;
    if (name.starts_with(L".")) attributes |= file_info::kHidden;
    if (attributes & ~selector) return;
    entries.push_back(makeEntry(name, it->second.bytes.size(), it->second.modified, attributes));
  }
};

Directory::Listing* Directory::read(const WString& path, unsigned selector, bool named) {
  auto listing = std::make_unique<Listing>(path);
  FakePlatform& platform = fakePlatform();
  const std::lock_guard hold(platform.lock);
  platform.listed.push_back(path);
  if (platform.listingsThrow) throw std::runtime_error("the listing failed");
  const WString folder = getPath(path);
  const WString mask = stripPath(path);
  if (!hasWildcard(mask) || (named && platform.has(path))) {
    listing->addIfChosen(folder, mask, selector);
    return listing.release();
  }
  for (const WString& name : platform.namesIn(folder)) {
    if (fakeMaskMatches(mask, name)) listing->addIfChosen(folder, name, selector);
  }
  return listing.release();
}

Directory::Directory(const WString& path, unsigned selector, int option, eLocking locking)
    : listing_(read(path, selector, true)) {
  noteArguments({selector, static_cast<unsigned>(option), static_cast<unsigned>(locking)});
}

Directory::Directory(const WString& path, eLocking locking) : listing_(read(path, 0, true)) {
  noteArguments({static_cast<unsigned>(locking)});
}

Directory::~Directory() { delete listing_; }

FsysDirectory::FsysDirectory(const WString& mask, unsigned selector, int option, eLocking locking)
    : Directory(read(FsysFilenameToWin32Filename(mask), selector, false)) {
  noteArguments({selector, static_cast<unsigned>(option), static_cast<unsigned>(locking)});
}

file_info* Directory::find(const WString& name) { return listing_->find(stripPath(name)); }

unsigned Directory::getcount() const {
  return static_cast<unsigned>(
      std::count_if(listing_->entries.begin(), listing_->entries.end(),
                    [](const Entry& entry) { return entry->state == kListed; }));
}

bool Directory::addFile(const file_info* entry) {
  const file_info* old = listing_->find(entry->nameView());
  if (old && old->size == entry->size && old->modified == entry->modified) return true;
  removeFile(entry);
  listing_->entries.push_back(
      makeEntry(entry->nameView(), entry->size, entry->modified, entry->attributes));
  return true;
}

bool Directory::removeFile(const file_info* entry) {
  file_info* listed = listing_->find(entry->nameView());
  if (!listed) return false;
  listed->state = kUnlisted;
  return true;
}

void DirectoryIterator::set(Directory* directory) {
  directory_ = directory;
  current_ = nullptr;
}

file_info* DirectoryIterator::first() {
  place_ = 0;
  return next();
}

file_info* DirectoryIterator::next() {
  current_ = nullptr;
  if (!directory_) return nullptr;
  const std::vector<Entry>& entries = directory_->listing_->entries;
  while (place_ < entries.size() && !current_) {
    file_info* entry = entries[place_++].get();
    if (entry->state == kListed) current_ = entry;
  }
  return current_;
}
