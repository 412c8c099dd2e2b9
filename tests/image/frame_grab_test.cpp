#include <cstdlib>
#include <memory>

#include "support/kit.h"

namespace {

using FrameGrab = test::InFolder;

namespace fs = std::filesystem;

bool Grab(const std::string& video, const std::string& output, int position = 0, int height = 0,
          ImageFormat format = MPG_IMAGE_PPM) {
  return MPG_GetImageP(format, video.c_str(), output.c_str(), position, height, 75) == 1;
}

struct Bitmap {
  std::unique_ptr<unsigned char, decltype(&std::free)> block{nullptr, std::free};
  std::uint32_t size = 4711;
};

Bitmap GrabBitmap(const std::string& video, std::uint32_t second, std::uint32_t height = 0) {
  Bitmap bitmap;
  bitmap.block.reset(
      static_cast<unsigned char*>(MPG_GetImageBMP(video.c_str(), second, &bitmap.size, height)));
  return bitmap;
}

int NumberIn(const std::string& path) {
  const std::vector<int> numbers = test::PictureOrder(path);
  return numbers.empty() ? -1 : numbers.front();
}

int NumberIn(const Bitmap& bitmap) {
  const bool isWhole = bitmap.block != nullptr && bitmap.size == 58 + 3 * 64 * 48;
  return isWhole ? test::PictureNumber(bitmap.block.get() + 58) : -1;
}

TEST_F(FrameGrab, PassesOverPicturesOfOneColour) {
  struct Case {
    const char *blackSeconds, *options;
  };
  // With a key picture every 5; then the encoder makes the cut an intra picture that isn't a key.
  for (const Case& c : {Case{"1", "-g 5 -bf 0"}, Case{"0.6", ""}}) {
    const std::string black = c.blackSeconds;
    const std::string video = test::MakeMedia(
        "late.mp4", "-f lavfi -i color=black:size=320x240:rate=25:duration=" + black +
                        " -f lavfi -i testsrc2=size=320x240:rate=25:duration=4 -filter_complex "
                        "concat -c:v libx264 " +
                        c.options);
    ASSERT_TRUE(Grab(video, output));
    EXPECT_GT(test::Psnr(test::Pixels(output), test::Pixels(video, "-ss " + black)), 30);
  }
  const std::string black =
      test::MakeMedia("black.mp4", "-f lavfi -i color=black:size=64x48:duration=2 -c:v libx264");
  EXPECT_FALSE(Grab(black, output));
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(FrameGrab, TakesTheFirstKeyPictureBehindAPosition) {
  struct Case {
    std::int32_t percent100, position;
    int picture;
  };
  // Of MPEG-4 the predicted pictures in front are decoded, too.
  for (const std::string codec :
       {"-c:v libx264 -qp 4 -sc_threshold 0 -bf 2 ", "-c:v mpeg4 -q:v 1 -sc_threshold 1000000000 ",
        "-c:v mpeg4 -q:v 1 -sc_threshold 1000000000 -bf 2 "}) {
    const std::string video = test::NumberedVideo(
        "number-10.mp4", codec + "-g 1000 -force_key_frames \"expr:not(mod(n,10))\"");
    for (const Case& c : {Case{100, 0, 0}, Case{100, 1, 10}, Case{100, 50, 50}, Case{100, 51, 60},
                          Case{1000, 333, 40}, Case{100, -3, 0}}) {
      const test::Percent100Is scale(c.percent100);
      ASSERT_TRUE(Grab(video, output, c.position)) << c.position;
      EXPECT_EQ(NumberIn(output), c.picture) << codec << c.position;
    }
    EXPECT_FALSE(Grab(video, output, 95)) << "no key picture is left";
    EXPECT_FALSE(fs::exists(output));
  }
}

TEST_F(FrameGrab, PassesOver251PacketsOr26Errors) {
  const std::string avi =
      test::MakeMedia("motion.avi", "-f lavfi -i testsrc2=size=64x48:duration=12 -c:v mjpeg");
  struct Case {
    int damaged;
    bool hasPoster, hasSample;
  };
  for (const Case& c :
       {Case{26, true, true}, Case{27, true, false}, Case{251, true, false}, Case{252}}) {
    const std::string video = test::DamagedFrames(folder / "a.avi", avi, 0, c.damaged);
    EXPECT_EQ(Grab(video, output), c.hasPoster) << c.damaged;
    EXPECT_EQ(GrabBitmap(video, 0).block != nullptr, c.hasSample) << c.damaged;
  }
}

TEST_F(FrameGrab, NeedsALengthOnlyBehindTheStart) {
  const std::string raw = test::MakeMedia("raw.h264", "-i " + test::H264Video() + " -c copy");
  EXPECT_TRUE(Grab(raw, output));
  EXPECT_FALSE(Grab(raw, output, 50));
}

TEST_F(FrameGrab, SamplesEvery20thPictureAroundASecond) {
  struct Case {
    std::uint32_t second;
    int inMemory, inFile;
  };
  // MPEG-4 is decoded all through; of H.264 packets are looked at first. AVI tells no times.
  for (const auto& [name, codec] :
       {std::pair{"number-55.mp4", std::string(test::kCrispH264) + "-bf 0"},
        {"number-55.mp4", "-c:v mpeg4 -q:v 1 -sc_threshold 1000000000"},
        {"number-55.avi", std::string(test::kCrispH264) + "-bf 3 -avoid_negative_ts disabled"}}) {
    // Key pictures at 0 and 2.2 s, so that samples are 0, 20, 40 ... or 55, 75, 95.
    const std::string video = test::NumberedVideo(name, codec + " -g 55");
    for (const Case& c :
         {Case{0, 0, 0},    // the first sample is there already
          Case{1, 20, 40},  // the last before the time, the first behind it
          Case{3, 55, 75},  // the first at the time
          Case{9, 95, 95},  // behind the end: the last sample
          // The 60th seek, one second earlier each time, still finds it; then from the start on.
          Case{62, 95, 95}, Case{63, 80, 80}}) {
      SCOPED_TRACE(name + codec + std::to_string(c.second));
      EXPECT_EQ(NumberIn(GrabBitmap(video, c.second)), c.inMemory);
      ASSERT_EQ(MPG_GetImageJPG(video.c_str(), output.c_str(), c.second, 0), 1);
      EXPECT_EQ(NumberIn(output), c.inFile);
    }
  }
  // Quality 20 makes the first divisor 40.
  const std::string file = test::ReadBytes(output);
  EXPECT_EQ(file.substr(file.find("\xff\xdb"), 6), std::string("\xff\xdb\0\x84\0\x28", 6));
}

TEST_F(FrameGrab, CountsSecondsFromTheStreamsStart) {
  // Transport streams are sought by time alone: the grab goes back to a key picture, 60.
  const std::string late = test::MakeMedia(
      "late.ts",
      "-i " + test::NumberedVideo("number-10.mp4", test::kCrispH264 + std::string("-g 10 -bf 2")) +
          " -c copy -output_ts_offset 40000");
  EXPECT_EQ(NumberIn(GrabBitmap(late, 3)), 60);
}

TEST_F(FrameGrab, TakesCoverArtOnlyWhereNothingMoves) {
  const std::string cover =
      test::MakeMedia("cover.png", "-f lavfi -i testsrc=size=64x64 -frames:v 1");
  const std::string song =
      test::MakeMedia("song.m4a", "-i " + test::AacAudio() + " -i " + cover +
                                      " -map 0 -map 1 -c copy -disposition:v:0 attached_pic");
  // The cover is the first stream.
  const std::string film = test::MakeMedia(
      "film.mp4",
      "-i " + cover + " -i " +
          test::NumberedVideo("number-50.mp4", test::kCrispH264 + std::string("-g 50 -bf 0")) +
          " -map 0 -map 1 -c copy -disposition:v:0 attached_pic");
  ASSERT_TRUE(Grab(song, output, 50));
  EXPECT_EQ(test::Pixels(output), test::Pixels(cover));
  EXPECT_NE(GrabBitmap(song, 1).block, nullptr);
  ASSERT_TRUE(Grab(film, output, 40));
  EXPECT_EQ(NumberIn(output), 50);
  EXPECT_EQ(NumberIn(GrabBitmap(film, 3)), 70);
}

TEST_F(FrameGrab, ScalesByHeightToAWidthOfWholeFours) {
  struct Case {
    const char *size, *header;
    int height;
  };
  for (const Case& c :
       {Case{"854x480", "P6\n428 240\n", 240}, Case{"1920x1080", "P6\n160 90\n", 90},
        Case{"161x121", "P6\n161 121\n", 0}, Case{"16x320", "P6\n4 16\n", 16}}) {
    const std::string video = test::MakeMedia(
        std::string(c.size) + ".mkv",
        "-f lavfi -i testsrc=duration=0.2:size=" + std::string(c.size) + " -c:v ffv1");
    ASSERT_TRUE(Grab(video, output, 0, c.height));
    EXPECT_TRUE(test::ReadBytes(output).starts_with(c.header)) << c.size;
  }
}

TEST_F(FrameGrab, FailsWithoutAPictureAndDeletesWhatItPromises) {
  const std::string video = test::H264Video();
  const std::string whole = test::ReadBytes(video);
  test::WriteBytes(folder / "cut.mp4", whole.substr(0, whole.size() / 2));
  // The pictures' bytes are gone, the index is whole.
  std::string noise = test::ReadBytes(
      test::NumberedVideo("start.mp4", test::kCrispH264 + std::string("-movflags +faststart")));
  for (std::size_t i = noise.find("mdat") + 4; i < noise.size(); ++i) {
    noise[i] = static_cast<char>(i * 7);
  }
  test::WriteBytes(folder / "noise.mp4", noise);
  const std::string before = "stood here before";
  struct Case {
    std::string video;
    int height = 0;
    ImageFormat format = MPG_IMAGE_PPM;
  };
  for (const Case& c :
       {Case{folder / ""}, Case{folder / "cut.mp4"}, Case{folder / "noise.mp4"},
        Case{test::OnlyDecodable(folder / "yuv.avi")}, Case{test::AacAudio()}, Case{video, -1},
        Case{video, 2147483647}, Case{video, 60000}, Case{video, 0, 3}}) {
    SCOPED_TRACE(c.video + " " + std::to_string(c.height));
    test::WriteBytes(output, before);
    EXPECT_FALSE(Grab(c.video, output, 0, c.height, c.format));
    EXPECT_FALSE(fs::exists(output));
    if (c.format == 3) continue;

    test::WriteBytes(output, before);
    const auto height = static_cast<std::uint32_t>(c.height);
    EXPECT_EQ(MPG_GetImageJPG(c.video.c_str(), output.c_str(), 1, height), 0);
    EXPECT_EQ(test::ReadBytes(output), before);
    const Bitmap bitmap = GrabBitmap(c.video, 1, height);
    EXPECT_EQ(bitmap.block, nullptr);
    EXPECT_EQ(bitmap.size, 0u);
  }
}

}  // namespace
