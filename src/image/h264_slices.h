// What H.264 packets tell about their frames without being decoded.
#pragma once

#include "media/ffmpeg.h"

namespace mpg {

/// Whether a packet of an H.264 stream holds slices, none of them predicted from other frames:
/// decoding can begin there, also where it isn't flagged as key.
bool HasOnlyIntraSlices(const AVCodecParameters& parameters, const AVPacket& packet);

}  // namespace mpg
