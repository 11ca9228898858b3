#include "host/listing/name_index.h"

#include <array>
#include <bit>

namespace host {
namespace {

// Up to 7 of 10 places are taken, so that a name that is not there is known after a few.
bool fits(size_t count, size_t places) { return count * 10 <= places * 7; }

// A table that fits into the processor's caches needs no order.
constexpr size_t kManyEntries = 1 << 15;
constexpr unsigned kSortedBits = 6;

// The entries by the upper bits of their hashes, those of like bits in the order in which they
// came: the table is then filled part by part, each of which fits into the caches.
std::vector<NameIndex::Entry> inTableOrder(const std::vector<NameIndex::Entry>& entries) {
  std::array<size_t, (1 << kSortedBits) + 1> begin{};
  const auto part = [](const NameIndex::Entry& entry) { return entry.hash >> (32 - kSortedBits); };
  for (const NameIndex::Entry& entry : entries) ++begin[part(entry) + 1];
  for (size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
  std::vector<NameIndex::Entry> sorted(entries.size());
  for (const NameIndex::Entry& entry : entries) sorted[begin[part(entry)]++] = entry;
  return sorted;
}

}  // namespace

void NameIndex::build(const std::vector<Entry>& entries, std::vector<Handle>& refused) {
  makeRoomFor(entries.size());
  const auto fill = [&](const std::vector<Entry>& from) {
    for (const Entry& entry : from) {
      if (*insert(entry) != entry.handle) refused.push_back(entry.handle);
    }
  };
  if (entries.size() < kManyEntries) {
    fill(entries);
  } else {
    fill(inTableOrder(entries));
  }
}

size_t NameIndex::search(std::wstring_view name, uint32_t hash) const {
  const uint8_t tag = tagOf(hash);
  size_t place = placeOf(hash);
  for (; tags_[place] != kFree; place = after(place)) {
    if (tags_[place] != tag) continue;
    const file_info* record = store_.at(handles_[place]);
    if (record->nameHash == hash && record->nameView() == name) break;
  }
  return place;
}

NameIndex::Handle* NameIndex::find(std::wstring_view name, uint32_t hash) {
  if (count_ == 0) return nullptr;
  const size_t place = search(name, hash);
  return tags_[place] != kFree ? &handles_[place] : nullptr;
}

NameIndex::Handle* NameIndex::insert(Handle handle) {
  makeRoomFor(count_ + 1);
  return insert(Entry{store_.at(handle)->nameHash, handle});
}

NameIndex::Handle* NameIndex::insert(Entry entry) {
  const uint8_t tag = tagOf(entry.hash);
  size_t place = placeOf(entry.hash);
  for (; tags_[place] != kFree; place = after(place)) {
    if (tags_[place] != tag) continue;
    const file_info* there = store_.at(handles_[place]);
    if (there->nameHash != entry.hash) continue;
    if (there->nameView() == store_.at(entry.handle)->nameView()) return &handles_[place];
  }
  put(place, entry);
  ++count_;
  return &handles_[place];
}

void NameIndex::put(size_t place, Entry entry) {
  tags_[place] = tagOf(entry.hash);
  handles_[place] = entry.handle;
}

void NameIndex::makeRoomFor(size_t count) {
  if (fits(count, tags_.size())) return;
  size_t places = 16;
  while (!fits(count, places)) places *= 2;
  std::vector<uint8_t> tags(places, kFree);
  std::vector<Handle> handles(places);
  tags.swap(tags_);
  handles.swap(handles_);
  shift_ = 32 - static_cast<unsigned>(std::countr_zero(places));
  for (size_t old = 0; old < tags.size(); ++old) {
    if (tags[old] == kFree) continue;
    const Entry entry{store_.at(handles[old])->nameHash, handles[old]};
    size_t place = placeOf(entry.hash);
    while (tags_[place] != kFree) place = after(place);
    put(place, entry);
  }
}

void NameIndex::erase(const Handle* found) {
  auto hole = static_cast<size_t>(found - handles_.data());
  // What was pushed on by the entry that goes moves up, so that no search stops at the hole.
  const size_t mask = tags_.size() - 1;
  for (size_t place = after(hole); tags_[place] != kFree; place = after(place)) {
    if (((place - homeOf(place)) & mask) < ((place - hole) & mask)) continue;
    tags_[hole] = tags_[place];
    handles_[hole] = handles_[place];
    hole = place;
  }
  tags_[hole] = kFree;
  --count_;
}

}  // namespace host
