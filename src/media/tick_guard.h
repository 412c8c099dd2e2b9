// Copied packets in a time base that has fewer ticks than theirs.
#pragma once

#include <algorithm>
#include <cstdint>

#include "media/timestamps.h"

namespace mpg {

/// Gives each packet of one stream a decoding time of its own and a presentation time that isn't
/// before it, as muxers demand. Works in the output's time base.
class TickGuard {
 public:
  /// True where the packet's tick is taken by its predecessor or later ones.
  bool IsTaken(const AVPacket& packet) const {
    return IsKnown(lastDts_) && IsKnown(packet.dts) && packet.dts <= lastDts_;
  }

  /// Edit lists leave packets that are decoded, but not shown, with presentation times ahead of
  /// the decoding times: these are lowered. A tick that is taken is exchanged for the next.
  void Place(AVPacket& packet) {
    if (!IsKnown(packet.dts)) return;
    if (IsKnown(packet.pts)) packet.dts = std::min(packet.dts, packet.pts);
    if (IsTaken(packet)) packet.dts = lastDts_ + 1;
    if (IsKnown(packet.pts)) packet.pts = std::max(packet.pts, packet.dts);
    lastDts_ = packet.dts;
  }

 private:
  std::int64_t lastDts_ = AV_NOPTS_VALUE;
};

}  // namespace mpg
