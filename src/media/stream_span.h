// Where a stream begins and how long it is.
#pragma once

#include <cstdint>

#include "media/input.h"
#include "media/timestamps.h"

namespace mpg {

/// The stream's first presentation time, 0 where it isn't known; in its time base.
inline std::int64_t StartOf(const AVStream& stream) {
  return IsKnown(stream.start_time) ? stream.start_time : 0;
}

/// The stream's length in its time base. FLV, Matroska and WebM tell only the file's, which stands
/// in; 0 where neither is known.
inline std::int64_t LengthOf(const AVStream& stream, const Input& file) {
  if (IsKnown(stream.duration) && stream.duration > 0) return stream.duration;
  if (!IsKnown(file.Duration()) || file.Duration() <= 0) return 0;
  return av_rescale_q(file.Duration(), AV_TIME_BASE_Q, stream.time_base);
}

/// A time stamp of the stream as time from its start.
inline std::int64_t FromStart(std::int64_t timeStamp, const AVStream& stream) {
  return av_sat_sub64(timeStamp, StartOf(stream));
}

}  // namespace mpg
