#include "remux/join_guard.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/output.h"

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

}  // namespace
}  // namespace mpg
