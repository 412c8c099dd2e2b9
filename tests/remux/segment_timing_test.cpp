#include "remux/segment_timing.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "media/handles.h"

namespace mpg {
namespace {

constexpr std::int64_t kUnknown = AV_NOPTS_VALUE;
constexpr AVRational kTenMilliseconds = {1, 100};  // the tests' time base: packets of 4 and 2 ticks

struct Times {
  std::int64_t pts, dts, duration;

  friend bool operator==(const Times&, const Times&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Times& times) {
    return out << "{" << times.pts << ", " << times.dts << ", " << times.duration << "}";
  }
};

PacketPtr Packet(const Times& times) {
  PacketPtr packet = MakePacket();
  packet->pts = times.pts;
  packet->dts = times.dts;
  packet->duration = times.duration;
  return packet;
}

TEST(MonotonicGuard, MakesDecodingTimesRiseAndNoLaterThanShown) {
  struct Case {
    Times times, expected;
  };
  MonotonicGuard guard;
  for (const Case& c : {Case{{-20, -30, 10}, {-20, -30, 10}}, Case{{100, 90, 10}, {100, 90, 10}},
                        Case{{95, 90, 10}, {95, 91, 10}}, Case{{20, 10, 10}, {92, 92, 10}},
                        Case{{50, kUnknown, 10}, {93, 93, 10}}, Case{{110, 120, 0}, {110, 110, 0}},
                        Case{{130, kUnknown, 0}, {130, 130, 0}}}) {
    const PacketPtr packet = Packet(c.times);
    guard.Lift(*packet);
    EXPECT_EQ((Times{packet->pts, packet->dts, packet->duration}), c.expected);
  }
}

// Four frames of 4 ticks, reordered by 2, and eight audio packets of 2 ticks.
struct Part {
  std::int64_t video, audio;  // where they start; kUnknown: not in the segment
};

// Where the first packets of each segment are put.
std::vector<Part> Put(bool closeGaps, const std::vector<Part>& segments) {
  SegmentTimeline timeline(closeGaps, kTenMilliseconds, kTenMilliseconds);
  std::vector<Part> starts;
  for (const Part& segment : segments) {
    constexpr std::int64_t kOrder[] = {2, 4, 3, 5};  // as read, in frames behind decoding 0
    std::vector<PacketPtr> video;
    std::vector<PacketPtr> audio;
    const auto startOf = [](const std::vector<PacketPtr>& packets) {
      return packets.empty() ? std::nullopt
                             : std::optional(SegmentTimeline::StartOf(*packets.front()));
    };
    for (std::int64_t i = 0; i < 4 && segment.video != kUnknown; ++i) {
      video.push_back(Packet({segment.video + kOrder[i] * 4, segment.video + i * 4, 4}));
    }
    for (std::int64_t i = 0; i < 8 && segment.audio != kUnknown; ++i) {
      audio.push_back(Packet({segment.audio + i * 2, segment.audio + i * 2, 2}));
    }
    timeline.BeginSegment(startOf(video), startOf(audio));
    const auto place = [&](SegmentTimeline::Kind kind, std::vector<PacketPtr>& packets) {
      if (packets.empty()) return kUnknown;
      const std::int64_t firstPts = packets.front()->pts;
      for (const PacketPtr& packet : packets) {
        const std::int64_t pts = packet->pts;
        timeline.Place(kind, *packet);
        EXPECT_EQ(packet->pts - packets.front()->pts, pts - firstPts) << "distances are kept";
      }
      return packets.front()->dts;
    };
    const std::int64_t videoStart = place(SegmentTimeline::kVideo, video);
    starts.push_back({videoStart, place(SegmentTimeline::kAudio, audio)});
  }
  return starts;
}

TEST(SegmentTimeline, PutsEachStreamBehindItsLastPacketAndKeepsThemTogether) {
  struct Case {
    const char* name;
    bool closeGaps;
    std::vector<Part> segments;
    std::vector<Part> expected;
  };
  const Case cases[] = {
      {"going on", false, {{100, 100}, {116, 116}}, {{100, 100}, {116, 116}}},
      {"three steps are no gap", true, {{100, 100}, {124, 120}}, {{100, 100}, {124, 120}}},
      {"a gap stays", false, {{100, 100}, {200, 200}}, {{100, 100}, {200, 200}}},
      {"a gap is closed", true, {{100, 100}, {200, 200}}, {{100, 100}, {116, 116}}},
      {"gaps add up",
       true,
       {{0, 0}, {100, 100}, {116, 116}, {500, 500}},
       {{0, 0}, {16, 16}, {32, 32}, {48, 48}}},
      {"restarting", false, {{0, 0}, {0, 0}, {0, 0}}, {{0, 0}, {16, 16}, {32, 32}}},
      {"restarting behind a closed gap",
       true,
       {{0, 0}, {100, 100}, {0, 0}},
       {{0, 0}, {16, 16}, {32, 32}}},
      {"restarting at the same time behind a closed gap",
       true,
       {{0, 0}, {100, 100}, {100, 100}},
       {{0, 0}, {16, 16}, {32, 32}}},
      {"repeating the last packet's time", false, {{0, 0}, {12, 14}}, {{0, 0}, {16, 16}}},
      {"one stream restarts", false, {{0, 0}, {0, 16}}, {{0, 0}, {16, 16}}},
      {"going on behind a restart",
       false,
       {{50, 50}, {0, 0}, {16, 16}},
       {{50, 50}, {66, 66}, {82, 82}}},
      {"overlapping", false, {{0, 0}, {8, 8}}, {{0, 0}, {16, 16}}},
      {"audio half a second early", false, {{100, 50}, {116, 66}}, {{100, 50}, {116, 66}}},
      {"the same with a gap", true, {{100, 50}, {300, 250}}, {{100, 50}, {116, 66}}},
      {"streams wait for each other", false, {{100, 88}, {0, 0}}, {{100, 88}, {116, 116}}},
      {"less than a tenth of a second stays", false, {{100, 91}, {0, 0}}, {{100, 91}, {116, 107}}},
      {"behind frames alone",
       false,
       {{0, 0}, {0, kUnknown}, {0, 0}},
       {{0, 0}, {16, kUnknown}, {32, 32 + 8}}},
      {"audio that comes later", false, {{0, kUnknown}, {0, 0}}, {{0, kUnknown}, {16, 16}}},
      {"a clock about to wrap", false, {{-500, -490}, {-484, -474}}, {{0 - 8, 2}, {8, 18}}},
      {"an encoder's lead-in stays below zero", false, {{-8, -5}}, {{-8, -5}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<Part> starts = Put(c.closeGaps, c.segments);
    for (std::size_t i = 0; i < starts.size(); ++i) {
      EXPECT_EQ(starts[i].video, c.expected[i].video) << i;
      EXPECT_EQ(starts[i].audio, c.expected[i].audio) << i;
    }
  }
}

TEST(SegmentTimeline, FollowsJumpsBackInsideASegment) {
  SegmentTimeline timeline(false, kTenMilliseconds, kTenMilliseconds);
  const auto put = [&](SegmentTimeline::Kind kind, std::int64_t time, std::int64_t duration = 4) {
    const PacketPtr packet = Packet({time, time, duration});
    timeline.Place(kind, *packet);
    return packet->pts;
  };
  timeline.BeginSegment({{500, 500}}, {{500, 500}});
  for (const std::int64_t time : {500, 504, 508}) put(SegmentTimeline::kVideo, time);
  for (const std::int64_t time : {500, 504}) put(SegmentTimeline::kAudio, time);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 0), 512);
  EXPECT_EQ(put(SegmentTimeline::kAudio, 0), 512) << "as the frames, not at 508";
  EXPECT_EQ(put(SegmentTimeline::kVideo, 4), 516);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 100), 612) << "a gap stays";
  EXPECT_EQ(put(SegmentTimeline::kVideo, 90), 613) << "a small step back is no jump";
  // One packet with a wrong time moves those behind it no more than itself.
  timeline.BeginSegment({{900, 900}}, std::nullopt);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 900), 900);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 1), 904);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 908), 908);
  // Where no packet tells its length, the distance of the last two counts.
  for (const std::int64_t time : {912, 918}) put(SegmentTimeline::kVideo, time, 0);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 0, 0), 924);
}

