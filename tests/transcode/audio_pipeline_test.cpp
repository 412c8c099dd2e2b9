#include "transcode/audio_pipeline.h"

#include <gtest/gtest.h>

#include "media/analysis.h"
#include "support/host.h"
#include "support/media.h"

namespace mpg {
namespace {

TEST(AudioPipeline, GivesEverySampleInPiecesOfAFrameAndThenNothing) {
  const test::ScratchFolder folder;
  Output output(MuxerByName("mp3"), (folder / "a.mp3").c_str(), OnFailure::kKeepPartialFile);
  AudioReencode audio =
      OpenAudioReencode(output, OpenInput(test::OpusAudio().c_str()), AV_CODEC_ID_MP3);
  audio.encoder->sample_rate = 24000;
  OpenAudioEncoder(audio, output);
  output.CreateFile();
  output.WriteHeader();

  AudioPipeline pipeline(audio, output);
  constexpr int kSamples = 2 * 24000;
  constexpr int kFrame = 576;
  for (int pieces = 1; pipeline.ProducePiece(); ++pieces) {
    EXPECT_EQ(pipeline.Timing().currentPts, pieces * kFrame);
  }
  EXPECT_EQ(pipeline.Timing().currentPts, kSamples);
  EXPECT_GE(pipeline.Timing().durationSum, kSamples);
  EXPECT_FALSE(pipeline.ProducePiece());
  EXPECT_EQ(pipeline.Timing().currentPts, kSamples);
}

}  // namespace
}  // namespace mpg
