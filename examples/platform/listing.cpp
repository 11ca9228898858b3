// Listings of files.  Records never move, and go with their listing.
#include <algorithm>
#include <cstring>
#include <vector>

#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "platform.h"

namespace fs = std::filesystem;

struct Directory::Listing {
  std::vector<file_info*> listed;
  std::vector<file_info*> records;  // also of what is listed no more

  auto find(std::wstring_view name) {
    return std::find_if(listed.begin(), listed.end(),
                        [&](const file_info* entry) { return entry->nameView() == name; });
  }
  void add(const WString& name, const file_info& facts) {
    const size_t bytes = (name.size() + 1) * sizeof(wchar_t);
    void* const memory = ::operator new(sizeof(file_info) + bytes);
    std::memcpy(memory, &facts, sizeof(file_info));
    std::memcpy(static_cast<char*>(memory) + sizeof(file_info), name.c_str(), bytes);
    records.push_back(static_cast<file_info*>(memory));
    records.back()->nameLength = static_cast<uint32_t>(name.size());
    listed.push_back(records.back());
  }
};

namespace {

bool matches(const wchar_t* mask, const wchar_t* name) {
  if (*mask == L'*') return matches(mask + 1, name) || (*name && matches(mask, name + 1));
  if (!*mask || !*name) return *mask == *name;
  return (*mask == L'?' || *mask == *name) && matches(mask + 1, name + 1);
}

}  // namespace

Directory::Listing* Directory::read(const WString& path, unsigned selector, bool) {
  auto* const listing = new Listing;
  WString mask = stripPath(path);
  if (mask.starts_with(L"????????")) mask.replace(0, 8, L"*");  // stems of any length
  if (mask.ends_with(L".*")) mask.replace(mask.size() - 2, 2, L"*");
  std::error_code error;
  const fs::path folder = Qx::UTF8FromWString(getPath(path));
  for (fs::directory_iterator i(folder, error), end; i != end; i.increment(error)) {
    const WString name = Qx::WStringFromUTF8(i->path().filename().native());
    if (!matches(mask.c_str(), name.c_str())) continue;
    file_info facts{};
    if (name.starts_with(L'.')) facts.attributes |= file_info::kHidden;
    if (i->is_directory(error)) facts.attributes |= file_info::kFolder;
    if (facts.attributes & ~selector) continue;
    facts.size = i->is_regular_file(error) ? i->file_size(error) : 0;
    facts.modified = facts.changed = i->last_write_time(error).time_since_epoch().count();
    listing->add(name, facts);
  }
  std::sort(listing->listed.begin(), listing->listed.end(),
            [](auto* a, auto* b) { return a->nameView() < b->nameView(); });
  return listing;
}

Directory::Directory(const WString& path, unsigned selector, int, eLocking)
    : listing_(read(path, selector, true)) {}
Directory::Directory(const WString& path, eLocking) : listing_(read(path, 0, true)) {}
FsysDirectory::FsysDirectory(const WString& mask, unsigned selector, int, eLocking)
    : Directory(read(FsysFilenameToWin32Filename(mask), selector, false)) {}

Directory::~Directory() {
  for (file_info* record : listing_->records) ::operator delete(record);
  delete listing_;
}

file_info* Directory::find(const WString& name) {
  const auto found = listing_->find(stripPath(name));
  return found == listing_->listed.end() ? nullptr : *found;
}
unsigned Directory::getcount() const { return static_cast<unsigned>(listing_->listed.size()); }
bool Directory::addFile(const file_info* entry) {
  removeFile(entry);
  listing_->add(WString(entry->nameView()), *entry);
  return true;
}
bool Directory::removeFile(const file_info* entry) {
  const auto found = listing_->find(entry->nameView());
  if (found == listing_->listed.end()) return false;
  listing_->listed.erase(found);
  return true;
}

void DirectoryIterator::set(Directory* directory) { *this = {}, directory_ = directory; }
file_info* DirectoryIterator::first() { return place_ = 0, next(); }
file_info* DirectoryIterator::next() {
  const bool more = directory_ && place_ < directory_->listing_->listed.size();
  return current_ = more ? directory_->listing_->listed[place_++] : nullptr;
}