TEST(SegmentTimeline, TakesTheOtherStreamAlongBehindAJump) {
  SegmentTimeline timeline(false, kTenMilliseconds, kTenMilliseconds);
  const auto put = [&](SegmentTimeline::Kind kind, std::int64_t time) {
    const PacketPtr packet = Packet({time, time, 4});
    timeline.Place(kind, *packet);
    return packet->pts;
  };
  timeline.BeginSegment({{500, 500}}, {{500, 500}});
  put(SegmentTimeline::kVideo, 500);
  for (const std::int64_t time : {500, 504, 508, 512, 516}) put(SegmentTimeline::kAudio, time);
  EXPECT_EQ(put(SegmentTimeline::kVideo, 0), 504);
  EXPECT_EQ(put(SegmentTimeline::kAudio, 0), 520) << "more than a tenth of a second ahead";
  EXPECT_EQ(put(SegmentTimeline::kVideo, 4), 524);
}

TEST(SegmentTimeline, ClosesGapsOnlyBetweenSegments) {
  SegmentTimeline timeline(true, kTenMilliseconds, kTenMilliseconds);
  timeline.BeginSegment({{0, 0}}, std::nullopt);
  for (const std::int64_t time : {0, 4, 100, 104}) {
    const PacketPtr packet = Packet({time, time, 4});
    timeline.Place(SegmentTimeline::kVideo, *packet);
    EXPECT_EQ(packet->pts, time);
  }
}

TEST(SegmentTimeline, StopsAtTheLimitsOfTimeStamps) {
  for (const bool closeGaps : {false, true}) {
    SegmentTimeline timeline(closeGaps, kTenMilliseconds, kTenMilliseconds);
    for (const std::int64_t time : {INT64_MAX, -INT64_MAX, std::int64_t{0}, INT64_MAX, INT64_MAX}) {
      timeline.BeginSegment({{time, time}}, {{-time, -time}});
      const PacketPtr packet = Packet({time, -time, INT64_MAX});
      timeline.Place(SegmentTimeline::kVideo, *packet);
      EXPECT_GE(packet->pts, packet->dts);
    }
  }
}

}  // namespace
}  // namespace mpg
