#include "host/listing/record_store.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace host {

RecordStore::RecordStore() {
  header(firstBlock_) = {sizeof(Header), kFirstBlockBytes};
  blocks_.push_back(firstBlock_);
}

RecordStore::~RecordStore() {
  for (size_t i = 1; i < blocks_.size(); ++i) ::operator delete(blocks_[i]);
}

file_info* RecordStore::prepare(size_t nameLength) {
  const size_t bytes = bytesOf(nameLength);
  if (header(blocks_.back()).used + bytes > header(blocks_.back()).size) addBlock(bytes);
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

void RecordStore::mapPages(std::byte* block) {
  static const auto pageBytes = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const size_t overhang = reinterpret_cast<uintptr_t>(block) % pageBytes;
  madvise(block - overhang, (overhang + kBlockBytes) / pageBytes * pageBytes, MADV_POPULATE_WRITE);
}

void RecordStore::addBlock(size_t recordBytes) {
  // Both are beyond what a Linux file name or the memory of a listing can come to.
  const bool tooLong = sizeof(Header) + recordBytes > kBlockBytes;
  if (tooLong || blocks_.size() > UINT32_MAX >> kPlaceBits) throw std::bad_alloc();

  if (blocks_.size() == blocks_.capacity()) blocks_.reserve(2 * blocks_.size());
  auto* block = static_cast<std::byte*>(::operator new(kBlockBytes));
  if (blocks_.size() > 1) mapPages(block);
  header(block) = {sizeof(Header), kBlockBytes};
  blocks_.push_back(block);
}

}  // namespace host
