#include "remux/segment_timing.h"

#include <algorithm>

#include "media/timestamps.h"

namespace mpg {
namespace {

// Segments may hold any number as a time stamp; sums stop at the limits of 64 bits.
std::int64_t Sum(std::int64_t a, std::int64_t b) {
  return av_sat_add64(a, b);
}

std::int64_t Difference(std::int64_t a, std::int64_t b) {
  return av_sat_sub64(a, b);
}

}  // namespace

void GapCloser::Move(AVPacket& packet, bool isBorder) {
  const std::int64_t pts = packet.pts;
  const std::int64_t expected = Sum(previousPts_, step_);
  const std::int64_t furthest = Sum(Sum(expected, step_), step_);
  if (isBorder && pts > furthest) {
    ptsOffset_ = Sum(ptsOffset_, Difference(pts, expected));
    if (IsKnown(packet.dts)) dtsOffset_ = Sum(dtsOffset_, Difference(packet.dts, expected));
  }
  packet.pts = Difference(pts, ptsOffset_);
  if (IsKnown(packet.dts)) packet.dts = Difference(packet.dts, dtsOffset_);
  step_ = Difference(pts, previousPts_);
  previousPts_ = pts;
}

AlignmentShift Align(std::optional<double> videoEnd, std::optional<double> audioEnd) {
  constexpr double kLeastShift = 0.1;
  if (!videoEnd || !audioEnd) return {};
  const double videoWaits = *audioEnd - *videoEnd;
  if (videoWaits >= kLeastShift) return {.video = videoWaits};
  if (-videoWaits >= kLeastShift) return {.audio = -videoWaits};
  return {};
}

void MonotonicGuard::Lift(AVPacket& packet) {
  const bool hasDts = IsKnown(packet.dts);
  packet.dts = hasDts ? std::min(packet.pts, packet.dts) : packet.pts;

  if (lastPts_ != 0 && lastPts_ >= packet.pts) packet.pts = Sum(packet.pts, 1);
  if (lastDts_ != 0 && lastDts_ >= packet.dts) packet.dts = Sum(lastDts_, 1);
  packet.pts = std::max(packet.pts, packet.dts);
  if (!hasDts) packet.dts = packet.pts;

  lastPts_ = packet.pts;
  lastDts_ = packet.dts;
  if (packet.duration != 0) {
    lastPts_ = Sum(lastPts_, packet.duration - 1);
    lastDts_ = Sum(lastDts_, packet.duration - 1);
  }
}

}  // namespace mpg
