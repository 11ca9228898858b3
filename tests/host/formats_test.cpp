#include "host/formats.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "host/settings.h"
#include "tests/host/home.h"

using test::configure;

namespace {

constexpr uint32_t kDv25 = 0x35327664;  // 'd', 'v', '2', '5' from the lowest byte
constexpr uint32_t kMpeg = 0x4745504d;
constexpr uint32_t kVc3 = 0x6e645641;
constexpr uint32_t kVc3AnySize = 0x78645641;

double framesPerSecond(uint32_t rate) { return Qx::getFramesPerSecond(Qx::FrameRate{rate}); }

uint32_t frameSize(uint32_t code, uint32_t megabits, uint32_t width, uint32_t height,
                   uint32_t rate) {
  return CompressionFormat::getFrameSize({code, megabits},
                                         {Qx::FrameRate{rate}, {width, height, 16}});
}

std::vector<std::string> names() {
  std::vector<std::string> all;
  for (const auto& format : host::recordingFormats()) all.push_back(format.name);
  return all;
}

host::RecordingFormat named(const std::string& name) {
  for (const auto& format : host::recordingFormats()) {
    if (format.name == name) return format;
  }
  ADD_FAILURE() << "no format " << name;
  return {};
}

// What the manual says of a format, but for its minutes.
std::string manualRow(const host::RecordingFormat& format) {
  const uint32_t code = format.format.imageFormat;
  std::string fourcc;
  for (int i = 0; i < 4; ++i) fourcc += static_cast<char>(code >> 8 * i);
  const uint32_t megabits = format.format.mpegRate;
  return "| `" + format.name + "` | " + format.description + " | " + fourcc + " | " +
         std::to_string(format.shot.picture.bitsPerPixel) + " | " +
         (megabits ? std::to_string(megabits) : "-") + " | ";
}

class FormatsTest : public test::HomeTest {};

}  // namespace

TEST(Media, AFrameRateIsInThousandths) {
  EXPECT_EQ(framesPerSecond(25000), 25.0);
  EXPECT_EQ(framesPerSecond(12500), 12.5);
  EXPECT_EQ(framesPerSecond(1), 0.001);
}

TEST(Media, RatesThatAreWrittenRoundedAreMeantExactly) {
  EXPECT_EQ(framesPerSecond(23976), 24000.0 / 1001);
  EXPECT_EQ(framesPerSecond(29970), 30000.0 / 1001);
  EXPECT_EQ(framesPerSecond(47952), 48000.0 / 1001);
  EXPECT_EQ(framesPerSecond(59940), 60000.0 / 1001);
  EXPECT_EQ(framesPerSecond(119880), 120000.0 / 1001);
  EXPECT_EQ(framesPerSecond(29971), 29.971);
}

TEST(Media, ARateThatIsNotKnownCountsAsAFastOne) { EXPECT_EQ(framesPerSecond(0), 60.0); }

TEST(Media, AnImageFormatIsItsPlayoutCode) {
  EXPECT_EQ(host::imageFormatOf("dv25"), kDv25);
  EXPECT_EQ(host::imageFormatOf(" RGB"), 0x42475220u);
  EXPECT_EQ(Qx::lookupPlayoutFCC(kDv25), kDv25);
  EXPECT_EQ(Qx::lookupPlayoutFCC(kMpeg), kMpeg);
  EXPECT_EQ(Qx::lookupPlayoutFCC(0x23), 0x23u);
  EXPECT_EQ(Qx::lookupPlayoutFCC(0), 0u);
}

TEST(Media, OnlyTheMpegCodeIsMpeg) {
  EXPECT_TRUE(Qx::Image::isMpeg(Qx::Image::Format{kMpeg}));
  EXPECT_FALSE(Qx::Image::isMpeg(Qx::Image::Format{kDv25}));
  EXPECT_FALSE(Qx::Image::isMpeg(Qx::Image::Format{kVc3}));
  EXPECT_FALSE(Qx::Image::isMpeg(Qx::Image::Format{0}));
}

