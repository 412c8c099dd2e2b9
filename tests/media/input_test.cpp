#include "media/analysis.h"

#include <gtest/gtest.h>

#include "support/media.h"

namespace {

// Frames whose time can't be told until the end must not make it read all the audio behind them.
TEST(Input, LooksAFewFramesAhead) {
  const std::string path = test::MakeMedia(
      "short.avi",
      "-f lavfi -i testsrc2=size=64x48:duration=1 -f lavfi -i sine=sample_rate=48000:duration=120 "
      "-c:v mpeg4 -bf 2 -c:a pcm_s16le");
  mpg::Input input = mpg::OpenInput(path.c_str());
  const mpg::PacketPtr packet = mpg::MakePacket();
  int frames = 0;
  while (input.Read(*packet) == 0) {
    constexpr std::int64_t kFarthest = std::int64_t{3} << 20;  // bytes
    ASSERT_LT(avio_tell(input.Context()->pb) - packet->pos, kFarthest);
    if (packet->stream_index != 0) continue;
    ++frames;
    EXPECT_NE(packet->pts, AV_NOPTS_VALUE);
    EXPECT_LE(packet->dts, packet->pts);
  }
  EXPECT_EQ(frames, 25);
}

}  // namespace
