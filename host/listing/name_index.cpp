#include "host/listing/name_index.h"

#include <algorithm>
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
  size_t place = placeOf(hash);
  for (; table_[place].handle != 0; place = after(place)) {
    const Entry& entry = table_[place];
    if (entry.hash == hash && store_.at(entry.handle)->nameView() == name) break;
  }
  return place;
}

NameIndex::Handle* NameIndex::find(std::wstring_view name, uint32_t hash) {
  if (count_ == 0) return nullptr;
  Entry& entry = table_[search(name, hash)];
  return entry.handle != 0 ? &entry.handle : nullptr;
}

NameIndex::Handle* NameIndex::insert(Handle handle) {
  makeRoomFor(count_ + 1);
  return insert(Entry{store_.at(handle)->nameHash, handle});
}

NameIndex::Handle* NameIndex::insert(Entry entry) {
  size_t place = placeOf(entry.hash);
  for (; table_[place].handle != 0; place = after(place)) {
    if (table_[place].hash != entry.hash) continue;
    const file_info* there = store_.at(table_[place].handle);
    if (there->nameView() == store_.at(entry.handle)->nameView()) return &table_[place].handle;
  }
  table_[place] = entry;
  ++count_;
  return &table_[place].handle;
}

void NameIndex::makeRoomFor(size_t count) {
  if (fits(count, table_.size())) return;
  size_t places = 16;
  while (!fits(count, places)) places *= 2;
  std::vector<Entry> old(places);
  old.swap(table_);
  shift_ = 32 - static_cast<unsigned>(std::countr_zero(places));
  for (const Entry& entry : old) {
    if (entry.handle == 0) continue;
    size_t place = placeOf(entry.hash);
    while (table_[place].handle != 0) place = after(place);
    table_[place] = entry;
  }
}

void NameIndex::erase(const Handle* found) {
  size_t hole = placeOf(store_.at(*found)->nameHash);
  while (&table_[hole].handle != found) hole = after(hole);
  // What was pushed on by the entry that goes moves up, so that no search stops at the hole.
  const size_t mask = table_.size() - 1;
  for (size_t place = after(hole); table_[place].handle != 0; place = after(place)) {
    const size_t home = placeOf(table_[place].hash);
    if (((place - home) & mask) < ((place - hole) & mask)) continue;
    table_[hole] = table_[place];
    hole = place;
  }
  table_[hole] = {};
  --count_;
}

}  // namespace host
