// Finds the records of a listing by name.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <string_view>

#include "host/listing/file_name.h"
#include "host/listing/record_store.h"

namespace host {

// A flat table of record handles.  The hash of a name is kept in its record, so that the table
// can be built, and grow, without reading any name.
class NameIndex {
 public:
  using Handle = RecordStore::Handle;

  // The store outlives the index.
  explicit NameIndex(const RecordStore& store) : handles_(0, Hash{&store}, Equal{&store}) {}

  void reserve(size_t count) { handles_.reserve(count); }

  const Handle* find(std::wstring_view name) const {
    const auto found = handles_.find(Key{name, hashOf(name)});
    return found == handles_.end() ? nullptr : &*found;
  }

  // The entry of the handle's name.  Another one than the handle, when the name is there
  // already: it keeps its record.
  const Handle* insert(Handle handle) { return &*handles_.insert(handle).first; }

  // From now on the name is found at another record, which has the same name.
  static void replace(const Handle* found, Handle other) { *const_cast<Handle*>(found) = other; }

  void erase(const Handle* found) { handles_.erase(*found); }

 private:
  struct Key {
    std::wstring_view name;
    uint32_t hash;
  };

  struct Hash {
    using is_transparent = void;
    using is_avalanching = void;

    // The table places by the upper bits of 64 and tells apart by the lowest.
    static size_t spread(uint32_t hash) { return hash * size_t{0x9E3779B97F4A7C15}; }
    size_t operator()(Handle handle) const { return spread(store->at(handle)->nameHash); }
    size_t operator()(const Key& key) const { return spread(key.hash); }

    const RecordStore* store;
  };

  struct Equal {
    using is_transparent = void;

    bool operator()(Handle a, Handle b) const {
      const file_info* record = store->at(a);
      return (*this)(Key{record->nameView(), record->nameHash}, b);
    }
    bool operator()(const Key& key, Handle handle) const {
      const file_info* record = store->at(handle);
      return record->nameHash == key.hash && record->nameView() == key.name;
    }
    bool operator()(Handle handle, const Key& key) const { return (*this)(key, handle); }

    const RecordStore* store;
  };

  boost::unordered_flat_set<Handle, Hash, Equal> handles_;
};

}  // namespace host
