// The video side of transcoding: which encoder a host's parameters ask for.
#pragma once

#include "media/stream_copy.h"
#include "mpg/mpg.h"
#include "transcode/video_rates.h"

namespace mpg {

/// True when any field asks for other frames than the input's.
bool AsksForVideo(const TranscodeParams& params);

/// The codec that the parameters ask for. Throws Error(MPG_ERR_INVALID_PARAMETER) for a number out
/// of range.
AVCodecID VideoCodec(const TranscodeParams& params, AVCodecID inputCodec);

/// Width and height that the parameters ask for; 0 x 0 keeps the input's.
FrameSize RequestedSize(const TranscodeParams& params, FrameSize input);

/// The video stream of an output with its decoder and encoder, both open.
struct VideoReencode {
  CopiedStream stream;
  CodecPtr decoder;
  CodecPtr encoder;
};

/// Opens decoder and encoder and adds the output stream that describes the encoder; before the
/// header. `source`: a video stream of the input. Throws Error: MPG_ERR_INVALID_PARAMETER for a
/// codec number out of range, AVERROR_UNKNOWN, or FFmpeg's code. The output has no video stream
/// then.
VideoReencode OpenVideoReencode(Output& output, const Input& input, AVStream& source,
                                const TranscodeParams& params);

}  // namespace mpg
