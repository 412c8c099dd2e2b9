// Stream-copy twins: an output stream that takes an input stream's packets as they are.
#pragma once

#include "media/input.h"
#include "media/output.h"

namespace mpg {

/// Where packets come from and where they go. Owned by the input and the output.
struct CopiedStream {
  AVStream* source;
  AVStream* target;
};

/// Adds a twin of the input's first video stream. Throws Error: MPG_ERR_VIDEO_STREAM_NOT_FOUND;
/// AVERROR_UNKNOWN when FFmpeg has no encoder for the codec (none is used) or no stream can be
/// made; else FFmpeg's code.
CopiedStream AddCopiedVideoStream(Output& output, const Input& input);

/// The same, and the muxer is asked for the input's time base.
CopiedStream AddVideoStreamFromFile(Output& output, const Input& input);

/// The same, but AVERROR_UNKNOWN when FFmpeg has no decoder for the codec.
CopiedStream AddDecodableVideoStream(Output& output, const Input& input);

/// Adds a twin of the input's usable audio stream. Throws as above, with
/// MPG_ERR_AUDIO_STREAM_NOT_FOUND.
CopiedStream AddCopiedAudioStream(Output& output, const Input& input);

}  // namespace mpg
