// What H.264 frames are like, as the decoder learns it from the head of a slice.
#pragma once

#include "media/input.h"

namespace mpg {

/// Gives the H.264 streams of an MP4 file that was examined without decoding what decoding would
/// have told: size, format, shape, colours, profile, level and the announced delay. False where
/// that may differ: frames that bring parameter sets along, or none that a decoder understands.
[[nodiscard]] bool DescribeH264Streams(Input& input);

}  // namespace mpg
