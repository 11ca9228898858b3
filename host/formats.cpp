#include "host/formats.h"

#include <algorithm>

#include "host/settings.h"

namespace host {
namespace {

// Packs 6 pixels into 16 bytes, which is 21 1/3 bits a pixel, and fills lines up to whole 48
// pixels.
constexpr uint16_t kV210Bits = 22;

struct BuiltIn {
  const char* name;
  const char* kind;
  const char* code;
  uint32_t megabits;  // per second; 0 where the code tells
  ShotVideoMetadata::Picture picture;
  uint32_t frameRate;  // thousandths
};

constexpr BuiltIn kBuiltIns[] = {
    {"dv25", "DV 25 Mb/s", "dv25", 0, {720, 576, 12}, 25000},
    {"dv25-ntsc", "DV 25 Mb/s", "dv25", 0, {720, 480, 12}, 29970},
    {"dv50", "DV 50 Mb/s", "dv50", 0, {720, 576, 16}, 25000},
    {"dv100", "DV 100 Mb/s", "dvh1", 0, {1440, 1080, 16}, 25000},
    {"imx50", "MPEG 4:2:2 intra 50 Mb/s", "MPEG", 50, {720, 576, 16}, 25000},
    {"hdv25", "MPEG 4:2:0 long GOP 25 Mb/s", "MPEG", 25, {1440, 1080, 12}, 25000},
    {"xdcam-hd35", "MPEG 4:2:0 long GOP 35 Mb/s", "MPEG", 35, {1440, 1080, 12}, 25000},
    {"xdcam-hd50", "MPEG 4:2:2 long GOP 50 Mb/s", "MPEG", 50, {1920, 1080, 16}, 25000},
    {"vc3-36", "VC-3 36 Mb/s", "AVdn", 36, {1920, 1080, 16}, 25000},
    {"vc3-120", "VC-3 120 Mb/s", "AVdn", 120, {1920, 1080, 16}, 25000},
    {"vc3-185", "VC-3 185 Mb/s", "AVdn", 185, {1920, 1080, 16}, 25000},
    {"vc3-uhd", "VC-3 480 Mb/s", "AVdx", 480, {3840, 2160, 16}, 25000},
    {"sd8", "uncompressed 4:2:2, 8 bits", "UYVY", 0, {720, 576, 16}, 25000},
    {"sd10", "uncompressed 4:2:2, 10 bits", "v210", 0, {720, 576, kV210Bits}, 25000},
    {"hd8", "uncompressed 4:2:2, 8 bits", "UYVY", 0, {1920, 1080, 16}, 25000},
    {"hd8-ntsc", "uncompressed 4:2:2, 8 bits", "UYVY", 0, {1920, 1080, 16}, 29970},
    {"hd10", "uncompressed 4:2:2, 10 bits", "v210", 0, {1920, 1080, kV210Bits}, 25000},
    {"hd-rgb", "uncompressed RGB, 8 bits", "BGRA", 0, {1920, 1080, 32}, 25000},
    {"uhd8", "uncompressed 4:2:2, 8 bits", "UYVY", 0, {3840, 2160, 16}, 25000},
    {"uhd10", "uncompressed 4:2:2, 10 bits", "v210", 0, {3840, 2160, kV210Bits}, 25000},
};

std::string describeRate(Qx::FrameRate rate) {
  const auto thousandths = static_cast<uint32_t>(rate);
  std::string text = std::to_string(thousandths / 1000);
  if (thousandths % 1000 == 0) return text;
  text += "." + std::to_string(1000 + thousandths % 1000).substr(1);
  while (text.back() == '0') text.pop_back();
  return text;
}

}  // namespace

std::string describePicture(const ShotVideoMetadata& shot) {
  return std::to_string(shot.picture.width) + " x " + std::to_string(shot.picture.height) + " at " +
         describeRate(shot.frameRate);
}

std::vector<RecordingFormat> builtInFormats() {
  std::vector<RecordingFormat> formats;
  for (const BuiltIn& builtIn : kBuiltIns) {
    const ShotVideoMetadata shot{Qx::FrameRate{builtIn.frameRate}, builtIn.picture};
    formats.push_back({builtIn.name,
                       std::string(builtIn.kind) + ", " + describePicture(shot),
                       {imageFormatOf(builtIn.code), builtIn.megabits},
                       shot});
  }
  return formats;
}

std::vector<RecordingFormat> recordingFormats() {
  std::vector<RecordingFormat> formats = builtInFormats();
  for (const RecordingFormat& configured : settings()->formats) {
    const auto same = std::find_if(formats.begin(), formats.end(), [&](const auto& format) {
      return format.name == configured.name;
    });
    if (same == formats.end()) {
      formats.push_back(configured);
    } else {
      *same = configured;
    }
  }
  return formats;
}

}  // namespace host
