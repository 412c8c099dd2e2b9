#include "remux/segment_timing.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <vector>

#include "media/handles.h"

namespace mpg {
namespace {

constexpr std::int64_t kUnknown = AV_NOPTS_VALUE;

struct Times {
  std::int64_t pts, dts, duration;

  friend bool operator==(const Times&, const Times&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Times& times) {
    return out << "{" << times.pts << ", " << times.dts << ", " << times.duration << "}";
  }
};

template <class Step>
Times Pass(Times times, Step step) {
  const PacketPtr packet = MakePacket();
  packet->pts = times.pts;
  packet->dts = times.dts;
  packet->duration = times.duration;
  step(*packet);
  return {packet->pts, packet->dts, packet->duration};
}

struct Incoming {
  Times times;
  bool isBorder;
  Times expected;
};

void ExpectMoved(const char* name, const std::vector<Incoming>& packets) {
  SCOPED_TRACE(name);
  GapCloser gaps;
  for (const Incoming& packet : packets) {
    EXPECT_EQ(Pass(packet.times, [&](AVPacket& p) { gaps.Move(p, packet.isBorder); }),
              packet.expected);
  }
}

TEST(GapCloser, TakesOutJumpsOfMoreThanThreeStepsAtBorders) {
  struct Case {
    const char* name;
    std::int64_t jump;
    bool isBorder;
    std::int64_t expected;
  };
  for (const Case& c :
       {Case{"exactly three steps stay", 140, true, 140},
        Case{"one tick more goes", 141, true, 120}, Case{"not inside a segment", 900, false, 900},
        Case{"a jump back stays", 0, true, 0}}) {
    ExpectMoved(c.name, {{{100, 100, 10}, false, {100, 100, 10}},
                         {{110, 110, 10}, false, {110, 110, 10}},
                         {{c.jump, c.jump, 10}, c.isBorder, {c.expected, c.expected, 10}}});
  }
  ExpectMoved("jumps add up", {{{0, 0, 10}, false, {0, 0, 10}},
                               {{10, 10, 10}, false, {10, 10, 10}},
                               {{1010, 1010, 10}, true, {20, 20, 10}},
                               {{1020, 1020, 10}, false, {30, 30, 10}},
                               {{5030, 5030, 10}, true, {40, 40, 10}}});
}

TEST(GapCloser, MeasuresBothTimesFromTheLastPresentationTime) {
  // The first picture is shown 20 ticks after it is decoded: that lead is taken out with the gap.
  ExpectMoved("reordered pictures", {{{20, 0, 10}, false, {20, 0, 10}},
                                     {{30, 10, 10}, false, {30, 10, 10}},
                                     {{1020, 1000, 10}, true, {40, 40, 10}},
                                     {{1030, 1010, 10}, false, {50, 50, 10}}});
  ExpectMoved("no decoding time", {{{20, kUnknown, 10}, false, {20, kUnknown, 10}},
                                   {{30, kUnknown, 10}, false, {30, kUnknown, 10}},
                                   {{1020, kUnknown, 10}, true, {40, kUnknown, 10}},
                                   {{1030, 1025, 10}, false, {50, 1025, 10}}});
}

TEST(GapCloser, StopsAtTheLimitsOfTimeStamps) {
  GapCloser gaps;
  const auto move = [&](AVPacket& packet) { gaps.Move(packet, true); };
  Pass({-INT64_MAX, -INT64_MAX, 0}, move);
  Pass({INT64_MAX, INT64_MAX, 0}, move);
  EXPECT_LE(Pass({-INT64_MAX, -INT64_MAX, 0}, move).pts, -INT64_MAX);
}

TEST(Alignment, LetsTheShorterStreamWait) {
  struct Case {
    std::optional<double> videoEnd, audioEnd;
    AlignmentShift expected;
  };
  for (const Case& c :
       {Case{10.0, 12.5, {.video = 2.5}}, Case{12.5, 10.0, {.audio = 2.5}}, Case{10.0, 10.0625, {}},
        Case{10.0625, 10.0, {}}, Case{3.0, 3.0, {}}, Case{0.0, 0.125, {.video = 0.125}},
        Case{-0.125, 0.0, {.video = 0.125}}, Case{std::nullopt, 9.0, {}},
        Case{9.0, std::nullopt, {}}, Case{std::nullopt, std::nullopt, {}}}) {
    EXPECT_EQ(Align(c.videoEnd, c.audioEnd), c.expected)
        << c.videoEnd.value_or(-99) << " " << c.audioEnd.value_or(-99);
  }
}

struct Written {
  Times times, expected;
};

void ExpectLifted(const char* name, const std::vector<Written>& packets) {
  SCOPED_TRACE(name);
  MonotonicGuard guard;
  for (const Written& packet : packets) {
    EXPECT_EQ(Pass(packet.times, [&](AVPacket& p) { guard.Lift(p); }), packet.expected);
  }
}

TEST(MonotonicGuard, LiftsTimesThatDoNotRise) {
  ExpectLifted("rising ones stay, with holes and from below 0", {{{-20, -30, 10}, {-20, -30, 10}},
                                                                 {{100, 90, 10}, {100, 90, 10}},
                                                                 {{110, 100, 10}, {110, 100, 10}}});
  ExpectLifted("a restart goes right behind the end", {{{100, 100, 10}, {100, 100, 10}},
                                                       {{0, 0, 10}, {110, 110, 10}},
                                                       {{10, 10, 10}, {120, 120, 10}}});
  ExpectLifted("no durations", {{{100, 100, 0}, {100, 100, 0}}, {{0, 0, 0}, {101, 101, 0}}});
  ExpectLifted("reordered pictures lose their order at a restart",
               {{{120, 100, 10}, {120, 100, 10}},
                {{20, 0, 10}, {110, 110, 10}},
                {{50, 10, 10}, {120, 120, 10}},
                {{30, 20, 10}, {130, 130, 10}}});
  ExpectLifted("a presentation time inside the last packet moves by one tick",
               {{{30, 0, 10}, {30, 0, 10}},
                {{70, 10, 10}, {70, 10, 10}},
                {{50, 20, 10}, {51, 20, 10}},
                {{60, 30, 10}, {61, 30, 10}}});
  ExpectLifted("an end at 0 is none", {{{0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}}});
}

TEST(MonotonicGuard, MakesAMissingOrLateDecodingTimeThePresentationTime) {
  ExpectLifted("missing", {{{50, kUnknown, 10}, {50, 50, 10}},
                           {{40, kUnknown, 10}, {60, 60, 10}},
                           {{90, kUnknown, 0}, {90, 90, 0}}});
  ExpectLifted("later than shown", {{{50, 70, 10}, {50, 50, 10}}});
}

TEST(MonotonicGuard, TellsTheLastTickThatIsCovered) {
  MonotonicGuard guard;
  EXPECT_EQ(guard.LastPts(), 0);
  Pass({100, 90, 10}, [&](AVPacket& packet) { guard.Lift(packet); });
  EXPECT_EQ(guard.LastPts(), 109);
  Pass({200, 190, 0}, [&](AVPacket& packet) { guard.Lift(packet); });
  EXPECT_EQ(guard.LastPts(), 200);
}

TEST(MonotonicGuard, StopsAtTheLimitsOfTimeStamps) {
  MonotonicGuard guard;
  const auto lift = [&](AVPacket& packet) { guard.Lift(packet); };
  Pass({INT64_MAX, INT64_MAX, 10}, lift);
  EXPECT_EQ(Pass({5, 5, 10}, lift), (Times{INT64_MAX, INT64_MAX, 10}));
}

}  // namespace
}  // namespace mpg
