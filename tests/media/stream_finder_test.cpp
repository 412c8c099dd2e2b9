#include "media/stream_finder.h"

#include <gtest/gtest.h>

#include <vector>

namespace mpg {
namespace {

// Streams as a demuxer could give them, without a file.
struct StreamSpec {
  AVMediaType type;
  AVCodecID codec = AV_CODEC_ID_NONE;
  int sampleRate = 0;
  int channels = 0;
};

OutputContextPtr MakeContext(const std::vector<StreamSpec>& specs) {
  OutputContextPtr context(avformat_alloc_context());
  for (const StreamSpec& spec : specs) {
    AVCodecParameters& parameters = *avformat_new_stream(context.get(), nullptr)->codecpar;
    parameters.codec_type = spec.type;
    parameters.codec_id = spec.codec;
    parameters.sample_rate = spec.sampleRate;
    if (spec.channels > 0) av_channel_layout_default(&parameters.ch_layout, spec.channels);
  }
  return context;
}

constexpr StreamSpec kVideo{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264};
constexpr StreamSpec kSubtitle{AVMEDIA_TYPE_SUBTITLE, AV_CODEC_ID_SUBRIP};
constexpr StreamSpec kAudio{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC, 48000, 2};
// No sample rate, but a decoder that tells channels.
constexpr StreamSpec kRateless{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AC3, 0, 2};
constexpr StreamSpec kUnknownAudio{AVMEDIA_TYPE_AUDIO};

// The first usable one, and the one that can be copied: from a rateless stream that moves on by the
// count of audio streams.
TEST(FindAudioStream, TakesTheFirstUsableOne) {
  struct Case {
    std::vector<StreamSpec> streams;
    int first, second, copied;
  };
  const Case cases[] = {
      {{}, -1, -1, -1},
      {{kVideo, kSubtitle}, -1, -1, -1},
      {{kVideo, kUnknownAudio}, -1, -1, -1},
      {{kVideo, kAudio}, 1, -1, 1},
      {{kUnknownAudio, kVideo, kAudio}, 2, -1, 2},
      {{kAudio, kAudio}, 0, 1, 0},
      {{kRateless, kAudio}, 0, 1, 1},
      {{kRateless, kRateless}, 0, 1, 1},
      {{kRateless, kUnknownAudio}, 0, -1, -1},
      {{kVideo, kRateless}, 1, -1, 1},
      {{kVideo, kRateless, kAudio}, 1, 2, 1},
  };
  for (const Case& c : cases) {
    const OutputContextPtr context = MakeContext(c.streams);
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(FindAudioStream(context.get()), c.first);
    EXPECT_EQ(FindNextAudioStream(context.get(), 7), -1);
    EXPECT_EQ(FindCopiableAudioStream(context.get()), c.copied);
    if (c.first < 0) continue;
    EXPECT_EQ(FindNextAudioStream(context.get(), c.first), c.second);
  }
  EXPECT_EQ(FindAudioStream(nullptr), -1);
}

TEST(FindMovingVideo, PassesOverCoverArt) {
  const OutputContextPtr context = MakeContext({kVideo, kAudio});
  AVStream& cover = *context->streams[0];
  EXPECT_EQ(FindMovingVideo(context.get()), &cover);
  cover.disposition = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_DEFAULT;
  EXPECT_EQ(FindMovingVideo(context.get()), nullptr);
  AVStream* const film = avformat_new_stream(context.get(), nullptr);
  film->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  EXPECT_EQ(FindMovingVideo(context.get()), film);
}

}  // namespace
}  // namespace mpg
