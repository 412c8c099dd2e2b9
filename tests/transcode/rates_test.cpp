// Rates and sizes that encoders accept, by what was asked for.
#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include "transcode/audio_rates.h"
#include "transcode/frame_size.h"
#include "transcode/mp3_convert.h"
#include "transcode/video_rates.h"
#include "transcode/video_reencode.h"

namespace mpg {

void PrintTo(const FrameSize& size, std::ostream* out) {
  *out << size.width << " x " << size.height;
}

namespace {

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

// Each rung is for itself and for all from the one below on, the last for everything above.
void ExpectLadder(std::int32_t (*snap)(std::int32_t), const std::vector<std::int32_t>& rungs) {
  std::int32_t below = kLeast;
  for (const std::int32_t rung : rungs) {
    EXPECT_EQ(snap(below + 1), rung);
    EXPECT_EQ(snap(rung), rung);
    below = rung;
  }
  EXPECT_EQ(snap(kMost), below);
}

TEST(Rates, AreRoundedUpToTheirLadder) {
  ExpectLadder(SnapAudioSampleRate, {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000});
  ExpectLadder(SnapAudioBitRate, {8000, 16000, 24000, 32000, 48000, 56000, 64000, 80000, 96000,
                                  112000, 128000, 144000, 160000, 192000, 224000, 256000, 320000});
  ExpectLadder(SnapVideoBitRate, {24000,   48000,   64000,   96000,   128000,  196000,   256000,
                                  384000,  512000,  768000,  1024000, 1200000, 1500000,  2000000,
                                  2500000, 3000000, 4000000, 6000000, 8000000, 10000000, 12000000});
  // In kilobits.
  constexpr std::pair<std::int32_t, std::int32_t> kCases[] = {
      {0, 24000}, {192, 196000}, {500, 512000}, {999, 1024000}, {1000, 24000}};
  for (const auto& [request, expected] : kCases) EXPECT_EQ(SnapVideoBitRate(request), expected);
}

TEST(Mp3BitRate, FollowsInputRequestAndSampleRate) {
  struct Case {
    std::int64_t file, stream;
    std::int32_t request;
    int sampleRate;
    std::int64_t expected;
  };
  const Case cases[] = {
      {320000, 192000, 0, 44100, 192000}, {400000, 20000, 0, 44100, 128000},
      {0, 128000, 100000, 44100, 112000}, {100000, 96000, 128000, 44100, 96000},
      {32000, 256000, 0, 44100, 32000},   {31999, 256000, 0, 44100, 256000},
      {256001, 0, 0, 44100, 128000},      {0, 96123, -1, 44100, 96123},
      {0, 128000, 8, 44100, 8000},        {0, 128000, 127999, 44100, 128000},
      {0, 128000, 0, 11025, 64000},       {0, 128000, 0, 12000, 64000},
      {0, 128000, 0, 12001, 128000},      {0, 256000, 0, 22050, 160000},
      {0, 256000, 0, 24000, 160000},      {0, 256000, 0, 24001, 256000},
      {0, 128000, 32000, 8000, 32000},    {kMost, kLeast, kMost, kMost, 128000},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ChooseMp3BitRate(c.file, c.stream, c.request, c.sampleRate), c.expected)
        << c.file << " " << c.stream << " " << c.request << " " << c.sampleRate;
  }
}

TEST(SnapH263Size, KnowsFiveSizes) {
  constexpr std::pair<FrameSize, FrameSize> kCases[] = {
      {{176, 144}, {176, 144}},    {{1408, 1152}, {1408, 1152}}, {{640, 360}, {352, 288}},
      {{176, 100}, {128, 96}},     {{255, 1000}, {128, 96}},     {{1000, 191}, {128, 96}},
      {{256, 192}, {352, 288}},    {{528, 431}, {352, 288}},     {{527, 432}, {352, 288}},
      {{528, 432}, {704, 576}},    {{1056, 863}, {704, 576}},    {{1055, 864}, {704, 576}},
      {{1056, 864}, {1408, 1152}}, {{0, 144}, {0, 144}},         {{144, 0}, {144, 0}}};
  for (const auto& [input, expected] : kCases) EXPECT_EQ(SnapH263Size(input), expected);
}

TEST(FitFrame, GrowsWantedSizesAndKeepsTheShape) {
  AVCodec encoder{};
  const auto fit = [&encoder](AVCodecID codec, const char* name, const FrameShape& source,
                              FrameSize wanted, bool hasFields) {
    encoder.id = codec;
    encoder.name = name;
    return FitFrame(source, wanted, encoder, AV_PIX_FMT_YUV420P, hasFields);
  };
  // Pixels whose shape isn't known are taken for squares.
  const FrameShape shape = fit(AV_CODEC_ID_H264, "libx264", {{854, 480}, {0, 1}}, {31, 31}, false);
  EXPECT_EQ(shape.size, (FrameSize{32, 32}));
  EXPECT_EQ(av_cmp_q(shape.pixelAspect, {427, 240}), 0);
  // Half the height has chroma samples that the fields would share.
  EXPECT_EQ(fit(AV_CODEC_ID_MPEG2VIDEO, "mpeg2video", {{720, 484}, {1, 1}}, {360, 242}, true).size,
            (FrameSize{360, 244}));
  EXPECT_EQ(fit(AV_CODEC_ID_H264, "libopenh264", {{64, 2}, {1, 1}}, {0, 0}, false).size,
            (FrameSize{64, 16}));
}

TEST(RequestedSize, FollowsWhatTheHostGives) {
  struct Case {
    std::int32_t width, height, scalePercent, codec;
    FrameSize input, expected;
  };
  constexpr FrameSize kHd{1280, 720};
  constexpr Case kCases[] = {
      {0, 360, 0, 0, kHd, {640, 360}},       {320, 0, 0, 0, kHd, {320, 180}},
      {100, 100, 0, 0, kHd, {100, 100}},     {0, 0, 50, 0, kHd, {0, 0}},
      {100, 0, 50, 0, kHd, {640, 360}},      {0, 0, 0, 4, {640, 360}, {352, 288}},
      {100, 100, 0, 4, kHd, {704, 576}},     {0, 2147483647, 0, 0, kHd, {-1, 2147483647}},
      {0, 240, 0, 0, {854, 480}, {427, 240}}};
  for (const Case& c : kCases) {
    const TranscodeParams params{.targetVideoCodec = c.codec,
                                 .targetWidth = c.width,
                                 .targetHeight = c.height,
                                 .scalePercent = c.scalePercent};
    EXPECT_EQ(RequestedSize(params, c.input), c.expected) << c.width << " x " << c.height;
  }
}

}  // namespace
}  // namespace mpg
