// What becomes of the times of copied packets.
#include <gtest/gtest.h>

#include <vector>

#include "media/continuous_clock.h"
#include "media/handles.h"
#include "media/tick_guard.h"

namespace mpg {
namespace {

struct PacketSpec {
  std::int64_t pts, dts;
};

TEST(TickGuard, LowersAndLiftsAsFarAsItMust) {
  constexpr std::int64_t kNone = AV_NOPTS_VALUE;
  struct Case {
    std::vector<PacketSpec> before, after;
  };
  const Case cases[] = {
      {{{2, 0}, {4, 1}, {3, 2}}, {{2, 0}, {4, 1}, {3, 2}}},
      {{{0, 0}, {0, 0}, {1, 1}, {5, 5}}, {{0, 0}, {1, 1}, {2, 2}, {5, 5}}},
      {{{1, 3}, {5, 4}}, {{1, 1}, {5, 4}}},
      {{{kNone, 3}, {kNone, 3}, {7, kNone}}, {{kNone, 3}, {kNone, 4}, {7, kNone}}},
  };
  const PacketPtr packet = MakePacket();
  for (const Case& c : cases) {
    TickGuard guard;
    for (std::size_t i = 0; i < c.before.size(); ++i) {
      packet->pts = c.before[i].pts;
      packet->dts = c.before[i].dts;
      guard.Place(*packet);
      EXPECT_EQ(packet->pts, c.after[i].pts) << i;
      EXPECT_EQ(packet->dts, c.after[i].dts) << i;
    }
  }
}

// Packets of two streams in milliseconds, 40 long.
TEST(ContinuousClock, KeepsStreamsTogetherBehindAJumpBack) {
  struct Packet {
    int stream;
    std::int64_t before, after;
  };
  const std::vector<Packet> cases[] = {
      // A tenth of a second back and a gap are no jumps.
      {{0, 0, 0}, {0, 140, 140}, {0, 40, 40}, {0, 5000, 5000}, {1, 10, 10}, {0, 4899, 5040}},
      // The other stream's last packets come behind the jump.
      {{0, 1000, 1000}, {1, 960, 960}, {0, 0, 1040}, {1, 1000, 1000}, {1, 0, 1040}, {0, 40, 1080}},
      // It reaches farther, and both wait for it.
      {{0, 1000, 1000},
       {1, 1000, 1000},
       {0, 0, 1040},
       {1, 1040, 1040},
       {1, 0, 1080},
       {0, 40, 1120}},
      // It has been short of packets, and doesn't jump for itself.
      {{1, 0, 0}, {0, 9000, 9000}, {0, 0, 9040}, {1, 100, 9140}, {0, 120, 9160}},
      // A second jump.
      {{0, 900, 900}, {0, 0, 940}, {0, 900, 1840}, {0, 100, 1880}},
  };
  AVStream streams[2] = {};
  const PacketPtr packet = MakePacket();
  for (const std::vector<Packet>& packets : cases) {
    ContinuousClock clock;
    for (std::size_t i = 0; i < packets.size(); ++i) {
      AVStream& stream = streams[packets[i].stream];
      stream.index = packets[i].stream;
      stream.time_base = {1, 1000};
      packet->pts = packet->dts = packets[i].before;
      packet->duration = 40;
      clock.Follow(*packet, stream);
      EXPECT_EQ(packet->dts, packets[i].after) << &packets - cases << ", packet " << i;
    }
  }
}

}  // namespace
}  // namespace mpg
