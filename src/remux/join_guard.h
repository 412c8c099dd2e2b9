// The last repairs of a joined stream's packets before they are written.
#pragma once

#include <cstdint>

#include "media/ffmpeg.h"

namespace mpg {

/// Takes the packets of one output stream in turn, in its time base, and parts repeated time
/// stamps: muxers refuse a decoding time that doesn't rise, players stumble over equal presentation
/// times. Packets without a duration are left as they are.
class JoinGuard {
 public:
  enum class Kind { kVideo, kAudio };

  explicit JoinGuard(Kind kind) : kind_(kind) {}

  /// What to do with a packet.
  enum class Verdict {
    kWrite,
    kTryToWrite,  // it lies before 0 or nowhere: the muxer may refuse it, and nothing is lost
    kDrop,        // it would be shown before it is decoded
  };

  /// Repairs a packet. A video packet that lies before its predecessor is left to the muxer to
  /// refuse; audio goes on behind it.
  [[nodiscard]] Verdict Repair(AVPacket& packet);

  /// Presentation time of the last packet that wasn't dropped, 0 before.
  std::int64_t LastPts() const { return lastPts_; }

 private:
  void PartRepeats(AVPacket& packet) const;

  const Kind kind_;
  std::int64_t lastPts_ = 0;
  std::int64_t lastDts_ = 0;
};

}  // namespace mpg
