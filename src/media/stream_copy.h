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

/// Frames a second, as far as the file tells; else 25.
AVRational FrameRate(const AVStream& source);

/// Lets a copied frame that tells no duration last for one frame, where the last of a file
/// would else last for nothing, and MP4 players skip it. Behind MovePacket.
void GiveDuration(AVPacket& packet, const AVStream& source, const AVStream& target);

/// The time base to ask a muxer for: the source's, but one frame for AVI, which counts them.
AVRational VideoTimeBase(const AVOutputFormat& muxer, const AVStream& source);

/// Adds a twin of the input's first video stream. Throws Error: MPG_ERR_VIDEO_STREAM_NOT_FOUND;
/// AVERROR_UNKNOWN when FFmpeg has no encoder for the codec (none is used) or no stream can be
/// made; else FFmpeg's code.
CopiedStream AddCopiedVideoStream(Output& output, const Input& input);

/// The same, and the muxer is asked for the stream's time base (VideoTimeBase).
CopiedStream AddVideoStreamFromFile(Output& output, const Input& input);

/// For the input's first video stream, an empty output stream that is yet to be described. Throws
/// alike.
CopiedStream AddReencodedVideoStream(Output& output, const Input& input);

/// As AddCopiedVideoStream, but AVERROR_UNKNOWN when FFmpeg has no decoder for the codec.
CopiedStream AddDecodableVideoStream(Output& output, const Input& input);

/// Hands on what belongs to the video but isn't in the codec parameters: pixel aspect, rotation,
/// HDR. Throws Error(ENOMEM).
void CopyPresentation(const AVStream& source, AVStream& target);

/// Adds a twin of the input's usable audio stream. Throws as above, with
/// MPG_ERR_AUDIO_STREAM_NOT_FOUND.
CopiedStream AddCopiedAudioStream(Output& output, const Input& input);

}  // namespace mpg
