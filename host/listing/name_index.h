// Finds the records of a listing by name.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/listing/record_store.h"

namespace host {

// An open table of the names' hashes and the handles of their records, searched by linear probing
// from the place that the hash's upper bits give.  The hash stands beside the handle, so that a
// search reads one line of memory before the record that it finds, and the table is built, and
// grows, without reading any record.
//
// Pointers to handles die at the next insert or erase.
class NameIndex {
 public:
  using Handle = RecordStore::Handle;

  struct Entry {
    uint32_t hash = 0;
    Handle handle = 0;  // 0: nothing here; no record has it
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
  size_t placeOf(uint32_t hash) const { return hash >> shift_; }
  size_t after(size_t place) const { return (place + 1) & (table_.size() - 1); }
  // The place of the name, or the empty one where it belongs.
  size_t search(std::wstring_view name, uint32_t hash) const;
  Handle* insert(Entry entry);
  void makeRoomFor(size_t count);

  const RecordStore& store_;
  std::vector<Entry> table_;  // a power of two, never full
  unsigned shift_ = 0;
  size_t count_ = 0;
};

}  // namespace host
