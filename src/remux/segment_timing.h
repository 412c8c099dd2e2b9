// Time stamps across the borders of segments: three steps that every packet of a join takes.
#pragma once

#include <cstdint>
#include <optional>

#include "media/ffmpeg.h"

namespace mpg {

/// Takes forward jumps out of one stream. Works in the segments' time base, on packets whose
/// presentation time is known.
class GapCloser {
 public:
  /// Moves the packet back by all that was taken out so far. At a border a jump of more than three
  /// steps is taken out first, so that the packet follows one step behind the last one.
  void Move(AVPacket& packet, bool isBorder);

 private:
  std::int64_t ptsOffset_ = 0;
  std::int64_t dtsOffset_ = 0;
  std::int64_t previousPts_ = 0;  // as it came
  std::int64_t step_ = 0;         // between the last two that came
};

/// How much later, in seconds, one segment's streams start: whichever ended first so far waits for
/// the other.
struct AlignmentShift {
  double video = 0;
  double audio = 0;

  friend bool operator==(const AlignmentShift&, const AlignmentShift&) = default;
};

/// From where each stream ended, in seconds. None as long as an end isn't known, nor when they lie
/// less than a tenth of a second apart.
AlignmentShift Align(std::optional<double> videoEnd, std::optional<double> audioEnd);

/// Makes the time stamps of one written stream rise. Works in its time base, on
/// packets whose presentation time is known.
class MonotonicGuard {
 public:
  /// Lifts a packet's times just past the end of what was written; gives a missing decoding time.
  void Lift(AVPacket& packet);

  /// The last tick that the last packet covers; 0 before the first.
  std::int64_t LastPts() const { return lastPts_; }

 private:
  std::int64_t lastPts_ = 0;  // 0: nothing was written yet
  std::int64_t lastDts_ = 0;
};

}  // namespace mpg
