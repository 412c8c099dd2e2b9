// Time stamps for packets of streams that carry none, such as raw H.264.
#pragma once

#include <cstdint>

#include "media/ffmpeg.h"

namespace mpg {

/// Counts the packets that it stamped, of whichever stream, and gives each the time at which that
/// many frames have passed.
class TimeStampMaker {
 public:
  /// Sets presentation time, decoding time (equal) and duration, in the stream's time base.
  void Stamp(AVPacket& packet, const AVStream& stream);

 private:
  std::int64_t stamped_ = 0;
};

}  // namespace mpg
