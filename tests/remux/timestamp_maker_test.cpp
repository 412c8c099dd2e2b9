#include "remux/timestamp_maker.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/handles.h"

namespace mpg {
namespace {

struct StreamFacts {
  AVRational timeBase;
  AVRational frameRate;
  int frameSize = 0;
  int sampleRate = 0;
  std::int64_t packetDuration = 0;
};

// Expects three packets to be given those times and that duration.
void ExpectStamps(const StreamFacts& facts, const std::vector<std::int64_t>& expected,
                  std::int64_t duration) {
  const OutputContextPtr context(avformat_alloc_context());
  AVStream& stream = *avformat_new_stream(context.get(), nullptr);
  stream.time_base = facts.timeBase;
  stream.r_frame_rate = facts.frameRate;
  stream.codecpar->frame_size = facts.frameSize;
  stream.codecpar->sample_rate = facts.sampleRate;
  TimeStampMaker maker;
  for (const std::int64_t pts : expected) {
    const PacketPtr packet = MakePacket();
    packet->duration = facts.packetDuration;
    maker.Stamp(*packet, stream);
    EXPECT_EQ(packet->pts, pts);
    EXPECT_EQ(packet->dts, pts);
    EXPECT_EQ(packet->duration, duration);
  }
}

TEST(TimeStampMaker, CountsFramesOfTheKnownLength) {
  struct Case {
    const char* name;
    StreamFacts facts;
    std::vector<std::int64_t> pts;
    std::int64_t duration;
  };
  const Case cases[] = {
      {"raw video", {{1, 1200000}, {25, 1}}, {0, 48000, 96000}, 48000},
      {"cut off, not rounded", {{1, 90000}, {25, 1}}, {0, 3599, 7199}, 3599},
      {"29.97", {{1, 1000}, {30000, 1001}}, {0, 33, 66}, 33},
      {"audio frames", {{1, 1000}, {0, 0}, 1152, 48000}, {0, 24, 48}, 24},
      {"the packet's own", {{1, 1000}, {0, 0}, 0, 44100, 26}, {0, 26, 52}, 26},
      {"nothing known", {{1, 1000}, {0, 0}}, {0, 40, 80}, 40},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectStamps(c.facts, c.pts, c.duration);
  }
}

}  // namespace
}  // namespace mpg
