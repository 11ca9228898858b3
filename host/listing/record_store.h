// The memory of a listing: its records, one after the other in the order in which they came.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>

#include "miscdisc/platform/directory.h"

namespace host {

// Records lie in blocks of 64 KiB and never move, so walking them goes through memory without
// any links, and 32 bits name one.  The first block is smaller and part of the store: the
// listings of single files, of which every patch makes one, need no other.  A record that is
// removed stays where it is and is passed over from then on.  A store that cannot get memory
// throws std::bad_alloc and is unchanged.
class RecordStore {
 public:
  using Handle = uint32_t;  // the block, and the record's place in it in units of 8 bytes

  RecordStore();
  RecordStore(const RecordStore&) = delete;
  RecordStore& operator=(const RecordStore&) = delete;
  ~RecordStore();

  // Room for a record with a name of at most nameLength characters; nothing of it is set.  It
  // joins the store with commit(), or makes way for the next prepare().
  file_info* prepare(size_t nameLength);
  Handle preparedHandle() const { return handleOf(prepared_, blocks_.size() - 1); }
  // REQUIRES: the prepared record is complete, its name included.
  void commit();

  file_info* at(Handle handle) const {
    return reinterpret_cast<file_info*>(blocks_[handle >> kPlaceBits] +
                                        (handle & kPlaceMask) * kUnit);
  }

  static void remove(file_info* record) { record->state = kRemoved; }

  // The first record from the start of a block on, and the one after a record, which may have
  // been removed; block is the one that holds the record.  Null past the end.
  file_info* first(size_t& block) const {
    block = 0;
    return listedFrom(sizeof(Header), block);
  }
  file_info* after(const file_info* record, size_t& block) const {
    const std::byte* end = reinterpret_cast<const std::byte*>(record) + bytesOf(record->nameLength);
    return listedFrom(static_cast<size_t>(end - blocks_[block]), block);
  }

  Handle handleOf(const file_info* record, size_t block) const {
    const auto offset = reinterpret_cast<const std::byte*>(record) - blocks_[block];
    return static_cast<Handle>(block << kPlaceBits | static_cast<size_t>(offset) / kUnit);
  }

 private:
  // Bytes from the start of a block: its header first, then the records.
  struct Header {
    uint32_t used;
    uint32_t size;
  };

  static constexpr uint32_t kListed = 0;
  static constexpr uint32_t kRemoved = 1;
  static constexpr size_t kBlockBytes = 64 * 1024;
  static constexpr size_t kFirstBlockBytes = 512;
  static constexpr size_t kUnit = 8;
  static constexpr unsigned kPlaceBits = 13;
  static constexpr uint32_t kPlaceMask = (1u << kPlaceBits) - 1;
  static_assert((size_t{1} << kPlaceBits) * kUnit == kBlockBytes);

  static size_t bytesOf(size_t nameLength) {
    const size_t bytes = sizeof(file_info) + (nameLength + 1) * sizeof(wchar_t);
    return (bytes + kUnit - 1) / kUnit * kUnit;
  }
  static Header& header(std::byte* block) { return *reinterpret_cast<Header*>(block); }
  // The first record that lies at the offset or behind it.
  file_info* listedFrom(size_t offset, size_t& block) const;
  void addBlock(size_t recordBytes);
  // One call instead of a page fault for every 4 KiB, which are half of what a listing costs
  // beyond the kernel's answers.  Only a hint: a kernel that does not know it refuses.
  static void mapPages(std::byte* block);

  boost::container::small_vector<std::byte*, 1> blocks_;
  file_info* prepared_ = nullptr;
  alignas(kUnit) std::byte firstBlock_[kFirstBlockBytes];
};

}  // namespace host
