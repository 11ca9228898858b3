#include "miscdisc/platform/media.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/formats.h"

namespace {

constexpr uint32_t kMpeg = host::imageFormatOf("MPEG");
constexpr uint32_t kVc3 = host::imageFormatOf("AVdn");
constexpr uint32_t kVc3AnySize = host::imageFormatOf("AVdx");

// What a VC-3 frame takes, by SMPTE ST 2019-1: its coding units, of which an interlaced frame has
// two.  Other picture sizes of "AVdn" are not listed here and count as unknown.
struct Vc3Class {
  uint32_t width, height;
  uint32_t frameBytes;
};
constexpr Vc3Class kVc3Classes[] = {
    {1920, 1080, 188416}, {1920, 1080, 606208}, {1920, 1080, 917504}, {1920, 1080, 1835008},
    {1440, 1080, 417792}, {1440, 1080, 606208}, {1280, 720, 303104},  {1280, 720, 458752},
};

// Of the classes for any picture size the same standard gives the bytes of 255 macroblocks; a frame
// is rounded to whole units of 4096 bytes, and has two of them at least.  At 1920 x 1080 this comes
// to the four sizes above.
constexpr uint64_t kBytesOf255Macroblocks[] = {5888, 18944, 28672, 57344};
constexpr uint64_t kVc3Unit = 4096;

std::vector<uint32_t> fixedFrameSizes(const ShotVideoMetadata::Picture& picture) {
  std::vector<uint32_t> sizes;
  for (const Vc3Class& known : kVc3Classes) {
    const bool fits = known.width == picture.width && known.height == picture.height;
    if (fits) sizes.push_back(known.frameBytes);
  }
  return sizes;
}

std::vector<uint32_t> computedFrameSizes(const ShotVideoMetadata::Picture& picture) {
  if (picture.width == 0 || picture.height == 0) return {};
  const uint64_t macroblocks =
      ((uint64_t{picture.width} + 15) / 16) * ((uint64_t{picture.height} + 15) / 16);
  std::vector<uint32_t> sizes;
  for (const uint64_t bytes : kBytesOf255Macroblocks) {
    const uint64_t units = (macroblocks * bytes / 255 + kVc3Unit / 2) / kVc3Unit;
    sizes.push_back(static_cast<uint32_t>(std::max<uint64_t>(units, 2) * kVc3Unit));
  }
  return sizes;
}

std::vector<uint32_t> frameSizes(uint32_t code, const ShotVideoMetadata::Picture& picture) {
  if (code == kVc3) return fixedFrameSizes(picture);
  if (code == kVc3AnySize) return computedFrameSizes(picture);
  return {};
}

}  // namespace

namespace Qx {

double getFramesPerSecond(FrameRate rate) {
  constexpr double kFastestCommon = 60.0;
  switch (const auto thousandths = static_cast<uint32_t>(rate)) {
    case 0:
      return kFastestCommon;
    case 23976:
      return 24000.0 / 1001;
    case 29970:
      return 30000.0 / 1001;
    case 47952:
      return 48000.0 / 1001;
    case 59940:
      return 60000.0 / 1001;
    case 119880:
      return 120000.0 / 1001;
    default:
      return thousandths / 1000.0;
  }
}

uint32_t lookupPlayoutFCC(uint32_t imageFormat) { return imageFormat; }

bool Image::isMpeg(Format format) { return static_cast<uint32_t>(format) == kMpeg; }

}  // namespace Qx

// The names of classes are rounded rates, up to a twentieth off ("36" is 37.7 at 25 frames), and
// classes of one picture differ by far more than the tenth that is allowed here.
uint32_t CompressionFormat::getFrameSize(const CompressionFormat& format,
                                         const ShotVideoMetadata& shot) {
  const double meant = format.mpegRate * 1e6 / 8 / Qx::getFramesPerSecond(shot.frameRate);
  const auto sizes = frameSizes(Qx::lookupPlayoutFCC(format.imageFormat), shot.picture);
  const auto nearest = std::min_element(sizes.begin(), sizes.end(), [&](uint32_t a, uint32_t b) {
    return std::abs(a - meant) < std::abs(b - meant);
  });
  if (nearest == sizes.end() || std::abs(*nearest - meant) > meant / 10) return 0;
  return *nearest;
}
