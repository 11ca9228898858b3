// Recording formats: what people choose from when they ask how many minutes a drive holds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "miscdisc/platform/media.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// The number of an image format is the code under which it is played out.  "MPEG" stands for every
// MPEG format: what these take follows from their bit rate alone.
constexpr uint32_t imageFormatOf(std::string_view fourCharacters) {
  uint32_t number = 0;
  for (int i = 3; i >= 0; --i) number = number << 8 | static_cast<uint8_t>(fourCharacters[i]);
  return number;
}

struct RecordingFormat {
  std::string name;         // "dv25": what people type; letter case counts
  std::string description;  // "DV 25 Mb/s, 720 x 576 at 25"
  CompressionFormat format;
  // The picture's bits per pixel are those before compression, rounded up where they are no whole
  // number.  Never without a size or a rate.
  ShotVideoMetadata shot;
};

// The built-in formats in the order of docs/formats.md, then those that config.toml adds, by name.
// One of config.toml takes the place of the built-in one of its name.  From any thread.
MISCDISC_EXPORT std::vector<RecordingFormat> recordingFormats();

std::vector<RecordingFormat> builtInFormats();

std::string describePicture(const ShotVideoMetadata& shot);  // "720 x 576 at 25"

}  // namespace host
