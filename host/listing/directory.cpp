#include "miscdisc/platform/directory.h"

#include <cstring>
#include <memory>
#include <vector>

#include "host/listing/file_name.h"
#include "host/listing/name_index.h"
#include "host/listing/reader.h"
#include "host/listing/record_store.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"

struct Directory::Listing {
  host::RecordStore store;
  host::NameIndex index{store};
  unsigned count = 0;
  bool indexed = false;

  void read(const WString& path, unsigned selector, host::Wildcards wildcards) {
    count = host::readEntries(path, selector, wildcards, store);
    // The listing of a single file only hands it over: nobody searches it.
    if (count > 1) buildIndex();
  }

  host::NameIndex& searchable() {
    if (!indexed) buildIndex();
    return index;
  }

 private:
  void buildIndex() {
    std::vector<host::NameIndex::Entry> entries;
    entries.reserve(count);
    size_t block = 0;
    for (file_info* record = store.first(block); record; record = store.after(record, block)) {
      entries.push_back({record->nameHash, store.handleOf(record, block)});
    }
    // A folder that changes while it is read may give a name twice.
    std::vector<host::NameIndex::Handle> refused;
    index.build(entries, refused);
    for (const auto handle : refused) host::RecordStore::remove(store.at(handle));
    count -= static_cast<unsigned>(refused.size());
    indexed = true;
  }
};

namespace {

bool sameDetails(const file_info& a, const file_info& b) {
  return a.size == b.size && a.modified == b.modified && a.changed == b.changed &&
         a.attributes == b.attributes;
}

}  // namespace

Directory::Listing* Directory::read(const WString& path, unsigned selector, bool named) {
  auto listing = std::make_unique_for_overwrite<Listing>();
  listing->read(path, selector, named ? host::Wildcards::kUnlessNamed : host::Wildcards::kAlways);
  return listing.release();
}

Directory::Directory(const WString& path, unsigned selector, int, eLocking)
    : listing_(read(path, selector, true)) {}

Directory::Directory(const WString& path, eLocking locking) : Directory(path, 0, 0, locking) {}

Directory::~Directory() { delete listing_; }

file_info* Directory::find(const WString& name) {
  const std::wstring_view lastPart = std::wstring_view(name).substr(name.rfind(L'/') + 1);
  const auto* found = listing_->searchable().find(lastPart, host::hashOf(lastPart));
  return found ? listing_->store.at(*found) : nullptr;
}

unsigned Directory::getcount() const { return listing_->count; }

bool Directory::addFile(const file_info* entry) {
  host::NameIndex& index = listing_->searchable();
  host::RecordStore& store = listing_->store;
  file_info* record = store.prepare(entry->nameLength);
  // Whole, hash included: every entry is from a listing of this kind.
  std::memcpy(static_cast<void*>(record), entry,
              sizeof(file_info) + (size_t{entry->nameLength} + 1) * sizeof(wchar_t));

  const auto handle = store.preparedHandle();
  auto* listed = index.insert(handle);
  if (*listed == handle) {
    ++listing_->count;
  } else {
    file_info* old = store.at(*listed);
    if (sameDetails(*old, *record)) return true;
    *listed = handle;
    host::RecordStore::remove(old);
  }
  store.commit();
  return true;
}

bool Directory::removeFile(const file_info* entry) {
  const auto* listed = listing_->searchable().find(entry->nameView(), entry->nameHash);
  if (!listed) return false;
  file_info* record = listing_->store.at(*listed);
  listing_->index.erase(listed);
  host::RecordStore::remove(record);
  --listing_->count;
  return true;
}

FsysDirectory::FsysDirectory(const WString& mask, unsigned selector, int, eLocking)
    : Directory(read(FsysFilenameToWin32Filename(mask), selector, false)) {}

void DirectoryIterator::set(Directory* directory) {
  directory_ = directory;
  current_ = nullptr;
}

file_info* DirectoryIterator::first() {
  if (!directory_) return nullptr;
  return current_ = directory_->listing_->store.first(place_);
}

file_info* DirectoryIterator::next() {
  if (!current_) return nullptr;
  return current_ = directory_->listing_->store.after(current_, place_);
}

void getDirectoryContents(const WString& folder, const WString& pattern, Vector<WString>& names,
                          unsigned flags) {
  const bool separated = folder.empty() || folder.back() == L'/';
  FsysDirectory listing(folder + (separated ? L"" : L"/") + pattern, flags, 0,
                        Directory::eUnlocked);
  for (DirectoryIterator entry(&listing); *entry; entry.next()) {
    names.add(WString((*entry)->nameView()));
  }
}
