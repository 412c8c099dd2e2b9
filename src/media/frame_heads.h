// What stands before the slices of a frame, in streams with start codes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/ffmpeg.h"

namespace mpg {

/// Reads the heads of one stream's frames: H.264, HEVC or MPEG-2.
class FrameHeads {
 public:
  using Bytes = std::span<const std::uint8_t>;

  static bool Exist(AVCodecID codecId);

  /// `parameterSets`: what FFmpeg keeps as the stream's extradata; it must outlive the object.
  FrameHeads(AVCodecID codecId, Bytes parameterSets);

  enum class Kind { kUnclear, kB, kOther };

  /// By the frame's first slice, as FFmpeg's parsers tell it. kUnclear where that can't be read or
  /// a parameter set stands before it that isn't the stream's.
  Kind Read(Bytes frame) const;

  /// Whether the frame brings exactly the stream's parameter sets.
  bool HasAllSets(Bytes frame) const;

  /// The stream's only sequence parameter set; empty where there is none or more than one.
  Bytes OnlySequence() const;

  struct Syntax;

 private:
  const Syntax* syntax_;
  std::vector<Bytes> sets_;
};

}  // namespace mpg
