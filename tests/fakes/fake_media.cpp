#include "miscdisc/platform/media.h"
#include "tests/fakes/fake_platform.h"

namespace Qx {

double getFramesPerSecond(FrameRate rate) {
  return fakePlatform().frameRates[static_cast<uint32_t>(rate)];
}

uint32_t lookupPlayoutFCC(uint32_t imageFormat) { return fakePlatform().playoutCodes[imageFormat]; }

bool Image::isMpeg(Format format) {
  return fakePlatform().mpegFormats.contains(static_cast<uint32_t>(format));
}

}  // namespace Qx

uint32_t CompressionFormat::getFrameSize(const CompressionFormat&, const ShotVideoMetadata&) {
  ++fakePlatform().frameSizesAsked;
  return fakePlatform().frameSize;
}
