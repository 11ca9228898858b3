// What the media libraries know of recording formats.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/export.h"

namespace Qx {

// Thousandths of frames per second; 0: not known.  The five rates that are written rounded, 23976,
// 29970, 47952, 59940 and 119880, mean the multiples of 1000/1001.
enum class FrameRate : uint32_t {};

// Never 0, as durations are worked out by dividing by it.  A rate that is not known counts as 60:
// of a drive's minutes, rather too few are promised than too many.
MISCDISC_EXPORT double getFramesPerSecond(FrameRate rate);

// The four-character code under which material of an image format is played out; its first
// character is the lowest byte ("dv25" is 0x35327664).  How a platform numbers its image formats is
// its own matter.
MISCDISC_EXPORT uint32_t lookupPlayoutFCC(uint32_t imageFormat);

namespace Image {
enum class Format : uint32_t {};
MISCDISC_EXPORT bool isMpeg(Format format);
}  // namespace Image

}  // namespace Qx

struct ShotVideoMetadata {
  // As it is before compression.
  struct Picture {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // pixels
    uint16_t bitsPerPixel = 0;
  };
  Qx::FrameRate frameRate{};
  Picture picture;
};

struct MISCDISC_EXPORT CompressionFormat {
  uint32_t imageFormat = 0;
  uint32_t mpegRate = 0;  // megabits per second, of MPEG and VC-3 formats

  // Bytes of one frame of VC-3 (SMPTE ST 2019-1; the codes "AVdn" and "AVdx"), in the class of the
  // shot's picture whose rate is that of the format.  0 for every other format, and for a picture
  // or rate that no class has.
  static uint32_t getFrameSize(const CompressionFormat& format, const ShotVideoMetadata& shot);
};
