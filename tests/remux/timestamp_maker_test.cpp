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

struct Stamps {
  std::vector<std::int64_t> pts;
  std::int64_t duration;
};

Stamps StampThree(const StreamFacts& facts) {
  const OutputFormatPtr context(avformat_alloc_context());
  AVStream& stream = *avformat_new_stream(context.get(), nullptr);
  stream.time_base = facts.timeBase;
  stream.r_frame_rate = facts.frameRate;
  stream.codecpar->frame_size = facts.frameSize;
  stream.codecpar->sample_rate = facts.sampleRate;

  TimeStampMaker maker;
  Stamps stamps{};
  for (int i = 0; i < 3; ++i) {
    const PacketPtr packet = MakePacket();
    packet->duration = facts.packetDuration;
    maker.Stamp(*packet, stream);
    EXPECT_EQ(packet->dts, packet->pts);
    stamps.pts.push_back(packet->pts);
    stamps.duration = packet->duration;
  }
  return stamps;
}

TEST(TimeStampMaker, CountsFramesOfTheKnownLength) {
  struct Case {
    const char* name;
    StreamFacts facts;
    std::vector<std::int64_t> pts;
    std::int64_t duration;
  };
  const std::vector<Case> cases = {
      {"raw video", {{1, 1200000}, {25, 1}}, {0, 48000, 96000}, 48000},
      {"cut off, not rounded", {{1, 90000}, {25, 1}}, {0, 3599, 7199}, 3599},
      {"29.97", {{1, 1000}, {30000, 1001}}, {0, 33, 66}, 33},
      {"audio frames", {{1, 1000}, {0, 0}, 1152, 48000}, {0, 24, 48}, 24},
      {"the packet's own", {{1, 1000}, {0, 0}, 0, 44100, 26}, {0, 26, 52}, 26},
      {"nothing known", {{1, 1000}, {0, 0}}, {0, 40, 80}, 40},
  };
  for (const Case& c : cases) {
    const Stamps stamps = StampThree(c.facts);
    EXPECT_EQ(stamps.pts, c.pts) << c.name;
    EXPECT_EQ(stamps.duration, c.duration) << c.name;
  }
}

}  // namespace
}  // namespace mpg