TEST(Media, AVc3FrameHasTheSizeOfTheClassThatItsRateNames) {
  struct {
    uint32_t megabits, width, height, rate, bytes;
  } const cases[] = {
      {36, 1920, 1080, 23976, 188416},  {36, 1920, 1080, 25000, 188416},
      {45, 1920, 1080, 29970, 188416},  {75, 1920, 1080, 50000, 188416},
      {90, 1920, 1080, 59940, 188416},  {115, 1920, 1080, 23976, 606208},
      {120, 1920, 1080, 25000, 606208}, {145, 1920, 1080, 29970, 606208},
      {240, 1920, 1080, 50000, 606208}, {290, 1920, 1080, 59940, 606208},
      {175, 1920, 1080, 23976, 917504}, {185, 1920, 1080, 25000, 917504},
      {220, 1920, 1080, 29970, 917504}, {365, 1920, 1080, 50000, 917504},
      {440, 1920, 1080, 59940, 917504}, {365, 1920, 1080, 25000, 1835008},
      {84, 1440, 1080, 25000, 417792},  {120, 1440, 1080, 25000, 606208},
      {60, 1280, 720, 23976, 303104},   {120, 1280, 720, 50000, 303104},
      {145, 1280, 720, 59940, 303104},  {90, 1280, 720, 23976, 458752},
      {180, 1280, 720, 50000, 458752},  {220, 1280, 720, 59940, 458752},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(frameSize(kVc3, c.megabits, c.width, c.height, c.rate), c.bytes)
        << c.megabits << " at " << c.rate;
  }
}

TEST(Media, ARateFarFromEveryClassHasNoFrameSize) {
  EXPECT_EQ(frameSize(kVc3, 0, 1920, 1080, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 60, 1920, 1080, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 150, 1920, 1080, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 700, 1920, 1080, 25000), 0u);
}

TEST(Media, APictureThatNoClassHasHasNoFrameSize) {
  EXPECT_EQ(frameSize(kVc3, 120, 3840, 2160, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 120, 1920, 1088, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 120, 960, 1080, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3, 120, 0, 0, 25000), 0u);
  EXPECT_EQ(frameSize(kVc3AnySize, 120, 0, 0, 25000), 0u);
}

TEST(Media, TheClassesForAnySizeAgreeWithTheFixedOnesInHd) {
  EXPECT_EQ(frameSize(kVc3AnySize, 36, 1920, 1080, 25000), 188416u);
  EXPECT_EQ(frameSize(kVc3AnySize, 120, 1920, 1080, 25000), 606208u);
  EXPECT_EQ(frameSize(kVc3AnySize, 185, 1920, 1080, 25000), 917504u);
  EXPECT_EQ(frameSize(kVc3AnySize, 365, 1920, 1080, 25000), 1835008u);
}

TEST(Media, AVc3FrameOfAnySizeIsWorkedOutInWholeUnits) {
  EXPECT_EQ(frameSize(kVc3AnySize, 150, 3840, 2160, 25000), 749568u);
  EXPECT_EQ(frameSize(kVc3AnySize, 480, 3840, 2160, 25000), 2408448u);
  EXPECT_EQ(frameSize(kVc3AnySize, 728, 3840, 2160, 25000), 3641344u);
  EXPECT_EQ(frameSize(kVc3AnySize, 1457, 3840, 2160, 25000), 7286784u);
  EXPECT_EQ(frameSize(kVc3AnySize, 3, 64, 64, 50000), 8192u);
}

TEST(Media, FormatsOtherThanVc3HaveNoFrameSize) {
  EXPECT_EQ(frameSize(kDv25, 25, 720, 576, 25000), 0u);
  EXPECT_EQ(frameSize(kMpeg, 50, 1920, 1080, 25000), 0u);
  EXPECT_EQ(frameSize(0, 120, 1920, 1080, 25000), 0u);
}

TEST_F(FormatsTest, TheManualListsTheBuiltInOnes) {
  std::istringstream manual(test::readFile(MISCDISC_SOURCE_DIR "/docs/formats.md").value_or(""));
  std::vector<std::string> listed;
  for (std::string line; std::getline(manual, line);) {
    if (line.rfind("| `", 0) == 0) listed.push_back(line.substr(0, line.rfind(" | ") + 3));
  }
  std::vector<std::string> builtIn;
  for (const auto& format : host::recordingFormats()) builtIn.push_back(manualRow(format));
  EXPECT_EQ(listed, builtIn);
}

TEST_F(FormatsTest, ABuiltInOneSaysAllThatIsKnown) {
  const host::RecordingFormat dv = named("dv25-ntsc");
  EXPECT_EQ(dv.description, "DV 25 Mb/s, 720 x 480 at 29.97");
  EXPECT_EQ(dv.format.imageFormat, kDv25);
  EXPECT_EQ(dv.format.mpegRate, 0u);
  EXPECT_EQ(dv.shot.frameRate, Qx::FrameRate{29970});
  EXPECT_EQ(dv.shot.picture.width, 720u);
  EXPECT_EQ(dv.shot.picture.height, 480u);
  EXPECT_EQ(dv.shot.picture.bitsPerPixel, 12);

  EXPECT_EQ(named("xdcam-hd50").format.imageFormat, kMpeg);
  EXPECT_EQ(named("xdcam-hd50").format.mpegRate, 50u);
}

