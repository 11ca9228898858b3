#include "host/listing/record_store.h"

#include <algorithm>
#include <new>

namespace host {

RecordStore::~RecordStore() {
  for (std::byte* block : blocks_) ::operator delete(block);
}

file_info* RecordStore::prepare(size_t nameLength) {
  const size_t bytes = bytesOf(nameLength);
  if (blocks_.empty() || header(blocks_.back()).used + bytes > header(blocks_.back()).size) {
    addBlock(bytes);
  }
  std::byte* block = blocks_.back();
  prepared_ = reinterpret_cast<file_info*>(block + header(block).used);
  return prepared_;
}

void RecordStore::commit() {
  prepared_->state = kListed;
  header(blocks_.back()).used += static_cast<uint32_t>(bytesOf(prepared_->nameLength));
}

file_info* RecordStore::listedFrom(size_t offset, size_t& block) const {
  for (; block < blocks_.size(); ++block, offset = sizeof(Header)) {
    const size_t used = header(blocks_[block]).used;
    while (offset < used) {
      auto* record = reinterpret_cast<file_info*>(blocks_[block] + offset);
      if (record->state == kListed) return record;
      offset += bytesOf(record->nameLength);
    }
  }
  return nullptr;
}

void RecordStore::addBlock(size_t recordBytes) {
  const size_t size = std::max(nextBlockBytes_, sizeof(Header) + recordBytes);
  // Both are beyond what a Linux file name or the memory of a listing can come to.
  if (size > kBlockBytes || blocks_.size() > UINT32_MAX >> kPlaceBits) throw std::bad_alloc();

  if (blocks_.size() == blocks_.capacity())
    blocks_.reserve(std::max<size_t>(1, 2 * blocks_.size()));
  auto* block = static_cast<std::byte*>(::operator new(size));
  header(block) = {sizeof(Header), static_cast<uint32_t>(size)};
  blocks_.push_back(block);
  nextBlockBytes_ = kBlockBytes;
}

}  // namespace host
