// What re-encoded audio sounds like: tones keep frequency, level and channel, clicks their time,
// the whole its length.
#include <cmath>
#include <numbers>

#include "support/kit.h"

namespace {

using ReencodedAudio = test::InFolder;

struct Source {
  const char *name, *encoder;
  int rate, channels;
};

const Source kSources[] = {
    {"aac.m4a", "aac", 8000, 1},          {"aac.aac", "aac", 22050, 2},
    {"aac.mkv", "aac", 44100, 6},         {"mp3.mp3", "libmp3lame", 11025, 2},
    {"mp3.mkv", "libmp3lame", 48000, 2},  {"opus.opus", "libopus", 48000, 1},
    {"vorbis.ogg", "libvorbis", 8000, 1}, {"opus.mkv", "libopus -frame_duration 60", 48000, 6},
    {"ac3.ts", "ac3", 48000, 6},          {"vorbis.ogg", "libvorbis", 96000, 2},
    {"ac3.ac3", "ac3", 44100, 1},         {"wavpack.wv", "wavpack", 96000, 1},
};

// Whole periods in a second, below every filter; the fourth of six is the subwoofer's.
const double kTones[] = {300, 500, 700, 60, 900, 1100};
constexpr double kAmplitude = 0.2;
constexpr std::size_t kClicks = 5;  // at 0.4 s, 1.0 s, ...

std::string Make(const Source& source, const std::function<std::string(int)>& expressionOf) {
  std::string expression = expressionOf(0);
  for (int i = 1; i < source.channels; ++i) expression += "|" + expressionOf(i);
  const std::string layout = source.channels == 6   ? "5.1"
                             : source.channels == 2 ? "stereo"
                                                    : "mono";
  std::string rate =
      " -b:a " + std::to_string(source.channels * (source.rate < 16000 ? 32 : 64)) + "k";
  // Vorbis aims at no bit rate there.
  if (source.rate > 48000) rate = " -q:a 4";
  return test::MakeMedia(
      source.name, "-f lavfi -i \"aevalsrc=" + expression + ":channel_layout=" + layout +
                       ":s=" + std::to_string(source.rate) + ":d=3\" -strict -2 -muxdelay 0 -c:a " +
                       source.encoder + rate);
}

std::string MakeTones(const Source& source) {
  return Make(source, [](int channel) {
    return std::to_string(kAmplitude) + "*sin(2*PI*t*" +
           std::to_string(static_cast<int>(kTones[channel])) + ")";
  });
}

// A click of a millisecond in every channel.
std::string MakeClicks(const Source& source) {
  return Make(source, [](int) { return "0.6*lt(mod(t+0.2\\,0.6)\\,0.001)"; });
}

std::string Video() {
  return test::MakeMedia("hevc.mp4",
                         "-f lavfi -i testsrc2=size=320x240:rate=25 -t 5 -c:v libx265 -preset "
                         "ultrafast -x265-params log-level=0");
}

// The AAC file that MPG_MergeAV makes, or nothing where it would copy.
std::string Join(const std::string& audio, const test::ScratchFolder& folder) {
  MergeDecision decision;
  EXPECT_EQ(MPG_MergeOP2(Video().c_str(), audio.c_str(), &decision), 0);
  if (decision.mode == MPG_MERGE_COPY) return "";
  const std::string output = folder / "joined.mp4";
  EXPECT_EQ(MPG_MergeAV(Video().c_str(), audio.c_str(), output.c_str(), nullptr, 0), 0);
  EXPECT_EQ(test::DecodingErrors(output), "");
  return output;
}

std::string Convert(const std::string& audio, const test::ScratchFolder& folder) {
  const std::string output = folder / "converted.mp3";
  EXPECT_EQ(MP3_Convert(audio.c_str(), output.c_str(), 0, nullptr, 0), 0);
  EXPECT_EQ(test::DecodingErrors(output), "");
  return output;
}

// The share of an input channel in one of another number of them.
double Share(int inputs, int from, int outputs, int to) {
  if (inputs == outputs) return from == to ? 1 : 0;
  if (outputs == 1) return 0.5;
  // Left, right, centre, subwoofer, back left and right.
  constexpr double kHalfPower = 1 / std::numbers::sqrt2;
  constexpr double kStereo[2][6] = {{1, 0, kHalfPower, 0, kHalfPower, 0},
                                    {0, 1, kHalfPower, 0, 0, kHalfPower}};
  return kStereo[to][from];
}

void ExpectTones(const test::Audio& audio, const test::Audio& input, int channels) {
  ASSERT_EQ(audio.Channels(), channels);
  for (int channel = 0; channel < channels; ++channel) {
    SCOPED_TRACE("channel " + std::to_string(channel));
    std::vector<double> tones;
    for (int from = 0; from < input.Channels(); ++from) {
      const double tone = kTones[from];
      // LAME itself takes 5 % off at low bit rates.
      EXPECT_NEAR(audio.Amplitude(channel, tone) / input.Amplitude(from, tone),
                  Share(input.Channels(), from, channels, channel), 0.06)
          << tone;
      tones.push_back(tone);
    }
    EXPECT_LT(audio.Rest(channel, tones), 0.1 * kAmplitude);
  }
}

TEST_F(ReencodedAudio, KeepsFrequencyLevelAndChannelOfTones) {
  for (const Source& source : kSources) {
    SCOPED_TRACE(source.name + std::to_string(source.rate));
    const std::string tones = MakeTones(source);
    const test::Audio input(tones);
    ExpectTones(test::Audio(Convert(tones, folder)), input, source.channels > 2 ? 2 : 1);
    const std::string joined = Join(tones, folder);
    if (!joined.empty()) ExpectTones(test::Audio(joined), input, source.channels);
  }
}

// From the first sample on, within a fifth of the shortest encoder frame.
void ExpectSameClicks(const test::Audio& audio, const test::Audio& input) {
  const std::vector<double> clicks = audio.Clicks(0);
  const std::vector<double> expected = input.Clicks(0);
  ASSERT_EQ(expected.size(), kClicks);
  ASSERT_EQ(clicks.size(), kClicks);
  for (std::size_t i = 0; i < kClicks; ++i) {
    EXPECT_NEAR(clicks[i] - audio.Start(), expected[i] - input.Start(), 0.002) << i;
  }
}

TEST_F(ReencodedAudio, KeepsTheTimeOfClicksAndTheLength) {
  for (const Source& source : kSources) {
    SCOPED_TRACE(source.name + std::to_string(source.rate));
    const std::string clicks = MakeClicks(source);
    const test::Audio input(clicks);
    // MP3 files count the encoder's delay, which isn't played.
    const double start = std::string(source.name).ends_with(".mp3") ? 0 : input.Start();
    for (const std::string& path : {Convert(clicks, folder), Join(clicks, folder)}) {
      if (path.empty()) continue;
      const test::Audio audio(path);
      ExpectSameClicks(audio, input);
      EXPECT_NEAR(audio.Length(), input.Length(), 1152.0 / source.rate);
      EXPECT_NEAR(path.ends_with(".mp4") ? audio.Start() : start, start, 0.001);
    }
  }
}

// Times of all clicks after a join with a file that ffmpeg makes of half-second clicks.
std::vector<double> JoinedClicks(const std::string& name, const std::string& filter,
                                 const std::string& options = "") {
  const std::string audio = test::MakeMedia(
      name, options + " -f lavfi -i \"aevalsrc=0.6*lt(mod(t+0.25\\,0.5)\\,0.0005):s=48000:d=4" +
                filter + "\" -c:a libopus -b:a 64k");
  const test::ScratchFolder folder;
  return test::Audio(Join(audio, folder)).Clicks(0);
}

TEST(ReencodedTime, StaysInStepWithTheVideoOverGapsAndDrift) {
  struct Case {
    const char *name, *filter, *options;
    std::vector<double> expected;
    double pace = 1;
  };
  const std::vector<double> all = {0.25, 0.75, 1.25, 1.75, 2.25, 2.75, 3.25, 3.75};
  const Case cases[] = {
      {"late", "", "-itsoffset 1.3", {1.55, 2.05, 2.55, 3.05, 3.55, 4.05, 4.55}},
      {"gap", ",aselect=lt(t\\,1)+gt(t\\,2.5)", "", {0.25, 0.75, 2.75, 3.25, 3.75}},
      {"lost packet", ",aselect=not(between(t\\,1.34\\,1.37))", "", all},
      {"slow clock", ",asetpts=PTS*1.02", "", all, 1.02},
      {"fast clock", ",asetpts=PTS/1.02", "", all, 1 / 1.02},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<double> clicks = JoinedClicks("gap.mkv", c.filter, c.options);
    ASSERT_EQ(clicks.size(), c.expected.size());
    for (std::size_t i = 0; i < clicks.size(); ++i) {
      EXPECT_NEAR(clicks[i], c.expected[i] * c.pace, 1024.0 / 48000) << i;
    }
  }
}

}  // namespace
