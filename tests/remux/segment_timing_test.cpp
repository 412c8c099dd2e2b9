#include "remux/segment_timing.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/handles.h"

namespace mpg {
namespace {

constexpr std::int64_t kUnknown = AV_NOPTS_VALUE;
constexpr AVRational kTenMilliseconds = {1, 100};  // the tests' time base: packets of 4 and 2 ticks

struct Times {
  std::int64_t pts, dts, duration;
};

PacketPtr MakePacketOf(const Times& times) {
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
    const PacketPtr packet = MakePacketOf(c.times);
    guard.Lift(*packet);
    EXPECT_EQ(packet->pts, c.expected.pts);
    EXPECT_EQ(packet->dts, c.expected.dts);
  }
}

// Four frames of 4 ticks, reordered by 2, and eight audio packets of 2 ticks.
struct Part {
  std::int64_t video, audio;  // where they start; kUnknown: not in the segment
};

// Where the first packets of each segment are put, and all others by the same distance.
std::vector<Part> Put(bool closeGaps, const std::vector<Part>& segments) {
  SegmentTimeline timeline(closeGaps, kTenMilliseconds, kTenMilliseconds);
  std::vector<Part> starts;
  for (const auto& [video, audio] : segments) {
    Part& start = starts.emplace_back(Part{kUnknown, kUnknown});
    std::optional<SegmentTimeline::Start> videoStart, audioStart;
    if (video != kUnknown) videoStart = {video, video + 8};
    if (audio != kUnknown) audioStart = {audio, audio};
    timeline.BeginSegment(videoStart, audioStart);
    for (std::int64_t i = 0; i < 4 && video != kUnknown; ++i) {
      constexpr std::int64_t kOrder[] = {8, 16, 12, 20};  // as read, behind decoding 0
      const PacketPtr packet = MakePacketOf({video + kOrder[i], video + i * 4, 4});
      timeline.Place(SegmentTimeline::kVideo, *packet);
      if (i == 0) start.video = packet->dts;
      EXPECT_EQ(packet->pts, start.video + kOrder[i]);
    }
    for (std::int64_t i = 0; i < 8 && audio != kUnknown; ++i) {
      const PacketPtr packet = MakePacketOf({audio + i * 2, audio + i * 2, 2});
      timeline.Place(SegmentTimeline::kAudio, *packet);
      if (i == 0) start.audio = packet->dts;
      EXPECT_EQ(packet->pts, start.audio + i * 2);
    }
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
      {"restart behind a gap", true, {{0, 0}, {100, 100}, {0, 0}}, {{0, 0}, {16, 16}, {32, 32}}},
      {"to the same time", true, {{0, 0}, {100, 100}, {100, 100}}, {{0, 0}, {16, 16}, {32, 32}}},
      {"repeating the last packet's time", false, {{0, 0}, {12, 14}}, {{0, 0}, {16, 16}}},
      {"one stream restarts", false, {{0, 0}, {0, 16}}, {{0, 0}, {16, 16}}},
      {"going on after it", false, {{50, 50}, {0, 0}, {16, 16}}, {{50, 50}, {66, 66}, {82, 82}}},
      {"overlapping", false, {{0, 0}, {8, 8}}, {{0, 0}, {16, 16}}},
      {"audio half a second early", false, {{100, 50}, {116, 66}}, {{100, 50}, {116, 66}}},
      {"the same with a gap", true, {{100, 50}, {300, 250}}, {{100, 50}, {116, 66}}},
      {"streams wait for each other", false, {{100, 88}, {0, 0}}, {{100, 88}, {116, 116}}},
      {"less than a tenth of a second stays", false, {{100, 91}, {0, 0}}, {{100, 91}, {116, 107}}},
      {"frames alone",
       false,
       {{0, 0}, {0, kUnknown}, {0, 0}},
       {{0, 0}, {16, kUnknown}, {32, 32 + 8}}},
      {"audio that comes later", false, {{0, kUnknown}, {0, 0}}, {{0, kUnknown}, {16, 16}}},
      {"a clock about to wrap", false, {{-500, -490}, {-484, -474}}, {{0 - 8, 2}, {8, 18}}},
      {"audio about to wrap", false, {{-480, -500}}, {{20, 0}}},
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
  constexpr std::int64_t kMusic = 10000;  // added to the times of audio
  struct Packet {
    std::int64_t time, expected, duration = 4;
  };
  struct Case {
    const char* name;
    bool closeGaps;
    std::vector<Packet> packets;
  };
  const Case cases[] = {
      {"both jump",
       false,
       {{500, 500}, {504, 504}, {508, 508}, {10500, 500}, {10504, 504}, {0, 512}, {10000, 512}}},
      {"a gap stays, a small step back is no jump", false, {{0, 0}, {96, 96}, {86, 97}}},
      {"a gap behind a clock about to wrap", false, {{-500, 0}, {-496, 4}, {100, 600}}},
      {"one wrong time", false, {{900, 900}, {1, 904}, {908, 908}}},
      {"no lengths: the distance of the last two", false, {{0, 0, 0}, {6, 6, 0}, {-30, 12, 0}}},
      {"the other stream comes along, too far ahead to wait",
       false,
       {{500, 500}, {10500, 500}, {10504, 504}, {10516, 516}, {0, 504}, {10000, 520}, {4, 524}}},
      {"gaps are closed between segments alone", true, {{0, 0}, {4, 4}, {100, 100}, {104, 104}}},
  };
  for (const Case& c : cases) {
    SegmentTimeline timeline(c.closeGaps, kTenMilliseconds, kTenMilliseconds);
    timeline.BeginSegment({{c.packets[0].time, c.packets[0].time}},
                          {{c.packets[0].time, c.packets[0].time}});
    for (const auto& [time, expected, duration] : c.packets) {
      const bool isAudio = time >= kMusic;
      const std::int64_t ownTime = isAudio ? time - kMusic : time;
      const PacketPtr packet = MakePacketOf({ownTime, ownTime, duration});
      timeline.Place(isAudio ? SegmentTimeline::kAudio : SegmentTimeline::kVideo, *packet);
      EXPECT_EQ(packet->pts, expected) << c.name << ": " << time;
    }
  }
}

}  // namespace
}  // namespace mpg
