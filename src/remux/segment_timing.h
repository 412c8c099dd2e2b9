// Time stamps across the borders of segments.
#pragma once

#include <cstdint>
#include <optional>

#include "media/ffmpeg.h"

namespace mpg {

/// Makes the decoding times of one written stream rise, the last net under everything else. Works
/// in its time base, on packets whose presentation time is known.
class MonotonicGuard {
 public:
  /// Lifts a decoding time to the tick behind the last one, and the presentation time to it; gives
  /// a missing decoding time.
  void Lift(AVPacket& packet);

 private:
  std::optional<std::int64_t> lastDts_;
};

/// Where the video and the audio of each segment are put behind those of the segments before.
///
/// Every stream gets one offset for a segment, so that its packets keep their distances and the
/// order of their frames. It stays where the stream's times go on across the border; behind a
/// jump forward it is none, or what closes the gap; where times start again or overlap it puts the
/// first packet behind the last one. Borders are measured in decoding times. Then the streams are
/// kept together: one that would be a tenth of a second or more ahead waits for the other.
class SegmentTimeline {
 public:
  enum Kind { kVideo, kAudio };

  /// Time bases of the output's streams; all times are in those.
  SegmentTimeline(bool closeGaps, AVRational videoTimeBase, AVRational audioTimeBase);

  /// When a stream's first packet in a segment is decoded and shown.
  struct Start {
    std::int64_t decoding;
    std::int64_t presentation;
  };

  /// Where a packet starts whose presentation time is known.
  static Start StartOf(const AVPacket& packet);

  /// The start of each stream in the segment that begins now; none where it doesn't hold the
  /// stream.
  void BeginSegment(std::optional<Start> video, std::optional<Start> audio);

  /// Gives the segment's next packet of a stream its place. Its presentation time is known.
  void Place(Kind kind, AVPacket& packet);

 private:
  struct Stream {
    AVRational timeBase;
    std::int64_t offset = 0;
    std::int64_t step = 0;                  // to the packet that should follow the last one
    std::optional<std::int64_t> last = {};  // decoding time of the last packet, as it came
    std::int64_t decodingEnd = 0;           // behind the last packet, as it was placed
    std::optional<std::int64_t> end = {};   // the last tick that is shown, as it was placed
    bool isInSegment = false;
    // Jumps back inside the segment, and the offset before the last of them.
    int jumps = 0;
    std::int64_t offsetBefore = 0;
    MonotonicGuard guard = {};
  };

  bool GoesOn(const Stream& stream, std::int64_t start) const;
  std::int64_t OffsetAtBorder(const Stream& stream, std::int64_t start) const;
  void LiftAboveZero(std::optional<Start> video, std::optional<Start> audio);
  void WaitForEnds();
  void KeepTogether(bool videoGoesOn, bool audioGoesOn);
  void FollowJumps(Stream& stream, std::int64_t time);

  const bool closeGaps_;
  Stream video_;
  Stream audio_;
};

}  // namespace mpg
