// Copying one segment after another into one output.
#pragma once

#include "media/input.h"
#include "media/output.h"
#include "remux/segment_timing.h"

namespace mpg {

class SegmentCopier {
 public:
  /// The output's header is written. closeGaps: forward jumps of the time stamps between segments
  /// are taken out.
  SegmentCopier(Output& output, bool closeGaps);

  /// Copies the packets of the segment's first video stream and its usable audio stream, as far as
  /// the output has streams for them, behind what was copied before. `isFirst`: the segment is the
  /// list's first. 0 when the segment ended normally, else the code of what was wrong with it.
  /// Throws Error with the code of a failed write once more than 25 of the join failed.
  [[nodiscard]] int Copy(Input& segment, bool isFirst);

  /// True once any packet went into the output.
  bool HasCopied() const { return hasCopied_; }

 private:
  // One kind of stream throughout the join.
  struct Track {
    AVStream* target = nullptr;  // null: the output has none
    GapCloser gaps;
    MonotonicGuard guard;
    std::int64_t duration = 0;  // of all packets, in the target's time base
  };

  // One kind of stream in one segment.
  struct SegmentTrack {
    Track& track;
    const AVStream* source = nullptr;  // null: the segment has none
    bool hasEncoder = false;           // FFmpeg's, not used; shows that it knows the codec
    int packets = 0;
    bool isBehindBorder = false;
    std::optional<double> previousEnd = {};  // seconds
  };

  struct Segment {
    Input& input;
    bool isFirst;
    SegmentTrack video;
    SegmentTrack audio;
  };

  Segment Examine(Input& input, bool isFirst);
  int CopyPackets(Segment& segment);
  void CopyPacket(Segment& segment, SegmentTrack& track);
  void Write();

  Output& output_;
  const bool closeGaps_;
  Track video_;
  Track audio_;
  PacketPtr packet_ = MakePacket();
  int writeFailures_ = 0;
  bool hasCopied_ = false;
};

}  // namespace mpg
