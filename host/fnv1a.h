// The FNV-1a hash, in 64 bits: the same number for the same bytes on every machine.
#pragma once

#include <cstdint>
#include <string_view>

namespace host {

inline uint64_t fnv1a(std::string_view bytes) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

}  // namespace host
