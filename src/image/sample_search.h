// The frame of a video at a time.
#pragma once

#include <cstdint>

#include "image/video_source.h"

namespace mpg {

/// Samples are every 20th frame from the key frame at or ahead of a second on.
enum class Side { kBefore, kBehind };

/// The last sample ahead of a second or the first that isn't; where that one is missing, the other.
/// A sample lies where decoding is when it comes out, as many frames on as the decoder holds
/// back. Of cover art its one frame. Throws Error with the code with which reading ended, or
/// AVERROR_UNKNOWN when too many packets can't be decoded.
FramePtr FindSample(VideoSource& source, std::uint32_t second, Side side);

/// The same by decoding everything up to the place.
FramePtr DecodeToSample(VideoSource& source, std::uint32_t second, Side side);

/// The same by reading ahead and decoding only what the sample needs; null where it isn't certain
/// that this gives the same frame.
FramePtr LookAheadForSample(VideoSource& source, std::uint32_t second, Side side);

}  // namespace mpg
