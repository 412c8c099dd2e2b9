// Re-encoded video is what was asked for, and else what the source was.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "support/encoders.h"
#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using ReencodedVideo = test::InFolder;

using test::Transcode;

// A source of ffmpeg's as video with audio; the encoder's arguments follow the filter.
std::string Video(const std::string& name, const std::string& filter, const std::string& encoder) {
  return test::MakeMedia(name, "-f lavfi -i \"" + filter +
                                   "\" -f lavfi -i sine=duration=1:sample_rate=48000 " +
                                   "-c:a libmp3lame -t 1 " + encoder);
}

std::string Plain(const std::string& extension, const std::string& size, const std::string& codec) {
  return Video("plain" + size + "." + extension, "testsrc2=rate=25:size=" + size, "-c:v " + codec);
}

constexpr const char* kX264 = "libx264 -preset ultrafast ";

struct Rgb {
  int red, green, blue;
};

// The pixel's components, each within a few steps.
testing::AssertionResult IsNear(const std::string& pixels, std::size_t index, Rgb expected) {
  constexpr int kTolerance = 5;
  const std::array<int, 3> wanted{expected.red, expected.green, expected.blue};
  if (pixels.size() < 3 * (index + 1)) return testing::AssertionFailure() << "no such pixel";
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const int found = static_cast<unsigned char>(pixels[3 * index + i]);
    if (std::abs(found - wanted[i]) > kTolerance) {
      return testing::AssertionFailure() << "component " << i << " is " << found;
    }
  }
  return testing::AssertionSuccess();
}

