#include "remux/segment_timing.h"

#include <algorithm>
#include <limits>

#include "media/timestamps.h"

namespace mpg {
namespace {

// A difference of the streams that is left alone.
constexpr double kTolerance = 0.1;  // seconds

// Segments may hold any number as a time stamp; sums stop at the limits of 64 bits.
std::int64_t Sum(std::int64_t a, std::int64_t b) {
  return av_sat_add64(a, b);
}

std::int64_t Difference(std::int64_t a, std::int64_t b) {
  return av_sat_sub64(a, b);
}

// More between two packets is a jump.
std::int64_t ThreeSteps(std::int64_t step) {
  return Sum(Sum(step, step), step);
}

double Seconds(std::int64_t ticks, AVRational timeBase) {
  return static_cast<double>(ticks) * av_q2d(timeBase);
}

std::int64_t Ticks(double seconds, AVRational timeBase) {
  const double ticks = seconds / av_q2d(timeBase);
  if (ticks >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(std::max(ticks, -0x1p63));
}

}  // namespace

void MonotonicGuard::Lift(AVPacket& packet) {
  if (!IsKnown(packet.dts) || packet.dts > packet.pts) packet.dts = packet.pts;
  if (lastDts_ && packet.dts <= *lastDts_) packet.dts = Sum(*lastDts_, 1);
  packet.pts = std::max(packet.pts, packet.dts);
  lastDts_ = packet.dts;
}

SegmentTimeline::SegmentTimeline(bool closeGaps, AVRational videoTimeBase, AVRational audioTimeBase)
    : closeGaps_(closeGaps), video_{.timeBase = videoTimeBase}, audio_{.timeBase = audioTimeBase} {}

SegmentTimeline::Start SegmentTimeline::StartOf(const AVPacket& packet) {
  const std::int64_t decoding = IsKnown(packet.dts) ? std::min(packet.dts, packet.pts) : packet.pts;
  return {.decoding = decoding, .presentation = packet.pts};
}

bool SegmentTimeline::GoesOn(const Stream& stream, std::int64_t start) const {
  return stream.last && start > *stream.last && start <= Sum(*stream.last, ThreeSteps(stream.step));
}

std::int64_t SegmentTimeline::OffsetAtBorder(const Stream& stream, std::int64_t start) const {
  if (!stream.last || GoesOn(stream, start)) return stream.offset;
  const std::int64_t behindLast = Difference(stream.decodingEnd, start);
  // Behind a gap that was closed times start again further ahead than they are put.
  return closeGaps_ ? behindLast : std::max<std::int64_t>(0, behindLast);
}

void SegmentTimeline::BeginSegment(std::optional<Start> video, std::optional<Start> audio) {
  const bool heldBoth = video_.isInSegment && audio_.isInSegment;
  const bool videoGoesOn = video && GoesOn(video_, video->decoding);
  const bool audioGoesOn = audio && GoesOn(audio_, audio->decoding);
  if (video) video_.offset = OffsetAtBorder(video_, video->decoding);
  if (audio) audio_.offset = OffsetAtBorder(audio_, audio->decoding);
  if (!video_.end && !audio_.end) {
    LiftAboveZero(video, audio);
  } else if (video && audio) {
    if (video_.end && audio_.end && !heldBoth) {
      WaitForEnds();
    } else {
      KeepTogether(videoGoesOn, audioGoesOn);
    }
  }
  const auto begin = [](Stream& stream, bool isInSegment) {
    stream.isInSegment = isInSegment;
    stream.jumps = 0;
    if (isInSegment) stream.last.reset();
  };
  begin(video_, video.has_value());
  begin(audio_, audio.has_value());
}

// Below zero lies what players are not to show, such as an encoder's lead-in. Transport streams
// whose clock is about to wrap are given such times as a whole.
void SegmentTimeline::LiftAboveZero(std::optional<Start> video, std::optional<Start> audio) {
  double earliest = 0;
  if (video) earliest = Seconds(video->presentation, video_.timeBase);
  if (audio) earliest = std::min(earliest, Seconds(audio->presentation, audio_.timeBase));
  if (earliest > -kTolerance) return;
  for (Stream* const stream : {&video_, &audio_}) {
    stream->offset = Ticks(-earliest, stream->timeBase);
  }
}

// Behind a segment of one stream alone the other one's segments are taken to start with it.
void SegmentTimeline::WaitForEnds() {
  const double ahead =
      Seconds(*audio_.end, audio_.timeBase) - Seconds(*video_.end, video_.timeBase);
  Stream& waiting = ahead > 0 ? video_ : audio_;
  const double seconds = std::abs(ahead);
  if (seconds < kTolerance) return;
  waiting.offset = Sum(waiting.offset, Ticks(seconds, waiting.timeBase));
}

// Streams of one segment belong together as they lie in it: with one offset for both.
void SegmentTimeline::KeepTogether(bool videoGoesOn, bool audioGoesOn) {
  const double ahead =
      Seconds(audio_.offset, audio_.timeBase) - Seconds(video_.offset, video_.timeBase);
  const bool isVideoFirst = ahead > 0;
  Stream& waiting = isVideoFirst ? video_ : audio_;
  const Stream& other = isVideoFirst ? audio_ : video_;
  const bool goesOn = isVideoFirst ? videoGoesOn : audioGoesOn;
  if (goesOn || (std::abs(ahead) < kTolerance && waiting.last)) return;
  waiting.offset = RescaleTime(other.offset, other.timeBase, waiting.timeBase);
}

// Inside a segment, such as two recordings one behind the other: the stream goes on behind its last
// packet, by the same offset as the other stream, whichever comes to its jump first.
void SegmentTimeline::FollowJumps(Stream& stream, std::int64_t time) {
  if (!stream.last) return;
  const std::int64_t tolerance = ThreeSteps(stream.step);
  if (Sum(time, tolerance) < *stream.last) {
    Stream& other = &stream == &video_ ? audio_ : video_;
    stream.offsetBefore = stream.offset;
    stream.offset = Difference(stream.decodingEnd, time);
    if (other.jumps > stream.jumps++) {
      const std::int64_t common = RescaleTime(other.offset, other.timeBase, stream.timeBase);
      const double ahead = Seconds(Difference(stream.offset, common), stream.timeBase);
      if (ahead >= kTolerance) {
        other.offset = RescaleTime(stream.offset, stream.timeBase, other.timeBase);
      } else {
        stream.offset = std::max(stream.offset, common);
      }
    }
  } else if (stream.jumps > 0 && time > Sum(*stream.last, tolerance) &&
             Sum(time, stream.offsetBefore) >= stream.decodingEnd) {
    // It was a packet with a wrong time.
    stream.offset = stream.offsetBefore;
  }
}

void SegmentTimeline::Place(Kind kind, AVPacket& packet) {
  Stream& stream = kind == kVideo ? video_ : audio_;
  const std::int64_t time = StartOf(packet).decoding;
  FollowJumps(stream, time);
  const std::int64_t distance = stream.last ? Difference(time, *stream.last) : 0;
  stream.step = std::max({packet.duration, distance, std::int64_t{1}});
  stream.last = time;

  DelayPacket(packet, stream.offset);
  stream.guard.Lift(packet);
  const std::int64_t length =
      packet.duration > 0 ? packet.duration : std::max<std::int64_t>(distance, 1);
  stream.decodingEnd = Sum(packet.dts, length);
  stream.end = std::max(stream.end.value_or(packet.pts), Sum(packet.pts, length - 1));
}

}  // namespace mpg
