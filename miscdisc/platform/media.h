// What the media libraries know of recording formats.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/export.h"

namespace Qx {

enum class FrameRate : uint32_t {};

MISCDISC_EXPORT double getFramesPerSecond(FrameRate rate);

// The four-character code under which material of an image format is played out; its first
// character is the lowest byte.
MISCDISC_EXPORT uint32_t lookupPlayoutFCC(uint32_t imageFormat);

namespace Image {
enum class Format : uint32_t {};
MISCDISC_EXPORT bool isMpeg(Format format);
}  // namespace Image

}  // namespace Qx

struct ShotVideoMetadata {
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
  uint32_t mpegRate = 0;  // megabits per second, of MPEG formats

  // Bytes of one frame; 0 when the format has no fixed size.
  static uint32_t getFrameSize(const CompressionFormat& format, const ShotVideoMetadata& shot);
};
