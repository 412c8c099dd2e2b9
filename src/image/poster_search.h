// The frame that stands for a video.
#pragma once

#include <cstdint>

#include "image/rgb_converter.h"
#include "image/video_source.h"

namespace mpg {

/// Finds the first frame at or behind a position that is neither predicted nor of one colour.
/// Reads on from where the source stands, without seeking.
///
/// It goes in two phases. Frames ahead of the first one that is complete in itself can't be
/// decoded soundly, so decoders that can pass over them do so; from that one on everything is
/// decoded.
class PosterSearch {
 public:
  /// Both must outlive the search. `position`: from the stream's start, on the scale of percent100
  /// of the video's duration.
  /// Throws Error: AVERROR_UNKNOWN when the video lasts no time, AVERROR_EOF when nothing tells how
  /// long it lasts and the position isn't its start.
  PosterSearch(VideoSource& source, RgbConverter& converter, std::int32_t position);

  /// Leaves the frame in the converter. Throws Error: AVERROR_UNKNOWN when too many packets
  /// brought no frame at all, else the code with which reading ended.
  void Find();

  /// The same by decoding everything behind the position.
  void FindPlainly();

 private:
  int Read();
  bool IsBeforePosition(std::int64_t number) const;
  bool SkipToBeginning();
  bool SkipPacket();
  bool IsPosterAtBeginning();
  bool DrainToPoster();
  void DecodeToPoster();
  bool IsPoster();
  void CountFruitless();

  VideoSource& source_;
  RgbConverter& converter_;
  const std::int32_t position_;
  const std::int64_t duration_;  // in the stream's time base, or AV_NOPTS_VALUE
  const PacketPtr packet_ = MakePacket();
  const FramePtr frame_ = MakeFrame();
  std::int64_t packets_ = 0;
  int fruitless_ = 0;
};

}  // namespace mpg
