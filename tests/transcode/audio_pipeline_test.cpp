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
