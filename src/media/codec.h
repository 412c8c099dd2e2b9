// Decoders and what they are opened for.
#pragma once

#include "media/handles.h"

namespace mpg {

/// Opens FFmpeg's decoder for a stream. Throws Error: AVERROR_UNKNOWN when there is none, else
/// FFmpeg's code.
CodecPtr OpenDecoder(const AVCodecParameters& parameters);

/// Channels that the stream's decoder reports once it is open; 0 when it can't be opened.
int DecodedChannels(const AVCodecParameters& parameters);

}  // namespace mpg
