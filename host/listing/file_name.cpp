#include "host/listing/file_name.h"

#include <algorithm>
#include <cstring>

#ifdef __SSE2__
  #include <emmintrin.h>
#endif

#include "miscdisc/platform/values/text.h"

namespace host {
namespace {

constexpr wchar_t kInvalidByte = 0xDC00;

uint64_t loadTwo(const wchar_t* characters) {
  uint64_t value;
  std::memcpy(&value, characters, sizeof value);
  return value;
}

// A character has 21 bits in a place for 32, so that two pairs nearly fit into one.
uint64_t loadFour(const wchar_t* characters) {
  return loadTwo(characters) ^ (loadTwo(characters + 2) << 11);
}

// Both halves of the 128-bit product: every bit of the one operand meets every bit of the other.
uint64_t mix(uint64_t a, uint64_t b) {
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

#ifdef __SSE2__
void storeFour(__m128i characters, wchar_t* out) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), characters);
}

void storeEight(__m128i halves, wchar_t* out) {
  const __m128i zero = _mm_setzero_si128();
  storeFour(_mm_unpacklo_epi16(halves, zero), out);
  storeFour(_mm_unpackhi_epi16(halves, zero), out + 4);
}

// The number of leading bytes that were ASCII and are written now.  The last step may write
// some characters again.
size_t widenAsciiSteps(const char* bytes, size_t count, wchar_t* out) {
  const __m128i zero = _mm_setzero_si128();
  size_t done = 0;
  while (done < count && count >= 16) {
    const size_t at = std::min(done, count - 16);
    const __m128i step = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + at));
    if (_mm_movemask_epi8(step) != 0) return done;
    storeEight(_mm_unpacklo_epi8(step, zero), out + at);
    storeEight(_mm_unpackhi_epi8(step, zero), out + at + 8);
    done = at + 16;
  }
  return done;
}

// The same the other way round, for characters from 1 to 0x7F.
size_t narrowAsciiSteps(const wchar_t* text, size_t count, char* out) {
  const auto load = [&](size_t i) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
  };
  const __m128i notAscii = _mm_set1_epi32(~0x7F);
  const __m128i zero = _mm_setzero_si128();
  size_t done = 0;
  while (done < count && count >= 16) {
    const size_t at = std::min(done, count - 16);
    const __m128i a = load(at), b = load(at + 4), c = load(at + 8), d = load(at + 12);
    const __m128i all =
        _mm_and_si128(notAscii, _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)));
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    const bool wide = _mm_movemask_epi8(_mm_cmpeq_epi32(all, zero)) != 0xFFFF;
    if (wide || _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, zero)) != 0) return done;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), bytes);
    done = at + 16;
  }
  return done;
}
#else
size_t widenAsciiSteps(const char*, size_t, wchar_t*) { return 0; }
size_t narrowAsciiSteps(const wchar_t*, size_t, char*) { return 0; }
#endif

}  // namespace

wchar_t takeCharacter(std::string_view& bytes) {
  const auto byteAt = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byteAt(0);
  size_t length = 1;
  wchar_t character = lead;
  wchar_t least = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, least = 0x80, character = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, least = 0x800, character = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, least = 0x10000, character = lead & 0x07;
  }
  bool valid = length > 1 ? bytes.size() >= length : lead < 0x80;
  for (size_t i = 1; valid && i < length; ++i) {
    valid = (byteAt(i) & 0xC0) == 0x80;
    character = (character << 6) | (byteAt(i) & 0x3F);
  }
  // Overlong forms, surrogates and what lies above the last code point are not UTF-8.
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (!valid || character < least || character > 0x10FFFF || surrogate) {
    length = 1;
    character = kInvalidByte + lead;
  }
  bytes.remove_prefix(length);
  return character;
}

size_t widen(std::string_view bytes, wchar_t* out) {
  size_t count = widenAsciiSteps(bytes.data(), bytes.size(), out);
  bytes.remove_prefix(count);
  while (!bytes.empty()) {
    const char first = bytes[0];
    if (first >= 0) {
      out[count++] = first;
      bytes.remove_prefix(1);
    } else {
      out[count++] = takeCharacter(bytes);
    }
  }
  out[count] = 0;
  return count;
}

NativePath::NativePath(std::wstring_view text) {
  bytes_[0] = '\0';
  if (text.size() >= sizeof bytes_) return;
  size_t done = narrowAsciiSteps(text.data(), text.size(), bytes_);
  while (done < text.size() && text[done] > 0 && text[done] < 0x80) {
    bytes_[done] = static_cast<char>(text[done]);
    ++done;
  }
  if (done < text.size()) {
    const String rest = Qx::UTF8FromWString(text.substr(done));
    const bool named = done + rest.size() < sizeof bytes_ && rest.find('\0') == String::npos;
    if (!named) {
      bytes_[0] = '\0';
      return;
    }
    std::memcpy(bytes_ + done, rest.data(), rest.size());
    done += rest.size();
  }
  bytes_[done] = '\0';
  size_ = done;
}

uint32_t hashOf(std::wstring_view name) {
  constexpr uint64_t kSeed = 0x8AE62F2B7C0DA4D3;
  constexpr uint64_t kOdd = 0xD1B54A32D192ED03;
  const wchar_t* at = name.data();
  size_t left = name.size();
  uint64_t hash = kSeed ^ left;
  for (; left >= 8; left -= 8, at += 8) {
    hash = mix(loadFour(at) ^ hash, loadFour(at + 4) ^ kOdd);
  }
  if (left & 4) {
    hash = mix(loadFour(at) ^ hash, kOdd);
    at += 4;
  }
  uint64_t tail = 0;
  if (left & 2) {
    tail = loadTwo(at);
    at += 2;
  }
  const uint64_t last = left & 1 ? static_cast<uint64_t>(*at) : 0;
  hash = mix(tail ^ hash, last ^ kOdd);
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

}  // namespace host
