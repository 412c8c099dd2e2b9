// In which order a stream's frames are shown, by their headers.
#pragma once

#include <cstdint>

#include "media/handles.h"

namespace mpg {

/// Numbers the frames of one stream, which come in decoding order: the one with the lower number
/// is shown first.
class PictureOrder {
 public:
  /// Whether the codec changes the order and FFmpeg reads its headers.
  static bool Exist(const AVCodecParameters& parameters);

  /// Throws Error(ENOMEM).
  explicit PictureOrder(const AVCodecParameters& parameters);

  std::int64_t Number(const AVPacket& frame);

  /// The frame just numbered begins anew: a number above all so far.
  std::int64_t Restart();

  /// True once a packet held several frames, as early MPEG-4 in AVI does: when the packet itself
  /// is shown isn't known then.
  bool AreHidden() const { return areHidden_; }

 private:
  void Parse(const AVPacket& frame);
  std::int64_t NumberByType(const AVPacket& frame);
  std::int64_t Noted(std::int64_t number);

  CodecPtr description_;  // for the parser; never opened
  ParserPtr parser_;
  bool areCounted_;            // in the headers; else a frame's type tells
  std::int64_t base_ = 0;      // of the sequence: added to the number in a header
  std::int64_t highest_ = -1;  // so far
  std::int64_t inSequence_ = 0;
  std::int64_t references_ = 0;
  bool areHidden_ = false;
};

}  // namespace mpg
