// Copying one segment after another into one output.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "media/input.h"
#include "media/output.h"
#include "remux/segment_timing.h"

namespace mpg {

/// What became of one segment.
struct SegmentResult {
  /// 0 when the segment was read to its end, else the code of what was wrong with it.
  int code = 0;
  /// Packets that were handed to the output.
  std::int64_t packets = 0;
  /// Every packet of the streams that the output has was.
  bool isComplete = true;
};

class SegmentCopier {
 public:
  /// The output's header is written. closeGaps: forward jumps of the time stamps between segments
  /// are taken out. `failures` takes the writes that fail.
  SegmentCopier(Output& output, bool closeGaps, WriteFailures& failures);

  /// Copies the packets of the segment's first video stream and its usable audio stream, as far as
  /// the output has streams for them, behind what was copied before. Throws what `failures` throws.
  [[nodiscard]] SegmentResult Copy(Input& segment);

  /// Gives the output's video what of the parameters may change from segment to segment. Copy does
  /// so, too.
  void TakeOverParameters(const Input& segment);

 private:
  // One kind of stream throughout the join.
  struct Track {
    AVStream* target = nullptr;  // null: the output has none
    std::int64_t duration = 0;   // of all packets, in the target's time base
  };

  // One kind of stream in one segment.
  struct SegmentTrack {
    Track& track;
    const AVStream* source = nullptr;  // null: the segment has none
    bool hasEncoder = false;           // FFmpeg's, not used; shows that it knows the codec
    int packets = 0;
    std::optional<SegmentTimeline::Start> start = {};  // in the target's time base
  };

  struct Segment {
    Input& input;
    SegmentTrack video;
    SegmentTrack audio;
    SegmentResult result = {};
    // Until both streams have shown where they start.
    std::deque<PacketPtr> waiting = {};
    bool hasBegun = false;
  };

  Segment Examine(Input& input);
  int CopyPackets(Segment& segment);
  void Take(Segment& segment, SegmentTrack& track);
  void Begin(Segment& segment);
  void Write(Segment& segment, AVPacket& packet);
  void CloseStreams(const Segment& segment);

  Output& output_;
  Track video_;
  Track audio_;
  SegmentTimeline timeline_;
  WriteFailures& failures_;
  PacketPtr packet_ = MakePacket();
};

}  // namespace mpg