TEST_F(ReencodedVideo, HasTheTagSizeAndShapeAskedFor) {
  struct Case {
    std::string input;
    OutputFormatId formatId;
    std::int32_t codec, width, height, scalePercent;
    const char* expected;  // tag, width, height, pixel aspect
  };
  const std::string wide = Plain("mp4", "854x480", kX264);
  const std::string pal =
      Video("pal.mp4", "testsrc2=size=720x576:rate=25,setsar=16/15", std::string("-c:v ") + kX264);
  const std::string odd = Video("odd.mkv", "testsrc=size=427x241:rate=25",
                                "-c:v libvpx-vp9 -cpu-used 8 -pix_fmt yuv420p");
  const std::string small = Plain("3gp.mkv", "176x144", "h263");
  const Case cases[] = {
      {wide, MPG_FORMAT_MP4, 0, 0, 240, 0, "avc1\n428\n240\n1:1"},
      {wide, MPG_FORMAT_MP4, 6, 0, 240, 0, "mp4v\n428\n240\n1:1"},
      {wide, MPG_FORMAT_MP4, 5, 1, 0, 50, "avc1\n428\n240\n1:1"},
      {wide, MPG_FORMAT_MP4, 5, 0, 0, 50, "avc1\n854\n480\n1:1"},
      {wide, MPG_FORMAT_MP4, 5, 1, 0, 100, "avc1\n2\n2\n1:1"},
      {wide, MPG_FORMAT_MP4, 0, 1, 1, 0, "avc1\n2\n2\n1:1"},
      {wide, MPG_FORMAT_MP4, 0, 31, 31, 0, "avc1\n32\n32\n427:240"},
      {wide, MPG_FORMAT_AVI, 1, 0, 0, 0, "XVID\n854\n480\n1:1"},
      {wide, MPG_FORMAT_AVI, 2, 0, 0, 0, "DX50\n854\n480\n1:1"},
      {wide, MPG_FORMAT_AVI, 3, 0, 0, 0, "DIVX\n854\n480\n1:1"},
      {wide, MPG_FORMAT_AVI, 6, 0, 0, 0, "FMP4\n854\n480\n1:1"},
      {odd, MPG_FORMAT_MP4, 5, 0, 0, 0, "avc1\n428\n242\n1:1"},
      {pal, MPG_FORMAT_MP4, 0, 640, 360, 0, "avc1\n640\n360\n3:4"},
      {pal, MPG_FORMAT_MP4, 6, 632, 362, 0, "mp4v\n632\n362\n181:237"},
      {wide, MPG_FORMAT_3GP, 4, 0, 0, 0, "s263\n704\n576\n115:79"},
      {small, MPG_FORMAT_3GP, 0, 0, 96, 0, "s263\n128\n96\n11:12"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input + " to " + c.expected);
    // OpenH264 begins with 16 x 16.
    if (c.expected == std::string("avc1\n2\n2\n1:1") && !test::HasEncoder("libx264")) continue;
    ASSERT_EQ(Transcode(c.input, output,
                        {.formatId = static_cast<std::int32_t>(c.formatId),
                         .targetAudioCodec = c.formatId == MPG_FORMAT_3GP ? 3 : 0,
                         .targetVideoCodec = c.codec,
                         .targetWidth = c.width,
                         .targetHeight = c.height,
                         .scalePercent = c.scalePercent,
                         .videoReencode = 1}),
              0);
    EXPECT_EQ(
        test::Probe(output, "stream=codec_tag_string,width,height,sample_aspect_ratio", "v:0"),
        c.expected);
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(ReencodedVideo, HasKeyFramesWhereItsEncoderWantsThem) {
  const std::string film =
      test::NumberedVideo("few keys.mp4", "-f lavfi -i sine=duration=4 -c:v libx264 -g 250");
  ASSERT_EQ(Transcode(film, output, {.formatId = MPG_FORMAT_MP4, .videoReencode = 1}), 0);
  const std::string flags = test::Probe(output, "packet=flags", "v:0");
  EXPECT_LE(std::ranges::count(flags, 'K'), 2);
}

TEST_F(ReencodedVideo, LooksRightFromEncodersThatAreHurried) {
  for (const char* codec : {"libsvtav1 -preset 10", "libvpx-vp9 -cpu-used 8 -deadline realtime"}) {
    const std::string film = Plain("mp4", "960x540", codec);
    ASSERT_EQ(MPG_SaveTrimmedVideo(film.c_str(), output.c_str(), 0, 1), 0);
    EXPECT_GT(test::Psnr(test::Pixels(output), test::Pixels(film)), 25) << codec;
  }
}

TEST_F(ReencodedVideo, KeepsFieldsApart) {
  struct Case {
    const char *codec, *field, *isTopFirst, *first;
  };
  for (const auto& [codec, field, isTopFirst, first] :
       {Case{"libx264", "tff", "1", "t"}, Case{"mpeg2video", "bff", "0", "b"},
        Case{"mpeg4", "tff", "1", "t"}}) {
    // Fields of one grey each: lines that were mixed would be between the two.
    const std::string film = test::MakeMedia(
        "fields.mkv",
        std::string("-f lavfi -i sine=duration=1 -f lavfi -i \"nullsrc=size=320x240:rate=25:") +
            "duration=1,geq=lum='if(mod(Y,2),40,210)':cb=128:cr=128,setfield=" + field +
            "\" -flags:v +ildct+ilme -top " + isTopFirst + " -c:a mp2 -q:v 2 -c:v " + codec);
    for (const std::int32_t target : {0, 5, 6}) {  // the same, H.264, MPEG-4
      SCOPED_TRACE(codec + std::to_string(target));
      // OpenH264 codes whole frames.
      const bool isH264 = target == 5 || (target == 0 && codec == std::string("libx264"));
      if (isH264 && !test::HasEncoder("libx264")) continue;
      ASSERT_EQ(Transcode(film, output,
                          {.formatId = MPG_FORMAT_TS,
                           .targetVideoCodec = target,
                           .targetHeight = 120,
                           .targetVideoBitRate = 2000000}),
                0);
      EXPECT_EQ(test::Probe(output, "frame=interlaced_frame,top_field_first", "v:0").substr(0, 3),
                "1\n" + std::string(isTopFirst));
      // MPEG-4 says it of its frames alone.
      const std::string stream = test::Probe(output, "stream=field_order", "v:0");
      EXPECT_TRUE(stream.starts_with(first) ||
                  test::Probe(output, "stream=codec_name", "v:0").starts_with("mpeg4"));
      const std::string pixels = test::Pixels(output);
      EXPECT_TRUE(IsNear(pixels, 160 * 60 + 80, {226, 226, 226}));
      EXPECT_TRUE(IsNear(pixels, 160 * 61 + 80, {28, 28, 28}));
    }
  }
}

TEST_F(ReencodedVideo, KeepsColours) {
  struct Case {
    std::string size, encoder;
    std::int32_t codec;
    const char* expected;  // pixel format, range, matrix
  };
  const Case cases[] = {
      {"320x240", "ffv1 -pix_fmt bgr0", 5, "yuv420p\ntv\nsmpte170m"},
      {"1280x720", "ffv1 -pix_fmt bgr0", 5, "yuv420p\ntv\nbt709"},
      {"320x240", "ffv1 -pix_fmt bgr0", 6, "yuv420p\nunknown\nunknown"},
      {"320x240", "mjpeg -q:v 1 -pix_fmt yuvj420p", 6, "yuv420p\nunknown\nunknown"},
      {"320x240", "mjpeg -q:v 1 -pix_fmt yuvj420p", 5, "yuvj420p\npc\nbt470bg"},
      {"320x240", "libvpx-vp9 -crf 1 -b:v 0 -pix_fmt yuv420p -color_range pc", 5,
       "yuvj420p\npc\nunknown"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.encoder + " to " + c.expected);
    const bool isVp9 = c.encoder.find("vp9") != std::string::npos;
    const std::string film = Video("colour.mkv",
                                   "color=0x311C3C:rate=10:size=" + c.size +
                                       (isVp9 ? ",scale=out_range=pc,format=yuv420p" : ""),
                                   "-c:v " + c.encoder);
    ASSERT_EQ(Transcode(film, output,
                        {.formatId = MPG_FORMAT_TS,
                         .targetVideoCodec = c.codec,
                         .targetVideoBitRate = 2000000}),
              0);
    EXPECT_EQ(test::Probe(output, "stream=pix_fmt,color_range,color_space", "v:0")
                  .substr(0, std::string(c.expected).size()),
              c.expected);
    EXPECT_TRUE(IsNear(test::Pixels(output), 5000, {49, 28, 60}));
  }
}

TEST_F(ReencodedVideo, IsTurnedWhereTheContainerCannotSayIt) {
  // The four factors of a display matrix that are 1 or -1.
  constexpr std::array<std::array<int, 4>, 8> kMatrices{{{1, 0, 0, 1},
                                                         {0, 1, -1, 0},
                                                         {-1, 0, 0, -1},
                                                         {0, -1, 1, 0},
                                                         {-1, 0, 0, 1},
                                                         {1, 0, 0, -1},
                                                         {0, 1, 1, 0},
                                                         {0, -1, -1, 0}}};
  const std::string upright = test::ReadBytes(Video(
      "upright.mp4", "testsrc2=size=320x240:rate=10,setsar=4/3", std::string("-c:v ") + kX264));
  for (const auto& [a, b, c, d] : kMatrices) {
    SCOPED_TRACE(std::to_string(a) + std::to_string(b) + std::to_string(c) + std::to_string(d));
    std::string film = upright;
    const std::size_t matrix = film.find("tkhd") + 44;
    const auto put = [&](std::size_t number, int one) {
      const char bytes[] = {static_cast<char>(one < 0 ? -1 : 0), static_cast<char>(one), 0, 0};
      film.replace(matrix + 4 * number, 4, bytes, 4);
    };
    put(0, a), put(1, b), put(3, c), put(4, d);
    test::WriteBytes(folder / "film.mp4", film);
    const std::string expected = test::Pixels(folder / "film.mp4");  // ffmpeg turns it
    for (const OutputFormatId format : {MPG_FORMAT_MP4, MPG_FORMAT_TS, MPG_FORMAT_AVI}) {
      ASSERT_EQ(Transcode(folder / "film.mp4", output,
                          {.formatId = static_cast<std::int32_t>(format),
                           .targetVideoCodec = 5,
                           .targetVideoBitRate = 3000000}),
                0);
      EXPECT_GT(test::Psnr(test::Pixels(output), expected), 28) << format;
      const char* const shape = format == MPG_FORMAT_MP4 || a != 0 ? "4:3" : "3:4";
      EXPECT_EQ(test::Probe(output, "stream=sample_aspect_ratio", "v:0").substr(0, 3), shape);
    }
  }
}

}  // namespace
