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

/// The time base to ask a muxer for: the source's, but one frame for AVI, which counts them, those
/// that are missing, too.
AVRational VideoTimeBase(const AVOutputFormat& muxer, const AVStream& source);

/// How a video stream is copied.
struct VideoCopy {
  /// What FFmpeg must have for the codec, although copying uses neither.
  enum class Known { kToEncode, kToDecode } known = Known::kToEncode;
  /// The muxer is asked for VideoTimeBase. Otherwise it chooses; AVI is always asked.
  bool keepsTimeBase = false;
};

/// Adds a twin of a video stream. Throws Error: AVERROR_UNKNOWN when FFmpeg doesn't know the codec
/// as is asked or no stream can be made; else FFmpeg's code.
CopiedStream AddCopiedVideoStream(Output& output, AVStream& source, VideoCopy copy = {});

/// For a video stream, an empty output stream that is yet to be described. Throws alike.
CopiedStream AddReencodedVideoStream(Output& output, AVStream& source);

/// Hands on what belongs to the video but isn't in the codec parameters: pixel aspect, rotation,
/// HDR. Throws Error(ENOMEM).
void CopyPresentation(const AVStream& source, AVStream& target);

/// Adds a twin of the input's usable audio stream. Throws as above, or
/// Error(MPG_ERR_AUDIO_STREAM_NOT_FOUND).
CopiedStream AddCopiedAudioStream(Output& output, const Input& input);

}  // namespace mpg
