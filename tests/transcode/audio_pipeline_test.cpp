#include "transcode/audio_pipeline.h"

#include <gtest/gtest.h>

#include <string>

#include "support/host.h"
#include "support/media.h"

namespace mpg {
namespace {

// An MP3 of an input, every step in the test's hand.
struct Bench {
  explicit Bench(const std::string& input, int sampleRate = 0)
      : output(MuxerByName("mp3"), (folder / "a.mp3").c_str(), OnFailure::kKeepPartialFile),
        audio(OpenAudioReencode(output, Input(input.c_str()), AV_CODEC_ID_MP3)) {
    if (sampleRate != 0) audio.encoder->sample_rate = sampleRate;
    OpenAudioEncoder(audio, output);
    output.CreateFile();
    output.WriteHeader();
  }

  test::ScratchFolder folder;
  Output output;
  AudioReencode audio;
};

TEST(AudioPipeline, QueuesWhatTheResamplerGives) {
  Bench bench(test::AacAudio(), 24000);
  AudioPipeline pipeline(bench.audio, bench.output);
  bool finished = false;
  int frames = 0;
  for (; pipeline.BufferedSamples() == 0; ++frames) {
    ASSERT_EQ(pipeline.DecodeAndBuffer(finished), 0);
  }
  EXPECT_NEAR(pipeline.BufferedSamples(), 512, 20);
  for (; frames < 20; ++frames) ASSERT_EQ(pipeline.DecodeAndBuffer(finished), 0);
  EXPECT_NEAR(pipeline.BufferedSamples(), 20 * 512, 532);
  EXPECT_FALSE(finished);
}

TEST(AudioPipeline, GivesEverySampleOfTheInputAndThenNothing) {
  Bench bench(test::OpusAudio(), 24000);
  AudioPipeline pipeline(bench.audio, bench.output);
  bool finished = false;
  int result = 0;
  while (!finished) result = pipeline.DecodeAndBuffer(finished);
  EXPECT_EQ(result, AVERROR_EOF);
  EXPECT_NEAR(pipeline.BufferedSamples(), 2 * 24000, 1);
  EXPECT_EQ(pipeline.DecodeAndBuffer(finished), AVERROR_EOF);

  while (pipeline.BufferedSamples() > 0) ASSERT_EQ(pipeline.EncodeAndWrite(), 0);
  EXPECT_EQ(pipeline.Timing().currentPts, 2 * 24000);
  bool dataPresent = true;
  while (dataPresent) ASSERT_EQ(pipeline.EncodeAudioFrame(nullptr, dataPresent), 0);
  EXPECT_EQ(pipeline.EncodeAudioFrame(nullptr, dataPresent), 0);
  EXPECT_FALSE(dataPresent);
  EXPECT_FALSE(pipeline.ProducePiece());
}

TEST(AudioPipeline, CountsTimeInSamplesFromOneFrameToTheNext) {
  Bench bench(test::AacAudio());
  AudioPipeline pipeline(bench.audio, bench.output);
  bool finished = false;
  while (pipeline.BufferedSamples() < 4 * 1152) {
    ASSERT_EQ(pipeline.DecodeAndBuffer(finished), 0);
  }
  for (int frame = 0; frame < 4; ++frame) {
    ASSERT_EQ(pipeline.EncodeAndWrite(), 0);
    EXPECT_EQ(pipeline.Timing().lastFramePts, frame * 1152);
  }
}

TEST(AudioPipeline, NeverHoldsMoreThanOneFrameBesideWhatTheDecoderGave) {
  Bench bench(test::OpusAudio(4));
  AudioPipeline pipeline(bench.audio, bench.output);
  int pieces = 0;
  for (; pipeline.ProducePiece(); ++pieces) {
    EXPECT_LT(pipeline.BufferedSamples(), pipeline.FrameSize());
  }
  EXPECT_NEAR(pieces, 4 * 48000 / 1152, 2);
}

}  // namespace
}  // namespace mpg
