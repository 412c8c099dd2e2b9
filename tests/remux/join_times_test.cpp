// What becomes of the times of joined packets.
#include <gtest/gtest.h>

#include <vector>

#include "media/output.h"
#include "remux/join_guard.h"
#include "remux/timestamp_maker.h"

namespace mpg {
namespace {

using Kind = JoinGuard::Kind;
using Verdict = JoinGuard::Verdict;

TEST(JoinGuard, PartsRepeatsAndDropsWhatIsShownBeforeItIsDecoded) {
  constexpr std::int64_t kNone = AV_NOPTS_VALUE;
  constexpr Verdict kWrite = Verdict::kWrite, kTry = Verdict::kTryToWrite, kDrop = Verdict::kDrop;
  struct Packet {
    std::int64_t pts, dts, duration;
    Verdict verdict;
    std::int64_t newPts, newDts;
  };
  struct Case {
    const char* name;
    Kind kind;
    std::vector<Packet> packets;
  };
  const Case cases[] = {
      {"rising", Kind::kVideo, {{20, 0, 10, kWrite, 20, 0}, {10, 10, 10, kWrite, 10, 10}}},
      {"0 repeated", Kind::kVideo, {{0, 0, 10, kWrite, 0, 0}, {0, 0, 10, kWrite, 0, 0}}},
      {"shown at once", Kind::kVideo, {{9, 1, 10, kWrite, 9, 1}, {9, 2, 10, kWrite, 10, 2}}},
      {"decoded at once", Kind::kVideo, {{9, 5, 10, kWrite, 9, 5}, {19, 5, 10, kWrite, 19, 10}}},
      {"no duration", Kind::kVideo, {{9, 5, 0, kWrite, 9, 5}, {9, 5, 0, kWrite, 9, 5}}},
      {"video steps back", Kind::kVideo, {{9, 9, 10, kWrite, 9, 9}, {19, 5, 10, kWrite, 19, 5}}},
      {"audio steps back", Kind::kAudio, {{9, 9, 10, kWrite, 9, 9}, {19, 5, 10, kWrite, 19, 10}}},
      {"behind its showing", Kind::kAudio, {{9, 9, 10, kWrite, 9, 9}, {5, 5, 10, kDrop, 5, 10}}},
      {"a dropped one counts for nothing",
       Kind::kVideo,
       {{9, 9, 10, kWrite, 9, 9}, {20, 30, 10, kDrop, 20, 30}, {20, 30, 10, kDrop, 20, 30}}},
      {"before 0", Kind::kAudio, {{-9, -9, 10, kTry, -9, -9}, {-9, -9, 10, kTry, -8, -8}}},
      {"nowhere", Kind::kVideo, {{kNone, kNone, 10, kTry, kNone, kNone}}},
      {"no decoding time",
       Kind::kVideo,
       {{9, 9, 10, kWrite, 9, 9}, {19, kNone, 10, kWrite, 19, kNone}, {29, 9, 10, kWrite, 29, 20}}},
  };
  const PacketPtr packet = MakePacket();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    JoinGuard guard(c.kind);
    for (const Packet& p : c.packets) {
      packet->pts = p.pts;
      packet->dts = p.dts;
      packet->duration = p.duration;
      EXPECT_EQ(guard.Repair(*packet), p.verdict);
      EXPECT_EQ(packet->pts, p.newPts);
      EXPECT_EQ(packet->dts, p.newDts);
    }
  }
}

TEST(WriteFailures, NeverPassOverAShortageOfMemory) {
  WriteFailures failures(WriteFailures::kUnlimited);
  failures.Count(AVERROR(EINVAL));
  EXPECT_THROW(failures.Count(AVERROR(ENOMEM)), Error);
  EXPECT_EQ(failures.Number(), 1);
}

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
