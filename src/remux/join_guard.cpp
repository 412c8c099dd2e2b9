#include "remux/join_guard.h"

#include "media/timestamps.h"

namespace mpg {

JoinGuard::Verdict JoinGuard::Repair(AVPacket& packet) {
  const bool mayFail = packet.pts < 0;  // an unknown time is the least of all
  if (packet.duration != 0) PartRepeats(packet);
  if (IsKnown(packet.dts) && packet.pts < packet.dts) return Verdict::kDrop;
  lastPts_ = packet.pts;
  if (IsKnown(packet.dts)) lastDts_ = packet.dts;
  return mayFail ? Verdict::kTryToWrite : Verdict::kWrite;
}

void JoinGuard::PartRepeats(AVPacket& packet) const {
  const std::int64_t next = lastPts_ + 1;
  if (lastPts_ != 0 && packet.pts == lastPts_) packet.pts = next;

  if (lastDts_ == 0 || !IsKnown(packet.dts)) return;
  const bool isRepeat = packet.dts == lastDts_;
  const bool isStepBack = packet.dts < lastDts_;
  if (isRepeat || (isStepBack && kind_ == Kind::kAudio)) packet.dts = next;
}

}  // namespace mpg