TEST_F(FormatsTest, ThoseOfDrivesAreThereFromTheStart) {
  const std::vector<std::string> all = names();
  for (const std::string& name : host::settings()->drivesFormats) {
    EXPECT_EQ(std::count(all.begin(), all.end(), name), 1) << name;
  }
}

TEST_F(FormatsTest, NamesAreDifferent) {
  std::map<std::string, int> count;
  for (const std::string& name : names()) EXPECT_EQ(++count[name], 1) << name;
}

TEST_F(FormatsTest, EveryVc3OneHasAFrameSize) {
  std::map<std::string, uint32_t> sizes;
  for (const auto& format : host::recordingFormats()) {
    const uint32_t code = format.format.imageFormat;
    if (code != kVc3 && code != kVc3AnySize) continue;
    sizes[format.name] = CompressionFormat::getFrameSize(format.format, format.shot);
  }
  EXPECT_EQ(
      sizes,
      (std::map<std::string, uint32_t>{
          {"vc3-36", 188416}, {"vc3-120", 606208}, {"vc3-185", 917504}, {"vc3-uhd", 2408448}}));
}

TEST_F(FormatsTest, ConfiguredOnesFollowByName) {
  const auto builtIn = names();
  configure(R"([formats.zz]
fourcc = "MPEG"
width = 1440
height = 1080
bits = 12
rate = 23.976
megabits = 18
[formats."a.b_C-1"]
fourcc = " RGB"
width = 1280
height = 720
bits = 24
rate = 50
)");
  auto expected = builtIn;
  expected.insert(expected.end(), {"a.b_C-1", "zz"});
  EXPECT_EQ(names(), expected);

  const host::RecordingFormat rgb = named("a.b_C-1");
  EXPECT_EQ(rgb.description, " RGB, 1280 x 720 at 50");
  EXPECT_EQ(rgb.format.imageFormat, 0x42475220u);
  EXPECT_EQ(rgb.format.mpegRate, 0u);
  EXPECT_EQ(rgb.shot.frameRate, Qx::FrameRate{50000});
  EXPECT_EQ(rgb.shot.picture.width, 1280u);
  EXPECT_EQ(rgb.shot.picture.height, 720u);
  EXPECT_EQ(rgb.shot.picture.bitsPerPixel, 24);

  const host::RecordingFormat mpeg = named("zz");
  EXPECT_EQ(mpeg.description, "MPEG, 1440 x 1080 at 23.976");
  EXPECT_EQ(mpeg.format.imageFormat, kMpeg);
  EXPECT_EQ(mpeg.format.mpegRate, 18u);
  EXPECT_EQ(mpeg.shot.frameRate, Qx::FrameRate{23976});
}

TEST_F(FormatsTest, TheLargestFrameIsTaken) {
  configure("[formats.x]\nfourcc='BGRA'\nwidth=8192\nheight=8192\nbits=48\nrate=1000\n");
  EXPECT_EQ(host::settingsProblem(), "");
  EXPECT_EQ(named("x").shot.picture.width, 8192u);
  EXPECT_EQ(named("x").shot.picture.height, 8192u);
  EXPECT_EQ(named("x").shot.picture.bitsPerPixel, 48);
  EXPECT_EQ(named("x").shot.frameRate, Qx::FrameRate{1000000});
}

// 1.001 times 1000 is a little less than 1001 in binary.
TEST_F(FormatsTest, ARateIsRoundedToThousandths) {
  configure("[formats.x]\nfourcc='BGRA'\nwidth=64\nheight=64\nbits=32\nrate=1.001\n");
  EXPECT_EQ(named("x").shot.frameRate, Qx::FrameRate{1001});
}

TEST_F(FormatsTest, AConfiguredOneTakesTheBuiltInPlaceOfItsName) {
  const auto builtIn = names();
  configure(R"([formats.dv50]
fourcc = "UYVY"
width = 640
height = 480
bits = 16
rate = 30
description = "ours"
)");
  EXPECT_EQ(names(), builtIn);
  EXPECT_EQ(named("dv50").description, "ours");
  EXPECT_EQ(named("dv50").format.imageFormat, 0x59565955u);
}

TEST_F(FormatsTest, LetterCaseMakesAnotherName) {
  const size_t builtIn = names().size();
  configure("[formats.DV25]\nfourcc='dv25'\nwidth=720\nheight=576\nbits=12\nrate=25\n");
  EXPECT_EQ(names().size(), builtIn + 1);
  EXPECT_EQ(names().back(), "DV25");
}

TEST_F(FormatsTest, AProblemLeavesTheBuiltInOnes) {
  const auto builtIn = names();
  configure(
      "[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=12\nrate=25\n[volumes]\ne=1\n");
  EXPECT_NE(host::settingsProblem(), "");
  EXPECT_EQ(names(), builtIn);
}
