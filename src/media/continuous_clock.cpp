#include "media/continuous_clock.h"

#include <algorithm>
#include <cstdlib>

#include "media/timestamps.h"

namespace mpg {
namespace {

// Presentation times step back by nature, decoding times by rounding at most.
constexpr std::int64_t kDecodingTolerance = AV_TIME_BASE / 10;
constexpr std::int64_t kPresentationTolerance = AV_TIME_BASE;

}  // namespace

void ContinuousClock::Follow(AVPacket& packet, const AVStream& stream) {
  const bool isDecoding = IsKnown(packet.dts);
  const std::int64_t time =
      RescaleTime(isDecoding ? packet.dts : packet.pts, stream.time_base, AV_TIME_BASE_Q);
  if (!IsSummable(time)) return;
  Track& track = TrackOf(stream, time);
  if (isDecoding || !track.hasDecodingTimes) {
    // Seeking leaves some streams without decoding times for a while.
    const bool isComparable = isDecoding == track.hasDecodingTimes;
    if (isComparable)
      Advance(track, time, isDecoding ? kDecodingTolerance : kPresentationTolerance);
    const std::int64_t length = av_rescale_q(packet.duration, stream.time_base, AV_TIME_BASE_Q);
    const std::int64_t moved = time + track.offset;
    track.end =
        moved +
        (length > 0 && IsSummable(length) ? length : std::max<std::int64_t>(moved - track.last, 0));
    track.last = moved;
    track.hasDecodingTimes = isDecoding;
    if (!track.isBehind) now_ = moved;
  }
  DelayPacket(packet, av_rescale_q(track.offset, AV_TIME_BASE_Q, stream.time_base));
}

ContinuousClock::Track& ContinuousClock::TrackOf(const AVStream& stream, std::int64_t time) {
  const auto found = std::ranges::find(tracks_, stream.index, &Track::stream);
  if (found != tracks_.end()) return *found;
  const std::int64_t moved = time + offset_;
  tracks_.push_back({.stream = stream.index, .offset = offset_, .last = moved, .end = moved});
  return tracks_.back();
}

void ContinuousClock::Advance(Track& track, std::int64_t time, std::int64_t tolerance) {
  const bool isJump = time + track.offset < track.last - tolerance;
  if (track.isBehind) {
    // Packets of before and behind the jump may alternate; each is near others of its kind.
    const bool isNew = std::abs(time + offset_ - now_) < std::abs(time + track.offset - now_);
    if (isJump || isNew) Join(track, time);
  } else if (isJump) {
    StartAnew(track, time);
  }
}

void ContinuousClock::StartAnew(Track& track, std::int64_t time) {
  std::int64_t end = track.end;
  for (Track& other : tracks_) {
    end = std::max(end, other.end);
    other.isBehind = &other != &track;
  }
  offset_ = end - time;
  track.offset = offset_;
}

// Where this stream reaches farther than the others did, they all wait for it.
void ContinuousClock::Join(Track& track, std::int64_t time) {
  track.isBehind = false;
  MoveBy(std::max<std::int64_t>(track.end - (time + offset_), 0));
  track.offset = offset_;
}

void ContinuousClock::MoveBy(std::int64_t offset) {
  offset_ += offset;
  for (Track& track : tracks_) {
    if (!track.isBehind) track.offset = offset_;
  }
}

}  // namespace mpg
