// Finds the records of a listing by name.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/listing/record_store.h"

namespace host {

// An open table of the handles of records, searched by linear probing from the place that the
// upper bits of the name's hash give.  The lower bits stand by themselves as one byte a place: a
// search that finds nothing reads only these, which for many folders still fit into the
// processor's caches, and the table is built without reading any record.
//
// Pointers to handles die at the next insert or erase.
class NameIndex {
 public:
  using Handle = RecordStore::Handle;

  struct Entry {
    uint32_t hash = 0;  // of the record's name
    Handle handle = 0;
  };

  // The store outlives the index.
  explicit NameIndex(const RecordStore& store) : store_(store) {}

  // Fills an empty index.  Of entries with one name the first stays; refused gets the handles of
  // the others.
  void build(const std::vector<Entry>& entries, std::vector<Handle>& refused);

  // The handle of the record with this name, or null.
  Handle* find(std::wstring_view name, uint32_t hash);

  // Gives the handle that the record's name has in the index: another one than the record's when
  // the name was there already.
  Handle* insert(Handle handle);

  void erase(const Handle* found);

 private:
  static constexpr uint8_t kFree = 0;

  static uint8_t tagOf(uint32_t hash) {
    const auto lowest = static_cast<uint8_t>(hash);
    return lowest == kFree ? uint8_t{1} : lowest;
  }
  size_t placeOf(uint32_t hash) const { return hash >> shift_; }
  size_t homeOf(size_t place) const { return placeOf(store_.at(handles_[place])->nameHash); }
  size_t after(size_t place) const { return (place + 1) & (tags_.size() - 1); }
  // The place of the name, or the free one where it belongs.
  size_t search(std::wstring_view name, uint32_t hash) const;
  Handle* insert(Entry entry);
  void put(size_t place, Entry entry);
  void makeRoomFor(size_t count);

  const RecordStore& store_;
  std::vector<uint8_t> tags_;    // a power of two of them, never all taken
  std::vector<Handle> handles_;  // where the tag is not free
  unsigned shift_ = 0;
  size_t count_ = 0;
};

}  // namespace host
