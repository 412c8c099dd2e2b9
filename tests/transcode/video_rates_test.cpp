#include "transcode/video_rates.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/host.h"
#include "transcode/video_reencode.h"

namespace mpg {

void PrintTo(const FrameSize& size, std::ostream* out) {
  *out << size.width << " x " << size.height;
}

namespace {

TEST(SnapVideoBitRate, RoundsUpToTheLadder) {
  constexpr std::pair<std::int32_t, std::int32_t> kCases[] = {
      {500, 512000},        {1000, 24000},        {1500000, 1500000},
      {1500001, 2000000},   {20000000, 12000000}, {0, 24000},
      {-2147483647, 24000}, {192, 196000},        {999, 1024000}};
  for (const auto& [request, expected] : kCases) {
    EXPECT_EQ(SnapVideoBitRate(request), expected) << request;
  }
}

TEST(SnapH263Size, KnowsFiveSizes) {
  constexpr std::pair<FrameSize, FrameSize> kCases[] = {
      {{176, 144}, {176, 144}},  {{1408, 1152}, {1408, 1152}}, {{640, 360}, {352, 288}},
      {{176, 100}, {128, 96}},   {{1920, 1080}, {1408, 1152}}, {{528, 432}, {704, 576}},
      {{1920, 800}, {704, 576}}, {{255, 1000}, {128, 96}},     {{1000, 191}, {128, 96}},
      {{0, 144}, {0, 144}}};
  for (const auto& [input, expected] : kCases) EXPECT_EQ(SnapH263Size(input), expected);
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
