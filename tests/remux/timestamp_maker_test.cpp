#include "remux/timestamp_maker.h"

#include <gtest/gtest.h>

#include "media/handles.h"

namespace mpg {
namespace {

TEST(TimeStampMaker, CountsFramesOfTheKnownLength) {
  struct Case {
    const char* name;
    AVRational timeBase, frameRate;
    int frameSize, sampleRate;
    std::int64_t packetDuration;
    std::int64_t second, third, duration;
  };
  constexpr Case kCases[] = {
      {"raw video", {1, 1200000}, {25, 1}, 0, 0, 0, 48000, 96000, 48000},
      {"cut off, not rounded", {1, 90000}, {25, 1}, 0, 0, 0, 3599, 7199, 3599},
      {"29.97", {1, 1000}, {30000, 1001}, 0, 0, 0, 33, 66, 33},
      {"audio frames", {1, 1000}, {0, 0}, 1152, 48000, 7, 24, 48, 24},
      {"the packet's own", {1, 1000}, {0, 0}, 0, 44100, 26, 26, 52, 26},
      {"nothing known", {1, 1000}, {0, 0}, 1152, 0, 0, 40, 80, 40},
  };
  for (const Case& c : kCases) {
    const OutputContextPtr context(avformat_alloc_context());
    AVStream& stream = *avformat_new_stream(context.get(), nullptr);
    stream.time_base = c.timeBase;
    stream.r_frame_rate = c.frameRate;
    stream.codecpar->frame_size = c.frameSize;
    stream.codecpar->sample_rate = c.sampleRate;
    TimeStampMaker maker;
    for (const std::int64_t pts : {std::int64_t{0}, c.second, c.third}) {
      const PacketPtr packet = MakePacket();
      packet->duration = c.packetDuration;
      maker.Stamp(*packet, stream);
      EXPECT_EQ(packet->pts, pts) << c.name;
      EXPECT_EQ(packet->dts, pts) << c.name;
      EXPECT_EQ(packet->duration, c.duration) << c.name;
    }
  }
}

}  // namespace
}  // namespace mpg
