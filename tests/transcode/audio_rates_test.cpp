#include "transcode/audio_rates.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "transcode/mp3_convert.h"

namespace mpg {
namespace {

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

using RequestAndResult = std::pair<std::int32_t, std::int32_t>;

TEST(AudioRates, SampleRateIsRoundedUpTo48000AtMost) {
  constexpr RequestAndResult kCases[] = {
      {kLeast, 8000}, {0, 8000},      {8000, 8000},   {8001, 11025},  {11025, 11025},
      {11026, 12000}, {12001, 16000}, {22000, 22050}, {22051, 24000}, {24001, 32000},
      {32001, 44100}, {44100, 44100}, {44101, 48000}, {96000, 48000}, {kMost, 48000}};
  for (const auto& [request, expected] : kCases) {
    EXPECT_EQ(SnapAudioSampleRate(request), expected) << request;
  }
}

TEST(AudioRates, BitRateIsRoundedUpTo320000AtMost) {
  constexpr RequestAndResult kCases[] = {
      {kLeast, 8000},   {0, 8000},        {8000, 8000},     {8001, 16000},    {24000, 24000},
      {32001, 48000},   {48001, 56000},   {64001, 80000},   {128000, 128000}, {130000, 144000},
      {144001, 160000}, {192001, 224000}, {256001, 320000}, {400000, 320000}, {kMost, 320000}};
  for (const auto& [request, expected] : kCases) {
    EXPECT_EQ(SnapAudioBitRate(request), expected) << request;
  }
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

}  // namespace
}  // namespace mpg
